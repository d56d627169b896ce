// Figures for `keyboards` on a large model (8 keyboards of 8 layers of 6 rows
// of 20 keys), against serialising the same tree with the JSON library alone:
// from the companion's reply to the settled script value, and on to the JSON
// text that crosses to the page.
//   build/bin/tessarel_model_bench
// Prints the figures and the ratios; checks nothing.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "app/heap_settings.h"
#include "host/json_value_io.h"
#include "model/keyboard_model.h"
#include "modules/device_requests.h"
#include "support/discarding_writer.h"
#include "support/value_set_builders.h"

namespace tessarel {
namespace {

using testing::KeyboardShape;

const AppServiceResponse& LargeReply() {
  static const AppServiceResponse reply{
      AppServiceResponseStatus::Success,
      testing::Set({{"keyboards", testing::Nested(KeyboardShape{8, 8, 6, 20}.Build())}})};
  return reply;
}

// The reply text the script receives for the large model, as the host writes it.
std::string ScriptReplyText() {
  auto writer = std::make_shared<JsonValueWriter>();
  std::string text;
  const ReactPromise<JSValue> promise(
      writer, [&](IJSValueWriter&) { text = writer->TakeJson(); }, [](IJSValueWriter&) {});
  SettleFromResponse(kKeyboardsRequest, LargeReply(), promise);
  return text;
}

// A `keyboards` reply to the script value: status check, lookup, conversion,
// promise settlement (the value handed to a writer that takes it).
void BM_KeyboardsReplyToScriptValue(benchmark::State& state) {
  const AppServiceResponse& reply = LargeReply();
  for (auto _ : state) {
    bool settled = false;
    const ReactPromise<JSValue> promise(
        std::make_shared<testing::DiscardingWriter>(), [&](IJSValueWriter&) { settled = true; },
        [](IJSValueWriter&) {});
    SettleFromResponse(kKeyboardsRequest, reply, promise);
    benchmark::DoNotOptimize(settled);
  }
}
BENCHMARK(BM_KeyboardsReplyToScriptValue)->Unit(benchmark::kMillisecond);

// The whole path of a `keyboards` reply: status check, lookup, conversion,
// promise settlement through the host's JSON writer, the JSON text.
void BM_KeyboardsReplyToScriptText(benchmark::State& state) {
  const AppServiceResponse& reply = LargeReply();
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto writer = std::make_shared<JsonValueWriter>();
    std::string text;
    const ReactPromise<JSValue> promise(
        writer, [&](IJSValueWriter&) { text = writer->TakeJson(); }, [](IJSValueWriter&) {});
    SettleFromResponse(kKeyboardsRequest, reply, promise);
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_KeyboardsReplyToScriptText)->Unit(benchmark::kMillisecond);

// The baseline: the same tree, already held by the JSON library, dumped.
void BM_JsonLibraryDumpOnly(benchmark::State& state) {
  const nlohmann::json tree = nlohmann::json::parse(ScriptReplyText());
  for (auto _ : state) {
    std::string text = tree.dump();
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_JsonLibraryDumpOnly)->Unit(benchmark::kMillisecond);

// The parts, to see where the time goes.
void BM_ConvertKeyboardsOnly(benchmark::State& state) {
  const ValueSet& keyboards = *LargeReply().Message.Find("keyboards")->TryValueSet();
  for (auto _ : state) {
    JSValue converted = ConvertKeyboards(keyboards);
    benchmark::DoNotOptimize(&converted);
  }
}
BENCHMARK(BM_ConvertKeyboardsOnly)->Unit(benchmark::kMillisecond);

void BM_HostJsonWriterOnly(benchmark::State& state) {
  const JSValue converted =
      ConvertKeyboards(*LargeReply().Message.Find("keyboards")->TryValueSet());
  for (auto _ : state) {
    JsonValueWriter writer;
    WriteValue(writer, converted);
    std::string text = writer.TakeJson();
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_HostJsonWriterOnly)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's times per iteration so that main can print ratios.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      realTimes[run.benchmark_name()] = run.GetAdjustedRealTime();
      cpuTimes[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> realTimes;
  std::map<std::string, double> cpuTimes;
};

// On a shared machine the wall-clock figure also counts waiting for a core,
// so both ratios are printed. The goal is set for the module's path, the
// reply to the settled value; the text adds the host's writer, shown with it.
void PrintRatios(const char* kind, const std::map<std::string, double>& times) {
  const auto baseline = times.find("BM_JsonLibraryDumpOnly");
  if (baseline == times.end() || baseline->second <= 0) return;
  struct Path {
    const char* name;
    const char* label;
    const char* note;
  };
  const Path paths[] = {
      {"BM_KeyboardsReplyToScriptValue", "reply to script value", " (goal: at most 2x)"},
      {"BM_KeyboardsReplyToScriptText", "reply to script text", ""},
  };
  for (const Path& path : paths) {
    const auto time = times.find(path.name);
    if (time == times.end()) continue;
    std::printf("keyboards %s / JSON library dump (%s time): %.2fx%s\n", path.label, kind,
                time->second / baseline->second, path.note);
  }
}

}  // namespace
}  // namespace tessarel

int main(int argc, char** argv) {
  // The heap as the host sets it up: see heap_settings.h.
  tessarel::KeepHeapForLargeReplies();
  benchmark::Initialize(&argc, argv);
  tessarel::RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  tessarel::PrintRatios("real", reporter.realTimes);
  tessarel::PrintRatios("CPU", reporter.cpuTimes);
  benchmark::Shutdown();
  return 0;
}
