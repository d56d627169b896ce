#include "companion/keyboard_simulator.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>

#include <nlohmann/json.hpp>

#include "companion/keyboard_state.h"
#include "support/value_set_builders.h"

namespace tessarel::companion {
namespace {

using namespace tessarel::testing;
using tessarel::testing::Color;

// Two keyboards of different models; short timings keep the tests quick.
constexpr char kDevices[] = R"({
  "settings": {"shippedFirmwareVersion": 12, "selectFile": "/fw/pad-12.tfw",
               "flashSeconds": 0.2, "resetSeconds": 0.05, "recoverSeconds": 0.05,
               "versionNoticeSeconds": 0},
  "keyboards": [
    {"id": "PAD", "name": "Tessarel Pad", "model": 1, "firmwareVersion": 12,
     "layers": [
       {"type": 0, "keys": [[{"inactiveColor": "#000000", "activeColor": "#111111"}, {}]]},
       {"type": 1, "keys": [[{"activeColor": "#222222"}, {}]]}]},
    {"id": "DECK", "name": "Tessarel Deck", "model": 2, "firmwareVersion": 10,
     "layers": [{"type": 0, "keys": [[{}]]}]}
  ]})";

// The pad as the script sees it: two layers of two plain keys, two paths.
nlohmann::json PadConfig() {
  const nlohmann::json key = nlohmann::json::parse(
      R"({"action": {"macros": [], "type": 0}, "activeColor": null, "icon": null,
          "inactiveColor": null, "orientation": 0, "size": {"x": 1, "y": 1}})");
  nlohmann::json row = nlohmann::json::array({key, key});
  nlohmann::json layers =
      nlohmann::json::array({{{"keys", nlohmann::json::array({row})}, {"type", 0}},
                             {{"keys", nlohmann::json::array({row})}, {"type", 1}}});
  return {{"appPaths", nlohmann::json::array({"/a", "", "", "", "", "", "", "/h"})},
          {"id", "PAD"},
          {"model", 1},
          {"name", "Tessarel Pad"},
          {"layers", layers}};
}

