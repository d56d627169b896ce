// The simulated-keyboard companion as the app meets it: the real program
// against a listener in this process.
#include <gtest/gtest.h>

#include <fstream>

#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "support/value_set_builders.h"

namespace tessarel::testing {
namespace {

class SimulatedCompanionTest : public RuntimeDirectoryTest {
 protected:
  void SetUp() override {
    RuntimeDirectoryTest::SetUp();
    recorder_.OnActivated([this](const AppServiceConnection& connection) {
      connection.RequestReceived(
          [this](const AppServiceConnection&, const AppServiceRequestReceivedEventArgs& args) {
            std::lock_guard lock(mutex_);
            notifications_.push_back(*args.Request.Message().Lookup("type").TryString());
            changed_.notify_all();
          });
    });
    listener_ = std::make_unique<AppServiceListener>(SocketPath(), recorder_.Handler());
  }
  void TearDown() override {
    listener_.reset();
    RuntimeDirectoryTest::TearDown();
  }
  std::unique_ptr<Subprocess> Start(std::vector<std::string> extra = {}) {
    std::vector<std::string> argv = {SimulatedCompanionPath(), "--socket", SocketPath().string()};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return std::make_unique<Subprocess>(argv);
  }
  // Waits for the count-th notification of `type`.
  bool WaitForNotification(const std::string& type, long count = 1) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] {
      return std::count(notifications_.begin(), notifications_.end(), type) >= count;
    });
  }
  std::string Command() const {
    return SimulatedCompanionPath() + " --socket " + SocketPath().string();
  }

  ActivationRecorder recorder_;
  std::unique_ptr<AppServiceListener> listener_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> notifications_;
};

TEST_F(SimulatedCompanionTest, ServesTheKeyboardsOfItsFileAndShowsColourChanges) {
  const auto file = runtimeDirectory_ / "keyboards.json";
  std::ofstream(file) << R"({"settings": {"shippedFirmwareVersion": 3, "versionNoticeSeconds": 0},
    "keyboards": [{"id": "K1", "name": "Old", "model": 1, "firmwareVersion": 2,
                   "layers": [{"type": 0, "keys": [[{}, {"activeColor": "#010203"}]]}]}]})";
  auto companion = Start({"--keyboards", file.string(), "--select-file", "/home/me/fw.tfw"});
  const AppServiceConnection channel = recorder_.WaitFor(1);
  ASSERT_TRUE(channel);
  EXPECT_TRUE(WaitForNotification("keyboardVersionNewer"));  // firmware 2 is older than 3
  auto ask = [&](ValueSet request) {
    const AppServiceResponse response = channel.SendMessageAsync(std::move(request)).Get();
    EXPECT_EQ(response.Status, AppServiceResponseStatus::Success);
    return response.Message;
  };
  auto activeColor = [&] {
    const ValueSet list = *ask(Request("keyboards")).Lookup("keyboards").TryValueSet();
    EXPECT_EQ(*list.Lookup("count").TryUInt32(), 1u);
    const ValueSet& keyboard = *list.Lookup("0").TryValueSet();
    EXPECT_EQ(*keyboard.Lookup("id").TryString(), "K1");
    const ValueSet& keys = *keyboard.Lookup("layers")
                                .TryValueSet()
                                ->Lookup("0")
                                .TryValueSet()
                                ->Lookup("keys")
                                .TryValueSet()
                                ->Lookup("0")
                                .TryValueSet()
                                ->Lookup("1")
                                .TryValueSet();
    return *keys.Lookup("activeColor").TryValueSet();
  };
  EXPECT_EQ(activeColor(), Color(1, 2, 3));
  const ValueSet change = Set({{"method", Str("setLedActiveColor")},
                               {"keyboardId", Str("K1")},
                               {"layerType", I32(0)},
                               {"x", I32(1)},
                               {"y", I32(0)},
                               {"r", I32(7)},
                               {"g", I32(8)},
                               {"b", I32(9)}});
  EXPECT_EQ(ask(change), Set({{"result", Bool(true)}}));
  EXPECT_TRUE(WaitForNotification("keyboardsUpdated"));
  EXPECT_EQ(activeColor(), Color(7, 8, 9));
  EXPECT_EQ(ask(Request("selectFile")), Set({{"result", Str("/home/me/fw.tfw")}}));
}

TEST_F(SimulatedCompanionTest, OneCompanionServesTheSocket) {
  auto first = Start();
  ASSERT_TRUE(recorder_.WaitFor(1));
  auto second = Start();
  ASSERT_TRUE(second->WaitForExit(std::chrono::seconds(10)));
  EXPECT_EQ(WEXITSTATUS(second->Wait()), 0);
  EXPECT_TRUE(first->Running());
  EXPECT_EQ(recorder_.Count(), 1u);
  auto allowed = Start({"--allow-second-instance"});
  EXPECT_TRUE(recorder_.WaitFor(2));
}

TEST_F(SimulatedCompanionTest, WaitsForTheAppQuietlyInTheBackground) {
  listener_.reset();  // no app yet
  const CommandResult quiet = RunCommand("timeout 1 " + Command() + " --background");
  EXPECT_EQ(WEXITSTATUS(quiet.status), 124);  // still waiting when the time ran out
  EXPECT_EQ(quiet.output, "");
  const CommandResult chatty = RunCommand("timeout 1 " + Command());
  EXPECT_EQ(WEXITSTATUS(chatty.status), 124);
  EXPECT_NE(chatty.output.find("Waiting for the app at " + SocketPath().string()),
            std::string::npos)
      << chatty.output;
}

TEST_F(SimulatedCompanionTest, RefusesToStartWithABrokenKeyboardFile) {
  const auto file = runtimeDirectory_ / "keyboards.json";
  std::ofstream(file) << R"({"keyboards": [{"id": "K"}]})";
  const CommandResult result = RunCommand(Command() + " --keyboards " + file.string());
  EXPECT_EQ(WEXITSTATUS(result.status), 1);
  EXPECT_EQ(result.output,
            "tessarel-companion: " + file.string() + ": keyboards[0].name: is missing\n");
  EXPECT_EQ(WEXITSTATUS(RunCommand(SimulatedCompanionPath() + " --bogus").status), 2);
}

}  // namespace
}  // namespace tessarel::testing
