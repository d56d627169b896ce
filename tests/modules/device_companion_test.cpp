// The device methods end to end: the App of this process listens on a
// runtime directory of its own, the simulated-keyboard companion connects to
// it over the real socket, and the module's methods run on the test thread as
// they would on the UI thread, with their replies coming back through it.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "app/app.h"
#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "modules/tessarel_js.h"
#include "platform/dispatcher.h"
#include "support/device_test_support.h"

namespace tessarel::testing {
namespace {

class DeviceCompanionTest : public RuntimeDirectoryTest {
 protected:
  void SetUp() override {
    RuntimeDirectoryTest::SetUp();
    // The packaged keyboards with a quicker flash, so that an update ends
    // within the test but still reports its progress step by step.
    nlohmann::json keyboards = nlohmann::json::parse(
        std::ifstream(TESSAREL_SOURCE_DIR "/packaging/simulated-keyboards.json"));
    keyboards["settings"]["flashSeconds"] = flashSeconds_;
    keyboardsFile_ = runtimeDirectory_ / "keyboards.json";
    std::ofstream(keyboardsFile_) << keyboards.dump();

    app_ = std::make_unique<App>();
    app_->StartLink();
    module_->keyboardsUpdated = Counter("keyboardsUpdated");
    module_->isFlashingUpdated = Counter("isFlashingUpdated");
    module_->flashingStateUpdated = Counter("flashingStateUpdated");
    module_->SubscribeToCompanion();
    companion_ = std::make_unique<Subprocess>(
        std::vector<std::string>{SimulatedCompanionPath(), "--socket", SocketPath().string(),
                                 "--keyboards", keyboardsFile_.string()});
    ASSERT_TRUE(companion_->Started());
    ASSERT_TRUE(WaitForEvents("keyboardsUpdated", 1)) << "the companion never connected";
  }
  void TearDown() override {
    companion_.reset();
    module_.reset();
    app_.reset();
    RuntimeDirectoryTest::TearDown();
  }

  // Runs one call on this thread and waits for its answer; what the script
  // receives, parsed.
  template <class Call>
  nlohmann::json Ask(Call call) {
    PromiseProbe probe;
    call(*module_, probe.Promise());
    EXPECT_TRUE(dispatcher_->RunUntil([&] { return probe.Settled(); }));
    EXPECT_EQ(probe.Thread(), std::this_thread::get_id());
    const nlohmann::json reply = nlohmann::json::parse(probe.Text());
    EXPECT_TRUE(reply.is_array() && reply.size() == 1) << probe.Text();
    return reply.at(0);
  }

  nlohmann::json Query(IAsyncAction (TessarelJs::*query)(ReactPromise<JSValue>)) {
    return Ask([query](TessarelJs& m, auto p) { (m.*query)(p); });
  }

  // Counts the event, which may come from any thread, and wakes the test
  // thread's queue, which waits for them.
  std::function<void()> Counter(const std::string& name) {
    return [this, name] {
      {
        std::lock_guard lock(mutex_);
        ++counts_[name];
      }
      dispatcher_->Post([] {});
    };
  }
  std::size_t Count(const std::string& name) {
    std::lock_guard lock(mutex_);
    return counts_[name];
  }
  bool WaitForEvents(const std::string& name, std::size_t count) {
    return dispatcher_->RunUntil([&] { return Count(name) >= count; }, std::chrono::seconds(20));
  }

  int flashSeconds_ = 1;
  std::shared_ptr<ManualDispatcher> dispatcher_ = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread_{dispatcher_};
  std::filesystem::path keyboardsFile_;
  std::unique_ptr<App> app_;
  std::shared_ptr<TessarelJs> module_ = std::make_shared<TessarelJs>();
  std::mutex mutex_;
  std::map<std::string, std::size_t> counts_;
  std::unique_ptr<Subprocess> companion_;
};

TEST_F(DeviceCompanionTest, KeyboardsShowTheActiveColourJustSet) {
  const nlohmann::json before = Query(&TessarelJs::keyboards);
  ASSERT_EQ(before.size(), 2u) << before.dump();
  EXPECT_EQ(before[0]["id"], "TP12-4F2A-0001");
  EXPECT_EQ(before[0]["name"], "Tessarel Pad 12");
  EXPECT_EQ(before[0]["appPaths"].size(), 8u);
  const nlohmann::json colour = {{"b", 3}, {"g", 2}, {"r", 1}};
  ASSERT_NE(before[0]["layers"][0]["keys"][1][2]["activeColor"], colour);

  EXPECT_TRUE(Ask([](auto& m, auto p) {
                m.setLedActiveColor("TP12-4F2A-0001", 0, 2, 1, 1, 2, 3, p);
              }).is_null());
  // That key's active colour changed, and nothing else.
  nlohmann::json expected = before;
  expected[0]["layers"][0]["keys"][1][2]["activeColor"] = colour;
  EXPECT_EQ(Query(&TessarelJs::keyboards), expected);
}

TEST_F(DeviceCompanionTest, UpdateRunsToCompletionWithFlashingNotifications) {
  const std::string id = Query(&TessarelJs::keyboards)[1]["id"];
  EXPECT_EQ(Query(&TessarelJs::isFlashing), false);

  EXPECT_EQ(Ask([&](auto& m, auto p) { m.updateDevice(JSValue(id), "fw", p); }), true);
  EXPECT_EQ(Query(&TessarelJs::isFlashing), true);

  // Started, then finished: two isFlashingUpdated, with progress between.
  ASSERT_TRUE(WaitForEvents("isFlashingUpdated", 2));
  EXPECT_GE(Count("flashingStateUpdated"), 10u);
  EXPECT_EQ(Query(&TessarelJs::isFlashing), false);
  EXPECT_EQ(Query(&TessarelJs::flashingState), 100);
  EXPECT_EQ(Ask([&](auto& m, auto p) { m.firmwareVersion(JSValue(id), p); }), 12);
}

// An update long enough that the cancel always comes first.
class DeviceCompanionCancelTest : public DeviceCompanionTest {
 protected:
  DeviceCompanionCancelTest() { flashSeconds_ = 60; }
};

TEST_F(DeviceCompanionCancelTest, CancelStopsARunningUpdate) {
  const std::string id = Query(&TessarelJs::keyboards)[1]["id"];
  EXPECT_EQ(Ask([&](auto& m, auto p) { m.updateDevice(JSValue(id), "fw", p); }), true);
  EXPECT_EQ(Query(&TessarelJs::isFlashing), true);

  EXPECT_TRUE(Ask([](auto& m, auto p) { m.setCancelUpdate(true, p); }).is_null());
  ASSERT_TRUE(WaitForEvents("isFlashingUpdated", 2));
  EXPECT_EQ(Query(&TessarelJs::isFlashing), false);
  EXPECT_EQ(Query(&TessarelJs::flashingState), 0);
}

}  // namespace
}  // namespace tessarel::testing
