#include "companion/simulated_keyboards.h"

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

namespace tessarel::companion {
namespace {

using nlohmann::json;

[[noreturn]] void Fail(const std::string& where, const std::string& what) {
  throw std::runtime_error(where + ": " + what);
}

const json* Member(const json& object, const char* key) {
  auto it = object.find(key);
  return it == object.end() || it->is_null() ? nullptr : &*it;
}

std::string Text(const json& value, const std::string& where) {
  if (!value.is_string()) Fail(where, "must be a string");
  return value.get<std::string>();
}

std::uint64_t Unsigned(const json& value, const std::string& where, std::uint64_t max) {
  if (!value.is_number_unsigned() && !(value.is_number_integer() && value.get<std::int64_t>() >= 0))
    Fail(where, "must be a whole number of 0 or more");
  const auto number = value.get<std::uint64_t>();
  if (number > max) Fail(where, "must be at most " + std::to_string(max));
  return number;
}

std::uint32_t UInt32(const json& value, const std::string& where) {
  return static_cast<std::uint32_t>(
      Unsigned(value, where, std::numeric_limits<std::uint32_t>::max()));
}

std::chrono::milliseconds Seconds(const json& value, const std::string& where) {
  if (!value.is_number() || value.get<double>() < 0) Fail(where, "must be a number of seconds");
  return std::chrono::milliseconds(std::lround(value.get<double>() * 1000));
}

Color ParseColor(const json& value, const std::string& where) {
  const std::string text = Text(value, where);
  if (text.size() != 7 || text[0] != '#') Fail(where, "must be a colour written #rrggbb");
  Color color;
  std::uint8_t* channels[] = {&color.r, &color.g, &color.b};
  for (int i = 0; i < 3; ++i) {
    const std::string pair = text.substr(1 + 2 * i, 2);
    std::size_t used = 0;
    int number = 0;
    try {
      number = std::stoi(pair, &used, 16);
    } catch (const std::exception&) {
      used = 0;
    }
    if (used != 2) Fail(where, "must be a colour written #rrggbb");
    *channels[i] = static_cast<std::uint8_t>(number);
  }
  return color;
}

SimulatedKey ParseKey(const json& value, const std::string& where) {
  if (!value.is_object()) Fail(where, "must be an object");
  SimulatedKey key;
  if (const json* label = Member(value, "label")) key.label = Text(*label, where + ".label");
  if (const json* size = Member(value, "size")) {
    if (!size->is_array() || size->size() != 2) Fail(where + ".size", "must be [x, y]");
    key.sizeX = UInt32((*size)[0], where + ".size[0]");
    key.sizeY = UInt32((*size)[1], where + ".size[1]");
  }
  if (const json* icon = Member(value, "icon")) {
    if (!icon->is_object() || !Member(*icon, "type") || !Member(*icon, "id"))
      Fail(where + ".icon", "must be {\"type\": text, \"id\": number}");
    key.icon = Icon{
        Text(icon->at("type"), where + ".icon.type"),
        Unsigned(icon->at("id"), where + ".icon.id", std::numeric_limits<std::uint64_t>::max())};
  }
  if (const json* orientation = Member(value, "orientation"))
    key.orientation = UInt32(*orientation, where + ".orientation");
  if (const json* color = Member(value, "inactiveColor"))
    key.inactiveColor = ParseColor(*color, where + ".inactiveColor");
  if (const json* color = Member(value, "activeColor"))
    key.activeColor = ParseColor(*color, where + ".activeColor");
  if (const json* action = Member(value, "action")) {
    if (!action->is_object()) Fail(where + ".action", "must be an object");
    if (const json* type = Member(*action, "type"))
      key.actionType = UInt32(*type, where + ".action.type");
    if (const json* macros = Member(*action, "macros")) {
      if (!macros->is_array()) Fail(where + ".action.macros", "must be an array");
      for (std::size_t i = 0; i < macros->size(); ++i)
        key.actionMacros.push_back(
            UInt32((*macros)[i], where + ".action.macros[" + std::to_string(i) + "]"));
    }
  }
  return key;
}

SimulatedLayer ParseLayer(const json& value, const std::string& where) {
  if (!value.is_object()) Fail(where, "must be an object");
  SimulatedLayer layer;
  const json* type = Member(value, "type");
  if (!type) Fail(where + ".type", "is missing");
  layer.type = UInt32(*type, where + ".type");
  const json* keys = Member(value, "keys");
  if (!keys || !keys->is_array()) Fail(where + ".keys", "must be an array of rows");
  for (std::size_t row = 0; row < keys->size(); ++row) {
    const std::string rowWhere = where + ".keys[" + std::to_string(row) + "]";
    if (!(*keys)[row].is_array()) Fail(rowWhere, "must be an array of keys");
    auto& parsed = layer.rows.emplace_back();
    for (std::size_t column = 0; column < (*keys)[row].size(); ++column) {
      const json& key = (*keys)[row][column];
      if (key.is_null())
        parsed.emplace_back();  // a gap
      else
        parsed.push_back(ParseKey(key, rowWhere + "[" + std::to_string(column) + "]"));
    }
  }
  return layer;
}

SimulatedKeyboard ParseKeyboard(const json& value, const std::string& where) {
  if (!value.is_object()) Fail(where, "must be an object");
  SimulatedKeyboard keyboard;
  for (const char* required : {"id", "name", "model", "layers"})
    if (!Member(value, required)) Fail(where + "." + required, "is missing");
  keyboard.id = Text(value.at("id"), where + ".id");
  keyboard.name = Text(value.at("name"), where + ".name");
  keyboard.model = UInt32(value.at("model"), where + ".model");
  if (const json* version = Member(value, "firmwareVersion"))
    keyboard.firmwareVersion = UInt32(*version, where + ".firmwareVersion");
  if (const json* paths = Member(value, "appPaths")) {
    if (!paths->is_array() || paths->size() > kAppPathCount)
      Fail(where + ".appPaths", "must be an array of at most eight paths");
    for (std::size_t i = 0; i < paths->size(); ++i)
      keyboard.appPaths[i] = Text((*paths)[i], where + ".appPaths[" + std::to_string(i) + "]");
  }
  const json& layers = value.at("layers");
  if (!layers.is_array() || layers.empty()) Fail(where + ".layers", "must be a non-empty array");
  for (std::size_t i = 0; i < layers.size(); ++i)
    keyboard.layers.push_back(ParseLayer(layers[i], where + ".layers[" + std::to_string(i) + "]"));
  return keyboard;
}

SimulationSettings ParseSettings(const json& value) {
  SimulationSettings settings;
  if (!value.is_object()) Fail("settings", "must be an object");
  if (const json* version = Member(value, "shippedFirmwareVersion"))
    settings.shippedFirmwareVersion = UInt32(*version, "settings.shippedFirmwareVersion");
  if (const json* path = Member(value, "selectFile"))
    settings.selectFilePath = Text(*path, "settings.selectFile");
  const std::pair<const char*, std::chrono::milliseconds*> durations[] = {
      {"flashSeconds", &settings.flashDuration},
      {"resetSeconds", &settings.resetDuration},
      {"recoverSeconds", &settings.recoverDuration},
      {"bootloaderSeconds", &settings.bootloaderDuration},
      {"versionNoticeSeconds", &settings.versionNoticeDelay},
  };
  for (const auto& [key, target] : durations)
    if (const json* seconds = Member(value, key))
      *target = Seconds(*seconds, std::string("settings.") + key);
  return settings;
}

// The list encoding of the keyboard model: "count", then "0", "1", ...
template <class Items, class Encode>
ValueSet EncodeList(const Items& items, Encode encode) {
  ValueSet list;
  list.Insert("count", PropertyValue::CreateUInt32(static_cast<std::uint32_t>(items.size())));
  std::uint32_t index = 0;
  for (const auto& item : items) list.Insert(std::to_string(index++), encode(item));
  return list;
}

PropertyValue EncodeColor(const Color& color) {
  ValueSet encoded;
  encoded.Insert("r", PropertyValue::CreateUInt8(color.r));
  encoded.Insert("g", PropertyValue::CreateUInt8(color.g));
  encoded.Insert("b", PropertyValue::CreateUInt8(color.b));
  return PropertyValue::CreateValueSet(std::move(encoded));
}

PropertyValue EncodeKey(const SimulatedKey& key) {
  ValueSet encoded;
  encoded.Insert("sizeX", PropertyValue::CreateUInt32(key.sizeX));
  encoded.Insert("sizeY", PropertyValue::CreateUInt32(key.sizeY));
  if (key.icon) {
    ValueSet icon;
    icon.Insert("type", PropertyValue::CreateString(key.icon->type));
    icon.Insert("id", PropertyValue::CreateUInt64(key.icon->id));
    encoded.Insert("icon", PropertyValue::CreateValueSet(std::move(icon)));
  }
  encoded.Insert("orientation", PropertyValue::CreateUInt32(key.orientation));
  if (key.inactiveColor) encoded.Insert("inactiveColor", EncodeColor(*key.inactiveColor));
  if (key.activeColor) encoded.Insert("activeColor", EncodeColor(*key.activeColor));
  encoded.Insert("actionType", PropertyValue::CreateUInt32(key.actionType));
  encoded.Insert("actionMacros", PropertyValue::CreateValueSet(
                                     EncodeList(key.actionMacros, [](std::uint32_t macro) {
                                       return PropertyValue::CreateUInt32(macro);
                                     })));
  return PropertyValue::CreateValueSet(std::move(encoded));
}

// A row with gaps: a gap is counted but has no entry.
ValueSet EncodeRow(const std::vector<std::optional<SimulatedKey>>& row) {
  ValueSet list;
  list.Insert("count", PropertyValue::CreateUInt32(static_cast<std::uint32_t>(row.size())));
  for (std::size_t index = 0; index < row.size(); ++index) {
    if (row[index]) list.Insert(std::to_string(index), EncodeKey(*row[index]));
  }
  return list;
}

PropertyValue EncodeLayer(const SimulatedLayer& layer) {
  ValueSet encoded;
  encoded.Insert("type", PropertyValue::CreateUInt32(layer.type));
  encoded.Insert("keys", PropertyValue::CreateValueSet(EncodeList(
                             layer.rows, [](const std::vector<std::optional<SimulatedKey>>& row) {
                               return PropertyValue::CreateValueSet(EncodeRow(row));
                             })));
  return PropertyValue::CreateValueSet(std::move(encoded));
}

// The script's form of a key: {"action": {"macros", "type"}, "activeColor",
// "icon", "inactiveColor", "orientation", "size": {"x", "y"}}.
std::optional<Color> ScriptColor(const json& value, const std::string& where) {
  if (value.is_null()) return std::nullopt;
  if (!value.is_object()) Fail(where, "must be a colour object or null");
  Color color;
  color.r = static_cast<std::uint8_t>(Unsigned(value.at("r"), where + ".r", 255));
  color.g = static_cast<std::uint8_t>(Unsigned(value.at("g"), where + ".g", 255));
  color.b = static_cast<std::uint8_t>(Unsigned(value.at("b"), where + ".b", 255));
  return color;
}

SimulatedKey ScriptKey(const json& value, const std::string& where) {
  if (!value.is_object()) Fail(where, "must be a key object or null");
  SimulatedKey key;
  const json& size = value.at("size");
  key.sizeX = UInt32(size.at("x"), where + ".size.x");
  key.sizeY = UInt32(size.at("y"), where + ".size.y");
  if (const json* icon = Member(value, "icon")) {
    // The script sees the icon id as a signed 64-bit number: the same bits.
    if (!icon->at("id").is_number_integer()) Fail(where + ".icon.id", "must be a whole number");
    key.icon = Icon{Text(icon->at("type"), where + ".icon.type"),
                    static_cast<std::uint64_t>(icon->at("id").get<std::int64_t>())};
  }
  key.orientation = UInt32(value.at("orientation"), where + ".orientation");
  key.inactiveColor = ScriptColor(value.value("inactiveColor", json()), where + ".inactiveColor");
  key.activeColor = ScriptColor(value.value("activeColor", json()), where + ".activeColor");
  const json& action = value.at("action");
  key.actionType = UInt32(action.at("type"), where + ".action.type");
  const json& macros = action.at("macros");
  if (!macros.is_array()) Fail(where + ".action.macros", "must be an array");
  for (std::size_t i = 0; i < macros.size(); ++i) {
    // The script shows a macro entry it could not read as null; it is dropped.
    if (!macros[i].is_null())
      key.actionMacros.push_back(
          UInt32(macros[i], where + ".action.macros[" + std::to_string(i) + "]"));
  }
  return key;
}

}  // namespace

SimulatedDevices ParseSimulatedDevices(std::string_view text) {
  json document;
  try {
    document = json::parse(text);
  } catch (const json::parse_error& error) {
    throw std::runtime_error(std::string("not valid JSON: ") + error.what());
  }
  if (!document.is_object()) Fail("(top)", "must be an object");
  SimulatedDevices devices;
  if (const json* settings = Member(document, "settings"))
    devices.settings = ParseSettings(*settings);
  const json* keyboards = Member(document, "keyboards");
  if (!keyboards || !keyboards->is_array()) Fail("keyboards", "must be an array");
  for (std::size_t i = 0; i < keyboards->size(); ++i)
    devices.keyboards.push_back(
        ParseKeyboard((*keyboards)[i], "keyboards[" + std::to_string(i) + "]"));
  return devices;
}

SimulatedDevices LoadSimulatedDevices(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + file.string());
  std::ostringstream text;
  text << stream.rdbuf();
  try {
    return ParseSimulatedDevices(text.str());
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file.string() + ": " + error.what());
  }
}

