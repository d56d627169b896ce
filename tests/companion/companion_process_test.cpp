// The simulated-keyboard companion as the app meets it: the real program,
// started with the build tree's packaged keyboards, against a listener in
// this process.
#include <gtest/gtest.h>

#include <fstream>

#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "model/keyboard_model.h"
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
            notifications_.push_back(args.Request.Message());
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
    auto companion = std::make_unique<Subprocess>(argv);
    EXPECT_TRUE(companion->Started());
    return companion;
  }

  // Waits for a notification whose "type" is `type`; returns it.
  std::optional<ValueSet> WaitForNotification(const std::string& type) {
    std::unique_lock lock(mutex_);
    std::optional<ValueSet> found;
    changed_.wait_for(lock, std::chrono::seconds(10), [&] {
      for (const ValueSet& message : notifications_) {
        if (const PropertyValue* value = message.Find("type");
            value && value->TryString() && *value->TryString() == type) {
          found = message;
          return true;
        }
      }
      return false;
    });
    return found;
  }

  ValueSet Ask(const AppServiceConnection& channel, ValueSet request) {
    const AppServiceResponse response = channel.SendMessageAsync(std::move(request)).Get();
    EXPECT_EQ(response.Status, AppServiceResponseStatus::Success);
    return response.Message;
  }

  ActivationRecorder recorder_;
  std::unique_ptr<AppServiceListener> listener_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ValueSet> notifications_;
};

TEST_F(SimulatedCompanionTest, AnswersEveryDeviceRequestInTheShapeTheAppReads) {
  auto companion = Start({"--select-file", "/home/me/firmware.tfw"});
  const AppServiceConnection channel = recorder_.WaitFor(1);
  ASSERT_TRUE(channel);

  const ValueSet keyboards = Ask(channel, Request("keyboards"));
  const JSValue converted = ConvertKeyboards(*keyboards.Lookup("keyboards").TryValueSet());
  ASSERT_NE(converted.TryGetArray(), nullptr);
  EXPECT_EQ(converted.TryGetArray()->size(), 2u);
  const std::string padId = converted.TryGetArray()->front().TryGetObject()->at("id").AsString();

  struct Row {
    const char* desc;
    ValueSet request;
    PropertyType resultType;  // ValueSet: no "result" expected
  };
  const Row rows[] = {
      {"isFlashing", Request("isFlashing"), PropertyType::Boolean},
      {"flashingState", Request("flashingState"), PropertyType::UInt32},
      {"recoverDeviceState", Request("recoverDeviceState"), PropertyType::UInt32},
      {"resetFirmwareState", Request("resetFirmwareState"), PropertyType::UInt32},
      {"firmwareVersion", With(Request("firmwareVersion"), "keyboardId", Str(padId)),
       PropertyType::UInt32},
      {"firmwareVersion of nothing", With(Request("firmwareVersion"), "keyboardId", Str("x")),
       PropertyType::ValueSet},
      {"selectFile", Request("selectFile"), PropertyType::String},
      {"resetToBootloader", With(Request("resetToBootloader"), "keyboardId", Str("x")),
       PropertyType::Boolean},
      {"simulateKeyPress",
       Set({{"method", Str("simulateKeyPress")},
            {"keyboardId", Str(padId)},
            {"executablePath", Str("/usr/bin/gimp")},
            {"layer", I32(0)},
            {"x", I32(0)},
            {"y", I32(0)}}),
       PropertyType::Boolean},
      {"setCancelUpdate", With(Request("setCancelUpdate"), "cancel", Str("false")),
       PropertyType::Boolean},
      {"recoverDevice", With(Request("recoverDevice"), "model", Str("77")), PropertyType::Boolean},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    const ValueSet reply = Ask(channel, row.request);
    const PropertyValue* result = reply.Find("result");
    if (row.resultType == PropertyType::ValueSet) {
      EXPECT_EQ(result, nullptr);
    } else {
      ASSERT_NE(result, nullptr);
      EXPECT_EQ(result->Type(), row.resultType);
    }
  }
  EXPECT_EQ(Ask(channel, Request("selectFile")), Set({{"result", Str("/home/me/firmware.tfw")}}));
  EXPECT_EQ(*Ask(channel, Request("nonsense")).Lookup("error").TryString(),
            "Unknown method: nonsense");
}

