#include "companion/keyboard_simulator.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

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

  Notifications notifications_;
  KeyboardSimulator simulator_{ParseSimulatedDevices(kDevices), notifications_.Sender(), {}};
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

TEST_F(KeyboardSimulatorTest, LightingChangesShowInTheNextListAndAreAnnounced) {
  const ValueSet active = With(PadKey(0, 1, 2, 255), "layerType", I32(1));
  EXPECT_TRUE(Flag("setLedActiveColor", active));
  EXPECT_EQ(*Key(0, 1, 0, 0).Lookup("activeColor").TryValueSet(), Color(1, 2, 255));
  EXPECT_EQ(*Key(0, 0, 0, 0).Lookup("activeColor").TryValueSet(), Color(17, 17, 17));
  // setLed colours the key's place on every layer.
  EXPECT_TRUE(Flag("setLed", PadKey(1, 9, 8, 7)));
  for (std::size_t layer : {0u, 1u})
    EXPECT_EQ(*Key(0, layer, 1, 0).Lookup("inactiveColor").TryValueSet(), Color(9, 8, 7));
  EXPECT_EQ(notifications_.Take(),
            (std::vector<std::string>{"keyboardsUpdated", "keyboardsUpdated"}));

  // The device refuses what it cannot show; nothing changes, nothing is said.
  const std::pair<const char*, ValueSet> refused[] = {
      {"setLedActiveColor", With(active, "g", I32(256))},
      {"setLedActiveColor", With(active, "layerType", I32(7))},
      {"setLed", PadKey(5, 1, 1, 1)},
  };
  for (const auto& [method, request] : refused) EXPECT_FALSE(Flag(method, request)) << method;
  EXPECT_TRUE(notifications_.Take().empty());
  EXPECT_EQ(*Key(0, 1, 0, 0).Lookup("activeColor").TryValueSet(), Color(1, 2, 255));
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
  // The pad as the script would send it back, its first key made wide and red.
  const std::string config = R"({"appPaths": ["/a", "", "", "", "", "", "", "/h"], "id": "PAD",
    "layers": [{"keys": [[{"action": {"macros": [4, null], "type": 1}, "activeColor": null,
      "icon": {"id": -1, "type": "custom"}, "inactiveColor": {"b": 0, "g": 0, "r": 255},
      "orientation": 2, "size": {"x": 2, "y": 1}}, null]], "type": 0}],
    "model": 1, "name": "Tessarel Pad"})";
  EXPECT_FALSE(Flag("updateDevice", Set({{"keyboardId", Str("PAD")}, {"config", Str("{broken")}})));
  EXPECT_TRUE(Flag("updateDevice", Set({{"keyboardId", Str("PAD")}, {"config", Str(config)}})));
  notifications_.WaitFor("keyboardsUpdated");
  // How each member is read is the parser's own test; here the written
  // keyboard is the one the next list shows.
  const ValueSet expectedKey =
      Set({{"sizeX", U32(2)},
           {"sizeY", U32(1)},
           {"icon", Nested(Set({{"type", Str("custom")}, {"id", U64(UINT64_MAX)}}))},
           {"orientation", U32(2)},
           {"inactiveColor", Nested(Color(255, 0, 0))},
           {"actionType", U32(1)},
           {"actionMacros", Nested(List({U32(4)}))}});
  const ValueSet list = *Call("keyboards").Lookup("keyboards").TryValueSet();
  EXPECT_EQ(*list.Lookup("0").TryValueSet()->Lookup("layers").TryValueSet(),
            List({Nested(Layer(0, List({Nested(ListWithCount(2, {{0, Nested(expectedKey)}}))})))}));
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
  Flag("setLed", PadKey(0, 5, 5, 5));
  notifications_.Take();
  EXPECT_TRUE(Flag("resetFirmware", Set({{"keyboardId", Str("PAD")}, {"model", Str("1")}})));
  EXPECT_EQ(State("resetFirmwareState"), static_cast<std::uint32_t>(kRunning));
  EXPECT_EQ(notifications_.WaitFor("keyboardsUpdated"), resetRun);
  EXPECT_EQ(State("resetFirmwareState"), static_cast<std::uint32_t>(kSucceeded));
  EXPECT_EQ(*Key(0, 0, 0, 0).Lookup("inactiveColor").TryValueSet(), Color(0, 0, 0));
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