// The notifications the simulator sends, in order.
class Notifications {
 public:
  KeyboardSimulator::Sender Sender() {
    return [this](ValueSet message) {
      std::lock_guard lock(mutex_);
      types_.push_back(*message.Lookup("type").TryString());
      changed_.notify_all();
    };
  }
  // Waits until `type` has been sent `count` times in all; returns them all.
  std::vector<std::string> WaitFor(const std::string& type, int count = 1) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(10),
                      [&] { return std::count(types_.begin(), types_.end(), type) >= count; });
    return types_;
  }
  std::vector<std::string> Take() {
    std::lock_guard lock(mutex_);
    return std::exchange(types_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> types_;
};

class KeyboardSimulatorTest : public ::testing::Test {
 protected:
  ValueSet Call(const std::string& method, ValueSet arguments = {}) {
    return simulator_.HandleRequest(method, arguments);
  }
  std::uint32_t State(const std::string& method) {
    return *Call(method).Lookup("result").TryUInt32();
  }
  bool Flag(const std::string& method, ValueSet arguments = {}) {
    return *Call(method, std::move(arguments)).Lookup("result").TryBoolean();
  }
  std::uint32_t Version(const char* keyboard) {
    return *Call("firmwareVersion", Set({{"keyboardId", Str(keyboard)}}))
                .Lookup("result")
                .TryUInt32();
  }
  // The pad's key (x, 0), coloured.
  static ValueSet PadKey(int x, int r, int g, int b) {
    return Set({{"keyboardId", Str("PAD")},
                {"x", I32(x)},
                {"y", I32(0)},
                {"r", I32(r)},
                {"g", I32(g)},
                {"b", I32(b)}});
  }
  // Key (x, y) of layer `layer` of keyboard `keyboard` in a "keyboards" reply.
  ValueSet Key(std::size_t keyboard, std::size_t layer, int x, int y) {
    const ValueSet list = *Call("keyboards").Lookup("keyboards").TryValueSet();
    const ValueSet& board = *list.Lookup(std::to_string(keyboard)).TryValueSet();
    const ValueSet& layers = *board.Lookup("layers").TryValueSet();
    const ValueSet& rows =
        *layers.Lookup(std::to_string(layer)).TryValueSet()->Lookup("keys").TryValueSet();
    return *rows.Lookup(std::to_string(y)).TryValueSet()->Lookup(std::to_string(x)).TryValueSet();
  }

  bool Write(const nlohmann::json& config) {
    return Flag("updateDevice", Set({{"keyboardId", Str("PAD")}, {"config", Str(config.dump())}}));
  }
  std::vector<std::string> TakeWarnings() {
    std::lock_guard lock(warningsMutex_);
    return std::exchange(warnings_, {});
  }
  KeyboardSimulator::Options WarningOptions() {
    KeyboardSimulator::Options options;
    options.warn = [this](const std::string& line) {
      std::lock_guard lock(warningsMutex_);
      warnings_.push_back(line);
    };
    return options;
  }

  Notifications notifications_;
  std::mutex warningsMutex_;
  std::vector<std::string> warnings_;
  KeyboardSimulator simulator_{ParseSimulatedDevices(kDevices), notifications_.Sender(),
                               WarningOptions()};
};

TEST_F(KeyboardSimulatorTest, QueriesAnswerWithTheTypesTheAppReads) {
  EXPECT_EQ(Call("isFlashing"), Set({{"result", Bool(false)}}));
  for (const char* query : {"flashingState", "resetFirmwareState", "recoverDeviceState"}) {
    SCOPED_TRACE(query);
    EXPECT_EQ(Call(query), Set({{"result", U32(0)}}));
  }
  EXPECT_EQ(*Call("keyboards").Lookup("keyboards").TryValueSet()->Lookup("count").TryUInt32(), 2u);
  EXPECT_EQ(Version("DECK"), 10u);
  EXPECT_EQ(Call("firmwareVersion", Set({{"keyboardId", Str("NONE")}})), ValueSet{});
  EXPECT_EQ(Call("selectFile"), Set({{"result", Str("/fw/pad-12.tfw")}}));
  EXPECT_THROW(Call("sendDebugCommand"), std::invalid_argument);
  EXPECT_TRUE(notifications_.Take().empty());
}

TEST_F(KeyboardSimulatorTest, AnActiveColourIsStoredButALightIsOnlyAPreview) {
  const ValueSet active = With(PadKey(0, 1, 2, 255), "layerType", I32(1));
  EXPECT_TRUE(Flag("setLedActiveColor", active));
  EXPECT_EQ(*Key(0, 1, 0, 0).Lookup("activeColor").TryValueSet(), Color(1, 2, 255));
  EXPECT_EQ(*Key(0, 0, 0, 0).Lookup("activeColor").TryValueSet(), Color(17, 17, 17));
  EXPECT_EQ(notifications_.Take(), std::vector<std::string>{"keyboardsUpdated"});

  // setLed lights the key on the device: the stored colours stay, and since
  // nothing stored changed, nothing is announced.
  const ValueSet before = Call("keyboards");
  EXPECT_TRUE(Flag("setLed", PadKey(0, 9, 8, 7)));
  EXPECT_EQ(Call("keyboards"), before);
  EXPECT_TRUE(notifications_.Take().empty());

  // The device refuses what it cannot show; nothing changes, nothing is said.
  const std::pair<const char*, ValueSet> refused[] = {
      {"setLedActiveColor", With(active, "g", I32(256))},
      {"setLedActiveColor", With(active, "layerType", I32(7))},
      {"setLed", PadKey(5, 1, 1, 1)},
      {"setLed", PadKey(0, 1, -1, 1)},
  };
  for (const auto& [method, request] : refused) EXPECT_FALSE(Flag(method, request)) << method;
  EXPECT_TRUE(notifications_.Take().empty());
  EXPECT_EQ(Call("keyboards"), before);
}

TEST_F(KeyboardSimulatorTest, AFirmwareUpdateReportsItsProgressToTheEnd) {
  EXPECT_TRUE(Flag("updateDevice", Set({{"keyboardId", Str("DECK")}, {"config", Str("/fw/x")}})));
  EXPECT_TRUE(Flag("isFlashing"));
  EXPECT_FALSE(Flag("updateDevice", Set({{"keyboardId", Str("PAD")}})));  // one at a time
  std::vector<std::string> expected = {"isFlashingUpdated"};
  expected.insert(expected.end(), 21, "flashingStateUpdated");  // 0, 5, ..., 100
  expected.insert(expected.end(), {"isFlashingUpdated", "keyboardsUpdated"});
  EXPECT_EQ(notifications_.WaitFor("keyboardsUpdated"), expected);
  EXPECT_FALSE(Flag("isFlashing"));
  EXPECT_EQ(State("flashingState"), 100u);
  EXPECT_EQ(Version("DECK"), 12u);
  EXPECT_FALSE(Flag("updateDevice", Set({{"keyboardId", Str("NONE")}})));
}

TEST_F(KeyboardSimulatorTest, AnUpdateWritesTheConfigurationItWasGiven) {
  // The pad's first key made red, turned, with a custom icon and a key
  // combination whose unreadable entry the script showed as null.
  nlohmann::json config = PadConfig();
  config["layers"][0]["keys"][0][0] = nlohmann::json::parse(
      R"({"action": {"macros": [224, null, 6], "type": 1}, "activeColor": null,
          "icon": {"id": -1, "type": "custom"}, "inactiveColor": {"b": 0, "g": 0, "r": 255},
          "orientation": 2, "size": {"x": 1, "y": 1}})");
  EXPECT_TRUE(Write(config));
  notifications_.WaitFor("keyboardsUpdated");
  const ValueSet plainKey = Set({{"sizeX", U32(1)},
                                 {"sizeY", U32(1)},
                                 {"orientation", U32(0)},
                                 {"actionType", U32(0)},
                                 {"actionMacros", Nested(List({}))}});
  const ValueSet writtenKey =
      Set({{"sizeX", U32(1)},
           {"sizeY", U32(1)},
           {"icon", Nested(Set({{"type", Str("custom")}, {"id", U64(UINT64_MAX)}}))},
           {"orientation", U32(2)},
           {"inactiveColor", Nested(Color(255, 0, 0))},
           {"actionType", U32(1)},
           {"actionMacros", Nested(List({U32(224), U32(6)}))}});
  const ValueSet list = *Call("keyboards").Lookup("keyboards").TryValueSet();
  EXPECT_EQ(*list.Lookup("0").TryValueSet()->Lookup("layers").TryValueSet(),
            List({Nested(Layer(0, List({Nested(List({Nested(writtenKey), Nested(plainKey)}))}))),
                  Nested(Layer(1, List({Nested(List({Nested(plainKey), Nested(plainKey)}))})))}));
  EXPECT_TRUE(TakeWarnings().empty());
}