SimulatedKeyboard ParseScriptKeyboard(std::string_view text) {
  try {
    const json value = json::parse(text);
    SimulatedKeyboard keyboard;
    keyboard.id = Text(value.at("id"), "id");
    keyboard.name = Text(value.at("name"), "name");
    keyboard.model = UInt32(value.at("model"), "model");
    const json& paths = value.at("appPaths");
    if (!paths.is_array() || paths.size() != kAppPathCount)
      Fail("appPaths", "must hold eight paths");
    for (std::size_t i = 0; i < kAppPathCount; ++i)
      keyboard.appPaths[i] = Text(paths[i], "appPaths[" + std::to_string(i) + "]");
    const json& layers = value.at("layers");
    if (!layers.is_array()) Fail("layers", "must be an array");
    for (std::size_t i = 0; i < layers.size(); ++i) {
      const std::string layerWhere = "layers[" + std::to_string(i) + "]";
      SimulatedLayer& parsed = keyboard.layers.emplace_back();
      parsed.type = UInt32(layers[i].at("type"), layerWhere + ".type");
      const json& rows = layers[i].at("keys");
      if (!rows.is_array()) Fail(layerWhere + ".keys", "must be an array of rows");
      for (std::size_t row = 0; row < rows.size(); ++row) {
        const std::string rowWhere = layerWhere + ".keys[" + std::to_string(row) + "]";
        if (!rows[row].is_array()) Fail(rowWhere, "must be an array of keys");
        auto& keys = parsed.rows.emplace_back();
        for (std::size_t column = 0; column < rows[row].size(); ++column) {
          const json& key = rows[row][column];
          if (key.is_null())
            keys.emplace_back();
          else
            keys.push_back(ScriptKey(key, rowWhere + "[" + std::to_string(column) + "]"));
        }
      }
    }
    return keyboard;
  } catch (const json::exception& error) {
    throw std::runtime_error(std::string("not a keyboard: ") + error.what());
  }
}

