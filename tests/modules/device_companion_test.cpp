// The device methods end to end: the App of this process listens on a
// runtime directory of its own, the simulated-keyboard companion connects to
// it over the real socket, and the module's methods run on the test thread as
// they would on the UI thread, with their replies coming back through it.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "app/app.h"
#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "modules/device_test_support.h"
#include "modules/tessarel_js.h"
#include "platform/dispatcher.h"

namespace tessarel::testing {
namespace {

// How often the module emitted each event, from whatever thread. Each event
// also wakes the test thread's queue, which waits for them.
class EventLog {
 public:
  explicit EventLog(std::shared_ptr<Dispatcher> wake) : wake_(std::move(wake)) {}

  void Connect(TessarelJs& module) {
    module.keyboardsUpdated = [this] { Add("keyboardsUpdated"); };
    module.keyboardVersionNewer = [this](const std::string&) { Add("keyboardVersionNewer"); };
    module.isFlashingUpdated = [this] { Add("isFlashingUpdated"); };
    module.resetFirmwareStateUpdated = [this] { Add("resetFirmwareStateUpdated"); };
    module.recoverDeviceStateUpdated = [this] { Add("recoverDeviceStateUpdated"); };
    module.flashingStateUpdated = [this] { Add("flashingStateUpdated"); };
  }
  std::size_t Count(const std::string& name) const {
    std::lock_guard lock(mutex_);
    return counts_.contains(name) ? counts_.at(name) : 0;
  }

 private:
  void Add(const char* name) {
    {
      std::lock_guard lock(mutex_);
      ++counts_[name];
    }
    wake_->Post([] {});
  }
  std::shared_ptr<Dispatcher> wake_;
  mutable std::mutex mutex_;
  std::map<std::string, std::size_t> counts_;
};

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
    events_.Connect(*module_);
    module_->SubscribeToCompanion();
    companion_ = std::make_unique<Subprocess>(
        std::vector<std::string>{SimulatedCompanionPath(), "--socket", SocketPath().string(),
                                 "--keyboards", keyboardsFile_.string()});
    ASSERT_TRUE(companion_->Started());
    ASSERT_TRUE(dispatcher_->RunUntil([&] { return events_.Count("keyboardsUpdated") > 0; }))
        << "the companion never connected";
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

  nlohmann::json Keyboards() {
    return Ask([](TessarelJs& m, auto p) { m.keyboards(std::move(p)); });
  }
  nlohmann::json IsFlashing() {
    return Ask([](TessarelJs& m, auto p) { m.isFlashing(std::move(p)); });
  }
  nlohmann::json FlashingState() {
    return Ask([](TessarelJs& m, auto p) { m.flashingState(std::move(p)); });
  }

  // Runs the test thread's queue until the module has seen `count`
  // events named `name`.
  bool WaitForEvents(const std::string& name, std::size_t count) {
    return dispatcher_->RunUntil([&] { return events_.Count(name) >= count; },
                                 std::chrono::seconds(20));
  }

  int flashSeconds_ = 1;
  std::shared_ptr<ManualDispatcher> dispatcher_ = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread_{dispatcher_};
  std::filesystem::path keyboardsFile_;
  std::unique_ptr<App> app_;
  std::shared_ptr<TessarelJs> module_ = std::make_shared<TessarelJs>();
  EventLog events_{dispatcher_};
  std::unique_ptr<Subprocess> companion_;
};

TEST_F(DeviceCompanionTest, KeyboardsShowTheActiveColourJustSet) {
  const nlohmann::json before = Keyboards();
  ASSERT_EQ(before.size(), 2u) << before.dump();
  EXPECT_EQ(before[0]["id"], "TP12-4F2A-0001");
  EXPECT_EQ(before[0]["name"], "Tessarel Pad 12");
  EXPECT_EQ(before[0]["appPaths"].size(), 8u);
  const nlohmann::json colour = {{"b", 3}, {"g", 2}, {"r", 1}};
  ASSERT_NE(before[0]["layers"][0]["keys"][1][2]["activeColor"], colour);

  EXPECT_TRUE(Ask([](TessarelJs& m, auto p) {
                m.setLedActiveColor("TP12-4F2A-0001", 0, 2, 1, 1, 2, 3, std::move(p));
              }).is_null());
  // That key's active colour changed, and nothing else.
  nlohmann::json expected = before;
  expected[0]["layers"][0]["keys"][1][2]["activeColor"] = colour;
  EXPECT_EQ(Keyboards(), expected);
}

TEST_F(DeviceCompanionTest, UpdateRunsToCompletionWithFlashingNotifications) {
  const std::string id = Keyboards()[1]["id"];
  EXPECT_EQ(IsFlashing(), false);

  const nlohmann::json started = Ask([&](TessarelJs& m, auto p) {
    m.updateDevice(JSValue(id), "/tmp/tessarel-firmware-12.tfw", std::move(p));
  });
  EXPECT_EQ(started, true);
  EXPECT_EQ(IsFlashing(), true);

  // Started, then finished: two isFlashingUpdated, with progress between.
  ASSERT_TRUE(WaitForEvents("isFlashingUpdated", 2));
  EXPECT_GE(events_.Count("flashingStateUpdated"), 10u);
  EXPECT_EQ(IsFlashing(), false);
  EXPECT_EQ(FlashingState(), 100);
  const nlohmann::json version =
      Ask([&](TessarelJs& m, auto p) { m.firmwareVersion(JSValue(id), std::move(p)); });
  EXPECT_EQ(version, 12);
}

// An update long enough that the cancel always comes first.
class DeviceCompanionCancelTest : public DeviceCompanionTest {
 protected:
  DeviceCompanionCancelTest() { flashSeconds_ = 60; }
};

TEST_F(DeviceCompanionCancelTest, CancelStopsARunningUpdate) {
  const std::string id = Keyboards()[1]["id"];
  EXPECT_EQ(Ask([&](TessarelJs& m, auto p) { m.updateDevice(JSValue(id), "fw", std::move(p)); }),
            true);
  EXPECT_EQ(IsFlashing(), true);

  EXPECT_TRUE(Ask([](TessarelJs& m, auto p) { m.setCancelUpdate(true, std::move(p)); }).is_null());
  ASSERT_TRUE(WaitForEvents("isFlashingUpdated", 2));
  EXPECT_EQ(IsFlashing(), false);
  EXPECT_EQ(FlashingState(), 0);
}

}  // namespace
}  // namespace tessarel::testing