// What the device cannot take is refused before anything starts, and the
// log says what and where.
TEST_F(KeyboardSimulatorTest, AConfigurationThatDoesNotFitIsRefused) {
  using nlohmann::json;
  const json key = PadConfig()["layers"][0]["keys"][0][0];
  auto withAction = [&](int type, json macros) {
    json changed = key;
    changed["action"] = {{"macros", std::move(macros)}, {"type", type}};
    return changed;
  };
  struct Row {
    const char* pointer;
    json value;
    const char* problem;
  };
  const Row rows[] = {
      {"/id", "DECK", "id: is DECK, the keyboard is PAD"},
      {"/model", 2, "model: is 2, the keyboard is model 1"},
      {"/appPaths/2", "bin/tool", "appPaths[2]: must be empty or an absolute path"},
      {"/appPaths", json::array({"/a"}), "appPaths: must hold eight paths"},
      {"/layers", json::array(), "layers: must hold one to eight layers"},
      {"/layers/1/type", 0, "layers[1].type: another layer has type 0"},
      {"/layers/0/keys/0", json::array({key}),
       "layers[0].keys[0]: the keyboard has 2 places in this row"},
      {"/layers/0/keys/0/1", nullptr, "layers[0].keys[0][1]: the keyboard has a key here"},
      {"/layers/0/keys/0/0/size/x", 2,
       "layers[0].keys[0][0].size: the key is 1 x 1 on this keyboard"},
      {"/layers/1/keys/0/0/activeColor",
       {{"r", 256}, {"g", 0}, {"b", 0}},
       "layers[1].keys[0][0].activeColor.r: must be at most 255"},
      {"/layers/0/keys/0/1", withAction(6, json::array()),
       "layers[0].keys[0][1].action.type: must be 0 to 5"},
      {"/layers/0/keys/0/0", withAction(1, {224, 300}),
       "layers[0].keys[0][0].action.macros[1]: is not a HID keyboard usage (0 to 231)"},
      {"/layers/0/keys/0/0", withAction(3, {1}),
       "layers[0].keys[0][0].action.macros[0]: application slot 2 is empty"},
      {"/layers/0/keys/0/0", withAction(3, {0, 7}),
       "layers[0].keys[0][0].action.macros: must hold exactly one entry"},
      {"/layers/0/keys/0/0", withAction(5, {7}),
       "layers[0].keys[0][0].action.macros[0]: the keyboard has no layer of type 7"},
      {"/layers/0/keys/0/0", withAction(4, {0}),
       "layers[0].keys[0][0].action.macros[0]: is not a consumer usage (1 to 65535)"},
  };
  const ValueSet before = Call("keyboards");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.pointer + std::string(" ") + row.problem);
    json config = PadConfig();
    config[json::json_pointer(row.pointer)] = row.value;
    EXPECT_FALSE(Write(config));
    const std::vector<std::string> warnings = TakeWarnings();
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0],
              std::string("updateDevice refused the configuration for PAD: ") + row.problem);
  }
  EXPECT_FALSE(Flag("isFlashing"));
  EXPECT_TRUE(notifications_.Take().empty());
  EXPECT_EQ(Call("keyboards"), before);
  // The same keyboard, unchanged, is taken.
  EXPECT_TRUE(Write(PadConfig()));
}

