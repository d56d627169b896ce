#include "companion/configuration_check.h"

#include <set>

namespace tessarel::companion {
namespace {

enum ActionType : std::uint32_t {
  kNone = 0,
  kKeyCombination = 1,
  kTextMacros = 2,
  kStartApplication = 3,
  kMediaKey = 4,
  kSwitchLayer = 5,
};

constexpr std::uint32_t kLastKeyboardUsage = 231;  // Right GUI, the last modifier
constexpr std::uint32_t kLastConsumerUsage = 0xFFFF;
constexpr std::uint32_t kLastOrientation = 3;

std::string KeyPlace(std::size_t layer, std::size_t row, std::size_t column) {
  return "layers[" + std::to_string(layer) + "].keys[" + std::to_string(row) + "][" +
         std::to_string(column) + "]";
}

bool IsAbsolutePath(const std::string& path) {
  if (path.size() < 2 || path.front() != '/') return false;
  for (unsigned char c : path)
    if (c < 0x20 || c == 0x7F) return false;
  return true;
}

// The problem with one macro entry of an action, or nullopt.
std::optional<std::string> MacroProblem(std::uint32_t actionType, std::uint32_t macro,
                                        const SimulatedKeyboard& written,
                                        const std::set<std::uint32_t>& layerTypes) {
  switch (actionType) {
    case kKeyCombination:
      if (macro > kLastKeyboardUsage) return "is not a HID keyboard usage (0 to 231)";
      return std::nullopt;
    case kMediaKey:
      if (macro == 0 || macro > kLastConsumerUsage) return "is not a consumer usage (1 to 65535)";
      return std::nullopt;
    case kStartApplication:
      if (macro >= kAppPathCount) return "is not an application slot (0 to 7)";
      if (written.appPaths[macro].empty())
        return "application slot " + std::to_string(macro + 1) + " is empty";
      return std::nullopt;
    case kSwitchLayer:
      if (!layerTypes.contains(macro))
        return "the keyboard has no layer of type " + std::to_string(macro);
      return std::nullopt;
    default:
      return std::nullopt;  // text macro slots: the device keeps their texts
  }
}

std::optional<std::string> KeyProblem(const SimulatedKey& key, const SimulatedKey& physical,
                                      const SimulatedKeyboard& written,
                                      const std::set<std::uint32_t>& layerTypes,
                                      const std::string& where) {
  if (key.sizeX != physical.sizeX || key.sizeY != physical.sizeY)
    return where + ".size: the key is " + std::to_string(physical.sizeX) + " x " +
           std::to_string(physical.sizeY) + " on this keyboard";
  if (key.orientation > kLastOrientation) return where + ".orientation: must be 0 to 3";
  if (key.actionType > kSwitchLayer) return where + ".action.type: must be 0 to 5";
  if ((key.actionType == kStartApplication || key.actionType == kSwitchLayer) &&
      key.actionMacros.size() != 1)
    return where + ".action.macros: must hold exactly one entry";
  for (std::size_t i = 0; i < key.actionMacros.size(); ++i) {
    if (auto problem = MacroProblem(key.actionType, key.actionMacros[i], written, layerTypes))
      return where + ".action.macros[" + std::to_string(i) + "]: " + *problem;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> CheckConfiguration(const SimulatedKeyboard& written,
                                              const SimulatedKeyboard& device) {
  if (written.id != device.id) return "id: is " + written.id + ", the keyboard is " + device.id;
  if (written.model != device.model)
    return "model: is " + std::to_string(written.model) + ", the keyboard is model " +
           std::to_string(device.model);
  for (std::size_t i = 0; i < kAppPathCount; ++i) {
    const std::string& path = written.appPaths[i];
    if (!path.empty() && !IsAbsolutePath(path))
      return "appPaths[" + std::to_string(i) + "]: must be empty or an absolute path";
  }
  if (written.layers.empty() || written.layers.size() > kMaxLayers)
    return "layers: must hold one to eight layers";
  std::set<std::uint32_t> layerTypes;
  for (std::size_t i = 0; i < written.layers.size(); ++i) {
    if (!layerTypes.insert(written.layers[i].type).second)
      return "layers[" + std::to_string(i) + "].type: another layer has type " +
             std::to_string(written.layers[i].type);
  }
  if (device.layers.empty()) return std::nullopt;
  const auto& physicalRows = device.layers.front().rows;
  for (std::size_t layer = 0; layer < written.layers.size(); ++layer) {
    const auto& rows = written.layers[layer].rows;
    if (rows.size() != physicalRows.size())
      return "layers[" + std::to_string(layer) + "].keys: the keyboard has " +
             std::to_string(physicalRows.size()) + " rows";
    for (std::size_t row = 0; row < rows.size(); ++row) {
      if (rows[row].size() != physicalRows[row].size())
        return "layers[" + std::to_string(layer) + "].keys[" + std::to_string(row) +
               "]: the keyboard has " + std::to_string(physicalRows[row].size()) +
               " places in this row";
      for (std::size_t column = 0; column < rows[row].size(); ++column) {
        const auto& key = rows[row][column];
        const auto& physical = physicalRows[row][column];
        const std::string where = KeyPlace(layer, row, column);
        if (key.has_value() != physical.has_value())
          return where +
                 (physical ? ": the keyboard has a key here" : ": is a gap on this keyboard");
        if (!key) continue;
        if (auto problem = KeyProblem(*key, *physical, written, layerTypes, where)) return problem;
      }
    }
  }
  return std::nullopt;
}

}  // namespace tessarel::companion
