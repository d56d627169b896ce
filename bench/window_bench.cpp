// The in-process cost of forwarding one key press: naming the key, looking up
// its usage and handing it to the key binders' event senders. The window
// itself (start-up, a real key through X to the script) is measured by
// bench/window_bench.sh.
#include <gdk/gdkkeysyms.h>

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

#include "app/app.h"
#include "app/key_code_table.h"
#include "app/key_forwarding.h"
#include "app/virtual_key.h"
#include "modules/key_binder_js.h"
#include "support/discarding_writer.h"

namespace tessarel {
namespace {

struct KeyPress {
  unsigned keyval;
  unsigned keycode;
};
// A mix of letters, digits, keypad, function and modifier keys.
constexpr std::array<KeyPress, 8> kPresses = {{{GDK_KEY_a, 38},
                                               {GDK_KEY_1, 10},
                                               {GDK_KEY_Return, 36},
                                               {GDK_KEY_F13, 191},
                                               {GDK_KEY_KP_Subtract, 82},
                                               {GDK_KEY_minus, 20},
                                               {GDK_KEY_Shift_R, 62},
                                               {GDK_KEY_Cyrillic_ef, 38}}};

void BM_KeyToUsage(benchmark::State& state) {
  std::size_t i = 0;
  for (auto _ : state) {
    const KeyPress& press = kPresses[i++ % kPresses.size()];
    benchmark::DoNotOptimize(
        HidUsageFromVirtualKey(VirtualKeyFromGdk(press.keyval, press.keycode)));
  }
}
BENCHMARK(BM_KeyToUsage);

void BM_ForwardKeyPress(benchmark::State& state) {
  App app;
  std::vector<std::unique_ptr<KeyBinderJs>> binders;
  for (int64_t b = 0; b < state.range(0); ++b) {
    auto binder = std::make_unique<KeyBinderJs>();
    binder->keyDown = [](std::int32_t code) {
      testing::DiscardingWriter writer;
      writer.WriteArrayBegin();
      writer.WriteInt64(code);
      writer.WriteArrayEnd();
    };
    binder->Initialize();
    binders.push_back(std::move(binder));
  }
  std::size_t i = 0;
  for (auto _ : state) {
    const KeyPress& press = kPresses[i++ % kPresses.size()];
    ForwardKeyPress(press.keyval, press.keycode);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ForwardKeyPress)->Arg(0)->Arg(1)->Arg(4);

}  // namespace
}  // namespace tessarel

BENCHMARK_MAIN();