// A written configuration stays when the companion starts again; a reset
// brings back the keyboards file's, and that stays too.
TEST(KeyboardSimulatorStateTest, WhatWasWrittenSurvivesARestart) {
  char pattern[] = "/tmp/tessarel-state-test-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::filesystem::path directory = pattern;
  const std::filesystem::path stateFile = directory / "tessarel" / "state.json";
  Notifications notifications;
  std::vector<std::string> warnings;
  auto start = [&] {
    KeyboardSimulator::Options options;
    options.stateFile = stateFile;
    options.warn = [&warnings](const std::string& line) { warnings.push_back(line); };
    return std::make_unique<KeyboardSimulator>(ParseSimulatedDevices(kDevices),
                                               notifications.Sender(), options);
  };
  auto pathOf = [](KeyboardSimulator& simulator, int slot) {
    const ValueSet list =
        *simulator.HandleRequest("keyboards", {}).Lookup("keyboards").TryValueSet();
    const ValueSet& paths = *list.Lookup("0").TryValueSet()->Lookup("appPaths").TryValueSet();
    return *paths.Lookup(std::to_string(slot)).TryValueSet()->Lookup("appPath").TryString();
  };

  auto simulator = start();
  nlohmann::json config = PadConfig();
  config["appPaths"][2] = "/usr/bin/tool";
  EXPECT_TRUE(*simulator
                   ->HandleRequest("updateDevice", Set({{"keyboardId", Str("PAD")},
                                                        {"config", Str(config.dump())}}))
                   .Lookup("result")
                   .TryBoolean());
  notifications.WaitFor("keyboardsUpdated");
  simulator.reset();
  simulator = start();
  EXPECT_EQ(pathOf(*simulator, 2), "/usr/bin/tool");

  simulator->HandleRequest("resetFirmware", Set({{"keyboardId", Str("PAD")}}));
  notifications.WaitFor("keyboardsUpdated", 2);
  simulator.reset();
  simulator = start();
  EXPECT_EQ(pathOf(*simulator, 2), "");

  // A state file that is not one is reported and left aside.
  std::ofstream(stateFile) << "{\"format\": 1, \"keyboards\": [{\"id\": 3}]}";
  simulator = start();
  EXPECT_EQ(pathOf(*simulator, 0), "");
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_NE(warnings[0].find("the kept configuration is not used: " + stateFile.string()),
            std::string::npos);
  simulator.reset();
  std::filesystem::remove_all(directory);
}