ValueSet EncodeKeyboard(const SimulatedKeyboard& keyboard) {
  ValueSet encoded;
  encoded.Insert("id", PropertyValue::CreateString(keyboard.id));
  encoded.Insert("name", PropertyValue::CreateString(keyboard.name));
  encoded.Insert("model", PropertyValue::CreateUInt32(keyboard.model));
  encoded.Insert("layers", PropertyValue::CreateValueSet(EncodeList(keyboard.layers, EncodeLayer)));
  ValueSet paths;  // a fixed table of eight: no "count"
  for (std::size_t i = 0; i < kAppPathCount; ++i) {
    ValueSet entry;
    entry.Insert("appPath", PropertyValue::CreateString(keyboard.appPaths[i]));
    paths.Insert(std::to_string(i), PropertyValue::CreateValueSet(std::move(entry)));
  }
  encoded.Insert("appPaths", PropertyValue::CreateValueSet(std::move(paths)));
  return encoded;
}

ValueSet EncodeKeyboardList(const std::vector<const SimulatedKeyboard*>& keyboards) {
  return EncodeList(keyboards, [](const SimulatedKeyboard* keyboard) {
    return PropertyValue::CreateValueSet(EncodeKeyboard(*keyboard));
  });
}

}  // namespace tessarel::companion
