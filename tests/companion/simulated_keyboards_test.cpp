#include "companion/simulated_keyboards.h"

#include <gtest/gtest.h>

#include "companion/configuration_check.h"
#include "model/keyboard_model.h"
#include "support/to_json.h"
#include "support/value_set_builders.h"

namespace tessarel::companion {
namespace {

using namespace tessarel::testing;
using tessarel::testing::Color;

std::filesystem::path PackagedKeyboards() {
  // bin/ of the build tree, next to share/tessarel/.
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "share" /
         "tessarel" / "simulated-keyboards.json";
}

TEST(SimulatedKeyboardsTest, EncodesTheCompanionsKeyboardModel) {
  const SimulatedDevices devices = ParseSimulatedDevices(R"({
    "keyboards": [{
      "id": "K1", "name": "Pad", "model": 2, "firmwareVersion": 3,
      "appPaths": ["/usr/bin/gimp"],
      "layers": [{"type": 1, "keys": [[
        {"label": "Copy", "size": [2, 1], "icon": {"type": "builtin", "id": 18446744073709551615},
         "orientation": 3, "inactiveColor": "#0a0B0c", "activeColor": "#ff0080",
         "action": {"type": 4, "macros": [224, 6]}},
        null,
        {}
      ]]}]
    }]})");
  ASSERT_EQ(devices.keyboards.size(), 1u);
  // The one path given, then empty ones up to the eight every keyboard has.
  ValueSet appPaths;
  for (int i = 0; i < 8; ++i)
    appPaths.Insert(std::to_string(i), Nested(Set({{"appPath", Str(i ? "" : "/usr/bin/gimp")}})));
  const ValueSet copyKey =
      Set({{"sizeX", U32(2)},
           {"sizeY", U32(1)},
           {"icon", Nested(Set({{"type", Str("builtin")}, {"id", U64(UINT64_MAX)}}))},
           {"orientation", U32(3)},
           {"inactiveColor", Nested(Color(10, 11, 12))},
           {"activeColor", Nested(Color(255, 0, 128))},
           {"actionType", U32(4)},
           {"actionMacros", Nested(List({U32(224), U32(6)}))}});
  // A key given as {} has every default and no optional member; a null is a
  // gap, counted but without an entry.
  const ValueSet plainKey = Set({{"sizeX", U32(1)},
                                 {"sizeY", U32(1)},
                                 {"orientation", U32(0)},
                                 {"actionType", U32(0)},
                                 {"actionMacros", Nested(List({}))}});
  const ValueSet expected = List({Nested(Set(
      {{"id", Str("K1")},
       {"name", Str("Pad")},
       {"model", U32(2)},
       {"layers",
        Nested(List({Nested(Layer(1, List({Nested(ListWithCount(
                                         3, {{0, Nested(copyKey)}, {2, Nested(plainKey)}}))})))}))},
       {"appPaths", Nested(appPaths)}}))});
  EXPECT_EQ(EncodeKeyboardList({&devices.keyboards[0]}), expected);
}

// What the script sends back as updateDevice's configuration is the keyboard
// as the script saw it; read back, it is the keyboard that was sent.
TEST(SimulatedKeyboardsTest, AKeyboardComesBackFromItsScriptForm) {
  const SimulatedDevices devices = LoadSimulatedDevices(PackagedKeyboards());
  for (const SimulatedKeyboard& keyboard : devices.keyboards) {
    SCOPED_TRACE(keyboard.name);
    const JSValue script = ConvertKeyboards(EncodeKeyboardList({&keyboard}));
    const SimulatedKeyboard back = ParseScriptKeyboard(ToJson(script.TryGetArray()->front()));
    SimulatedKeyboard expected = keyboard;
    for (SimulatedLayer& layer : expected.layers)
      for (auto& row : layer.rows)
        for (auto& key : row)
          if (key) key->label.clear();  // labels are not sent
    expected.firmwareVersion = 0;       // nor is the firmware version
    EXPECT_EQ(back, expected);
    // Written back unchanged, the keyboard's own configuration fits it.
    EXPECT_EQ(CheckConfiguration(back, keyboard), std::nullopt);
  }
  for (const char* notAKeyboard : {"{}", "{oops"}) {
    SCOPED_TRACE(notAKeyboard);
    EXPECT_THROW(ParseScriptKeyboard(notAKeyboard), std::runtime_error);
  }
}

TEST(SimulatedKeyboardsTest, AMistakeInTheFileIsNamedWithItsPlace) {
  const std::string key =
      R"({"id": "K", "name": "N", "model": 1, "layers": [{"type": 0, "keys": [[KEY]]}]})";
  auto withKey = [&](const std::string& keyJson) {
    std::string keyboard = key;
    keyboard.replace(keyboard.find("KEY"), 3, keyJson);
    return R"({"keyboards": [)" + keyboard + "]}";
  };
  struct Row {
    const char* desc;
    std::string json;
    const char* message;
  };
  const Row rows[] = {
      {"short colour", withKey(R"({"activeColor": "#12345"})"),
       "keyboards[0].layers[0].keys[0][0].activeColor: must be a colour written #rrggbb"},
      {"negative macro", withKey(R"({"action": {"type": 1, "macros": [4, -1]}})"),
       "keyboards[0].layers[0].keys[0][0].action.macros[1]: must be a whole number of 0 or more"},
      {"icon without id", withKey(R"({"icon": {"type": "builtin"}})"),
       "keyboards[0].layers[0].keys[0][0].icon: must be {\"type\": text, \"id\": number}"},
      {"model too large", R"({"keyboards": [{"id": "K", "name": "N", "model": 4294967296,
           "layers": [{"type": 0, "keys": []}]}]})",
       "keyboards[0].model: must be at most 4294967295"},
      {"negative time", R"({"settings": {"flashSeconds": -1}, "keyboards": []})",
       "settings.flashSeconds: must be a number of seconds"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    try {
      ParseSimulatedDevices(row.json);
      ADD_FAILURE() << "parsed";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(std::string(error.what()), row.message);
    }
  }
  EXPECT_THROW(ParseSimulatedDevices("{not json"), std::runtime_error);
  EXPECT_THROW(LoadSimulatedDevices("/no/such/keyboards.json"), std::runtime_error);
}

}  // namespace
}  // namespace tessarel::companion