TEST_F(KeyboardSimulatorTest, ACancelledUpdateStopsAndSaysSo) {
  EXPECT_FALSE(Flag("setCancelUpdate", Set({{"cancel", Str("true")}})));  // nothing to cancel
  EXPECT_TRUE(Flag("updateDevice", Set({{"keyboardId", Str("DECK")}})));
  notifications_.WaitFor("flashingStateUpdated", 3);
  EXPECT_GT(State("flashingState"), 0u);
  EXPECT_FALSE(Flag("setCancelUpdate", Set({{"cancel", Str("false")}})));
  EXPECT_TRUE(Flag("isFlashing"));
  notifications_.Take();
  EXPECT_TRUE(Flag("setCancelUpdate", Set({{"cancel", Str("true")}})));
  EXPECT_FALSE(Flag("isFlashing"));
  EXPECT_EQ(State("flashingState"), 0u);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // past the planned end
  // A step may have landed just before the cancel; nothing comes after it.
  const std::vector<std::string> sent = notifications_.Take();
  ASSERT_GE(sent.size(), 2u);
  EXPECT_EQ(std::vector<std::string>(sent.end() - 2, sent.end()),
            (std::vector<std::string>{"isFlashingUpdated", "flashingStateUpdated"}));
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "isFlashingUpdated"), 1);
  EXPECT_EQ(Version("DECK"), 10u);
}

TEST_F(KeyboardSimulatorTest, ResetAndRecoveryReportTheirStates) {
  using enum OperationState;
  const std::vector<std::string> resetRun = {"resetFirmwareStateUpdated",
                                             "resetFirmwareStateUpdated", "keyboardsUpdated"};
  // A reset restores the keyboard's factory lighting.
  Flag("setLedActiveColor", With(PadKey(0, 5, 5, 5), "layerType", I32(0)));
  notifications_.Take();
  EXPECT_TRUE(Flag("resetFirmware", Set({{"keyboardId", Str("PAD")}, {"model", Str("1")}})));
  EXPECT_EQ(State("resetFirmwareState"), static_cast<std::uint32_t>(kRunning));
  EXPECT_EQ(notifications_.WaitFor("keyboardsUpdated"), resetRun);
  EXPECT_EQ(State("resetFirmwareState"), static_cast<std::uint32_t>(kSucceeded));
  EXPECT_EQ(*Key(0, 0, 0, 0).Lookup("activeColor").TryValueSet(), Color(17, 17, 17));
  notifications_.Take();
  // A firmware image of another model: the reset fails.
  EXPECT_TRUE(Flag("resetFirmware", Set({{"keyboardId", Str("PAD")}, {"model", Str("2")}})));
  EXPECT_EQ(notifications_.WaitFor("resetFirmwareStateUpdated", 2).size(), 2u);
  EXPECT_EQ(State("resetFirmwareState"), static_cast<std::uint32_t>(kFailed));
  notifications_.Take();

  EXPECT_TRUE(Flag("recoverDevice", Set({{"model", Str("2")}})));
  EXPECT_EQ(notifications_.WaitFor("keyboardsUpdated"),
            (std::vector<std::string>{"recoverDeviceStateUpdated", "recoverDeviceStateUpdated",
                                      "keyboardsUpdated"}));
  EXPECT_EQ(State("recoverDeviceState"), static_cast<std::uint32_t>(kSucceeded));
  EXPECT_EQ(Version("DECK"), 12u);
}

}  // namespace
}  // namespace tessarel::companion
