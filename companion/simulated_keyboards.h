// The virtual keyboards of the simulated companion: their description as
// loaded from JSON (packaging/simulated-keyboards.json, see
// docs/simulated-companion.md) and their encoding as the app receives them.
//
//   SimulatedDevices devices = LoadSimulatedDevices(path);     // throws std::runtime_error
//   ValueSet list = EncodeKeyboardList({&devices.keyboards[0]});
//
// The encoding is the companion's keyboard model: lists as "count" (UInt32)
// plus one entry per element under its decimal index, sizes, orientation and
// action type as UInt32, colour channels as UInt8, icon ids as UInt64, the
// macro numbers as a list of UInt32, and exactly eight application paths
// under "0" to "7" (no "count").
//
// Thread-safety: plain values.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/value_set.h"

namespace tessarel::companion {

inline constexpr std::size_t kAppPathCount = 8;

struct Color {
  std::uint8_t r = 0;
  std::uint8_t g = 0;
  std::uint8_t b = 0;
  friend bool operator==(const Color&, const Color&) = default;
};

struct Icon {
  std::string type;
  std::uint64_t id = 0;
  friend bool operator==(const Icon&, const Icon&) = default;
};

struct SimulatedKey {
  std::string label;  // for people reading the file; not sent
  std::uint32_t sizeX = 1;
  std::uint32_t sizeY = 1;
  std::optional<Icon> icon;
  std::uint32_t orientation = 0;
  std::optional<Color> inactiveColor;
  std::optional<Color> activeColor;
  std::uint32_t actionType = 0;
  std::vector<std::uint32_t> actionMacros;
  friend bool operator==(const SimulatedKey&, const SimulatedKey&) = default;
};

struct SimulatedLayer {
  std::uint32_t type = 0;
  // A row may have gaps (null in the file): a position with no key, left out
  // of the list encoding while still counted.
  std::vector<std::vector<std::optional<SimulatedKey>>> rows;
  friend bool operator==(const SimulatedLayer&, const SimulatedLayer&) = default;
};

struct SimulatedKeyboard {
  std::string id;
  std::string name;
  std::uint32_t model = 0;
  std::uint32_t firmwareVersion = 0;
  std::array<std::string, kAppPathCount> appPaths;
  std::vector<SimulatedLayer> layers;
  friend bool operator==(const SimulatedKeyboard&, const SimulatedKeyboard&) = default;
};

struct SimulationSettings {
  // The firmware version the simulated companion ships; a keyboard with an
  // older one is announced with "keyboardVersionNewer".
  std::uint32_t shippedFirmwareVersion = 1;
  std::string selectFilePath;
  std::chrono::milliseconds flashDuration{5000};
  std::chrono::milliseconds resetDuration{2000};
  std::chrono::milliseconds recoverDuration{3000};
  std::chrono::milliseconds bootloaderDuration{2000};
  std::chrono::milliseconds versionNoticeDelay{1000};
};

struct SimulatedDevices {
  SimulationSettings settings;
  std::vector<SimulatedKeyboard> keyboards;
};

// Parses the JSON description. Throws std::runtime_error naming what is wrong
// and where ("keyboards[1].layers[0].keys[2][3].activeColor: ...").
SimulatedDevices ParseSimulatedDevices(std::string_view json);
SimulatedDevices LoadSimulatedDevices(const std::filesystem::path& file);

// Parses a keyboard as the script sees it (JSON.stringify of one element of
// the keyboards() array: "appPaths", "id", "layers", "model", "name"), which
// is what the app sends as updateDevice's "config" to write a configuration
// back. Throws std::runtime_error when the text is not such a keyboard.
SimulatedKeyboard ParseScriptKeyboard(std::string_view json);

ValueSet EncodeKeyboard(const SimulatedKeyboard& keyboard);
ValueSet EncodeKeyboardList(const std::vector<const SimulatedKeyboard*>& keyboards);

}  // namespace tessarel::companion
