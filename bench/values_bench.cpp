// Figures for the script values at the size of a large keyboard list: build
// and write a tree of key objects, and read one back from a reader.
//   build-values/bin/tessarel_values_bench
// The figures are printed, not checked.
#include <benchmark/benchmark.h>

#include <memory>

#include "values/js_value.h"
#include "values/js_value_tree.h"

namespace tessarel {
namespace {

// Writes each call into nothing, so that only WriteValue's walk is measured.
class NullWriter final : public IJSValueWriter {
 public:
  void WriteNull() override { ++calls; }
  void WriteBoolean(bool) override { ++calls; }
  void WriteInt64(std::int64_t) override { ++calls; }
  void WriteDouble(double) override { ++calls; }
  void WriteString(std::string_view value) override { calls += value.size() != 0; }
  void WriteObjectBegin() override { ++calls; }
  void WritePropertyName(std::string_view) override { ++calls; }
  void WriteObjectEnd() override { ++calls; }
  void WriteArrayBegin() override { ++calls; }
  void WriteArrayEnd() override { ++calls; }
  std::int64_t calls = 0;
};

JSValue Color(int r, int g, int b) {
  return JSValue::Object({{"r", r}, {"g", g}, {"b", b}});
}

// One key as the model conversion builds it.
JSValue Key(int index) {
  return JSValue::Object({
      {"action", JSValue::Object({{"type", 1}, {"macros", JSValue(JSValueArray{JSValue("a")})}})},
      {"activeColor", Color(index % 256, 128, 255)},
      {"icon", JSValue::Object({{"id", index}, {"type", "glyph"}})},
      {"inactiveColor", Color(0, 0, 0)},
      {"orientation", 0},
      {"size", JSValue::Object({{"x", 1.0}, {"y", 1.5}})},
  });
}

JSValue KeyList(int keyCount) {
  JSValueArray keys;
  keys.reserve(static_cast<std::size_t>(keyCount));
  for (int i = 0; i < keyCount; ++i) keys.push_back(Key(i));
  return JSValue(std::move(keys));
}

void BM_BuildKeyTree(benchmark::State& state) {
  const int keyCount = static_cast<int>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(KeyList(keyCount));
  state.SetItemsProcessed(state.iterations() * keyCount);
}

void BM_BuildAndWriteKeyTree(benchmark::State& state) {
  const int keyCount = static_cast<int>(state.range(0));
  for (auto _ : state) {
    NullWriter writer;
    WriteValue(writer, KeyList(keyCount));
    benchmark::DoNotOptimize(writer.calls);
  }
  state.SetItemsProcessed(state.iterations() * keyCount);
}

void BM_WriteKeyTree(benchmark::State& state) {
  const int keyCount = static_cast<int>(state.range(0));
  const JSValue tree = KeyList(keyCount);
  for (auto _ : state) {
    NullWriter writer;
    WriteValue(writer, tree);
    benchmark::DoNotOptimize(writer.calls);
  }
  state.SetItemsProcessed(state.iterations() * keyCount);
}

// The reply path of a resolve: the tree written into a tree writer.
void BM_WriteKeyTreeToTreeWriter(benchmark::State& state) {
  const int keyCount = static_cast<int>(state.range(0));
  const JSValue tree = KeyList(keyCount);
  for (auto _ : state) {
    JSValueTreeWriter writer;
    WriteValue(writer, tree);
    benchmark::DoNotOptimize(writer.TakeValue());
  }
  state.SetItemsProcessed(state.iterations() * keyCount);
}

// Only ReadValue is timed: copying the tree into the reader and freeing the
// reader and the result are not.
void BM_ReadKeyTree(benchmark::State& state) {
  const int keyCount = static_cast<int>(state.range(0));
  const JSValue tree = KeyList(keyCount);
  for (auto _ : state) {
    state.PauseTiming();
    auto reader = std::make_unique<JSValueTreeReader>(tree);
    state.ResumeTiming();
    JSValue read = ReadValue(*reader);
    state.PauseTiming();
    benchmark::DoNotOptimize(read);
    read = JSValue();
    reader.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * keyCount);
}

BENCHMARK(BM_BuildKeyTree)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildAndWriteKeyTree)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteKeyTree)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteKeyTreeToTreeWriter)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadKeyTree)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessarel

BENCHMARK_MAIN();
