// Where device method runs resume and settle when the companion answers on
// another thread: in the context captured when the run suspended.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "app/app.h"
#include "modules/device_test_support.h"
#include "modules/tessarel_js.h"
#include "platform/dispatcher.h"
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

// A loop thread (the UI thread) that starts a call gets its settlement back on
// itself, whichever thread the answer arrives on.
TEST_F(DeviceThreadsTest, SettlesOnTheCallingLoopThread) {
  auto dispatcher = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread(dispatcher);
  const struct {
    const char* desc;
    std::function<void(TessarelJs&, ReactPromise<JSValue>)> call;
    std::function<void(FakeChannel&, std::size_t)> answer;
    std::string want;
  } rows[] = {
      {"query resolves", [](TessarelJs& m, auto p) { m.keyboards(std::move(p)); },
       [](FakeChannel& c, std::size_t i) {
         c.Respond(i, Reply(Set({{"keyboards", Nested(List({}))}})));
       },
       Resolved("[]")},
      {"command resolves",
       [](TessarelJs& m, auto p) { m.setLed("1", 0, 0, 1, 2, 3, 0, 0, std::move(p)); },
       [](FakeChannel& c, std::size_t i) { c.Respond(i, Reply({})); }, Resolved("null")},
      {"send fails", [](TessarelJs& m, auto p) { m.selectFile(std::move(p)); },
       [](FakeChannel& c, std::size_t i) { c.Fail(i, hresult_error(error_codes::kFail, "gone")); },
       Rejected("Failed to select file: gone")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.desc);
    PromiseProbe probe;
    const std::size_t index = channel->SendCount();
    row.call(*module, probe.Promise());
    std::thread companion([&] { row.answer(*channel, index); });
    EXPECT_TRUE(dispatcher->RunUntil([&] { return probe.Settled(); }));
    companion.join();
    EXPECT_EQ(probe.Text(), row.want);
    EXPECT_EQ(probe.Thread(), std::this_thread::get_id());
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

// Many runs in flight, answered from several threads in shuffled order: each
// promise gets the reply to its own request.
TEST_F(DeviceThreadsTest, ConcurrentAnswersReachTheirOwnCalls) {
  auto dispatcher = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread(dispatcher);
  constexpr std::size_t kCalls = 64;
  std::vector<PromiseProbe> probes(kCalls);
  for (std::size_t i = 0; i < kCalls; ++i) {
    if (i % 2 == 0)
      module->flashingState(probes[i].Promise());
    else
      module->firmwareVersion(JSValue(static_cast<std::int64_t>(i)), probes[i].Promise());
  }
  ASSERT_EQ(channel->SendCount(), kCalls);

  std::vector<std::size_t> order(kCalls);
  for (std::size_t i = 0; i < kCalls; ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), std::mt19937(42));
  std::vector<std::thread> companions;
  for (std::size_t part = 0; part < 4; ++part) {
    companions.emplace_back([&, part] {
      for (std::size_t k = part; k < kCalls; k += 4) {
        const std::size_t i = order[k];
        channel->Respond(i, Reply(Set({{"result", U32(static_cast<std::uint32_t>(1000 + i))}})));
      }
    });
  }
  EXPECT_TRUE(dispatcher->RunUntil([&] {
    for (const PromiseProbe& probe : probes) {
      if (!probe.Settled()) return false;
    }
    return true;
  }));
  for (std::thread& companion : companions) companion.join();
  for (std::size_t i = 0; i < kCalls; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(Describe(channel->Request(i))
                  .find(i % 2 == 0 ? "method=s:flashingState" : "method=s:firmwareVersion"),
              0u);
    EXPECT_EQ(probes[i].Text(), Resolved(std::to_string(1000 + i)));
    EXPECT_EQ(probes[i].Thread(), std::this_thread::get_id());
  }
}

}  // namespace
}  // namespace tessarel
