// Where device method runs resume and settle when the companion answers on
// another thread: in the context captured when the run suspended.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "app/app.h"
#include "modules/tessarel_js.h"
#include "platform/dispatcher.h"
#include "support/device_test_support.h"
#include "support/fake_channel.h"
#include "support/value_set_builders.h"

namespace tessarel {
namespace {

using namespace testing;  // NOLINT: the builders read as a small language

class DeviceThreadsTest : public ::testing::Test {
 protected:
  void SetUp() override { ActivateWithChannel(app, channel); }

  App app;
  std::shared_ptr<FakeChannel> channel = std::make_shared<FakeChannel>();
  std::shared_ptr<TessarelJs> module = std::make_shared<TessarelJs>();
};

// Many runs from a loop thread, answered from several threads in shuffled
// order, some with a failed send: each promise gets the answer to its own
// request, settled back on the loop thread.
TEST_F(DeviceThreadsTest, AnswersFromOtherThreadsSettleOnTheCallingLoopThread) {
  auto dispatcher = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread(dispatcher);
  constexpr std::size_t kCalls = 60;
  std::vector<PromiseProbe> probes(kCalls);
  for (std::size_t i = 0; i < kCalls; ++i) {
    if (i % 2 == 0) module->flashingState(probes[i].Promise());
    if (i % 2 == 1) module->selectFile(probes[i].Promise());
  }
  ASSERT_EQ(channel->SendCount(), kCalls);

  std::vector<std::size_t> order(kCalls);
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(42));
  std::vector<std::thread> companions;
  for (std::size_t part = 0; part < 4; ++part) {
    companions.emplace_back([&, part] {
      for (std::size_t k = part; k < kCalls; k += 4) {
        const std::size_t i = order[k];
        if (i % 2 == 1) {
          channel->Fail(i, hresult_error(error_codes::kFail, "gone " + std::to_string(i)));
        } else {
          channel->Respond(i, Reply(Set({{"result", U32(static_cast<std::uint32_t>(1000 + i))}})));
        }
      }
    });
  }
  EXPECT_TRUE(dispatcher->RunUntil(
      [&] { return std::ranges::all_of(probes, [](auto& probe) { return probe.Settled(); }); }));
  for (std::thread& companion : companions) companion.join();
  for (std::size_t i = 0; i < kCalls; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(probes[i].Text(), i % 2 == 1
                                    ? Rejected("Failed to select file: gone " + std::to_string(i))
                                    : Resolved(std::to_string(1000 + i)));
    EXPECT_EQ(probes[i].Thread(), std::this_thread::get_id());
  }
}

// A call from a thread without a loop continues on the thread pool: neither
// on the caller nor on the thread that delivered the answer.
TEST_F(DeviceThreadsTest, ContinuesOnThePoolWithoutALoop) {
  PromiseProbe probe;
  module->flashingState(probe.Promise());
  std::thread::id companionThread;
  std::thread companion([&] {
    companionThread = std::this_thread::get_id();
    channel->Respond(0, Reply(Set({{"result", U32(3)}})));
  });
  companion.join();
  ASSERT_TRUE(probe.WaitSettled());
  EXPECT_EQ(probe.Text(), Resolved("3"));
  EXPECT_NE(probe.Thread(), std::this_thread::get_id());
  EXPECT_NE(probe.Thread(), companionThread);
}

}  // namespace
}  // namespace tessarel