TEST_F(SimulatedCompanionTest, AnnouncesOlderFirmwareAndLightingChanges) {
  auto companion = Start();
  const AppServiceConnection channel = recorder_.WaitFor(1);
  ASSERT_TRUE(channel);
  const std::optional<ValueSet> newer = WaitForNotification("keyboardVersionNewer");
  ASSERT_TRUE(newer);
  EXPECT_EQ(*newer->Lookup("name").TryString(), "Tessarel Deck 20");

  const ValueSet change = Set({{"method", Str("setLedActiveColor")},
                               {"keyboardId", Str("TP12-4F2A-0001")},
                               {"layerType", I32(0)},
                               {"x", I32(2)},
                               {"y", I32(1)},
                               {"r", I32(1)},
                               {"g", I32(2)},
                               {"b", I32(3)}});
  EXPECT_EQ(Ask(channel, change), Set({{"result", Bool(true)}}));
  EXPECT_TRUE(WaitForNotification("keyboardsUpdated"));
  const JSValue keyboards =
      ConvertKeyboards(*Ask(channel, Request("keyboards")).Lookup("keyboards").TryValueSet());
  const JSValue& key = keyboards.TryGetArray()
                           ->at(0)
                           .TryGetObject()
                           ->at("layers")
                           .TryGetArray()
                           ->at(0)
                           .TryGetObject()
                           ->at("keys")
                           .TryGetArray()
                           ->at(1)
                           .TryGetArray()
                           ->at(2);
  EXPECT_EQ(key.TryGetObject()->at("activeColor"), JSValue::Object({{"r", 1}, {"g", 2}, {"b", 3}}));
}

TEST_F(SimulatedCompanionTest, SendsExitWhenToldAndThenEnds) {
  auto companion = Start({"--send-exit-after", "0.2"});
  ASSERT_TRUE(recorder_.WaitFor(1));
  EXPECT_TRUE(WaitForNotification("exit"));
  ASSERT_TRUE(companion->WaitForExit(std::chrono::seconds(10)));
  EXPECT_TRUE(WIFEXITED(companion->Wait()));
  EXPECT_EQ(WEXITSTATUS(companion->Wait()), 0);
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
  const std::string companion =
      "timeout 1 " + SimulatedCompanionPath() + " --socket " + SocketPath().string();
  const CommandResult quiet = RunCommand(companion + " --background");
  EXPECT_EQ(WEXITSTATUS(quiet.status), 124);  // still waiting when the time ran out
  EXPECT_EQ(quiet.output, "");
  const CommandResult chatty = RunCommand(companion);
  EXPECT_EQ(WEXITSTATUS(chatty.status), 124);
  EXPECT_NE(chatty.output.find("Waiting for the app at " + SocketPath().string()),
            std::string::npos)
      << chatty.output;
}

TEST_F(SimulatedCompanionTest, RefusesToStartWithABrokenKeyboardFile) {
  const auto file = runtimeDirectory_ / "keyboards.json";
  std::ofstream(file) << R"({"keyboards": [{"id": "K"}]})";
  const CommandResult result = RunCommand(SimulatedCompanionPath() + " --socket " +
                                          SocketPath().string() + " --keyboards " + file.string());
  EXPECT_EQ(WEXITSTATUS(result.status), 1);
  EXPECT_EQ(result.output,
            "tessarel-companion: " + file.string() + ": keyboards[0].name: is missing\n");
  EXPECT_EQ(WEXITSTATUS(RunCommand(SimulatedCompanionPath() + " --bogus").status), 2);
}

}  // namespace
}  // namespace tessarel::testing
