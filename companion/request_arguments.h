// Reading the arguments of a device request and writing its reply, as the
// simulator's method handlers do: arguments looked up tolerantly (absent or of
// another type gives the default), replies {"result": value}.
//
// Thread-safety: pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "companion/simulated_keyboards.h"
#include "platform/value_set.h"

namespace tessarel::companion::request {

inline std::string StringArgument(const ValueSet& request, std::string_view key) {
  return UnboxOr<std::string>(TolerantLookup(request, key), std::string());
}

inline std::int32_t IntArgument(const ValueSet& request, std::string_view key) {
  return UnboxOr<std::int32_t>(TolerantLookup(request, key), 0);
}

inline ValueSet Result(PropertyValue value) {
  ValueSet reply;
  reply.Insert("result", std::move(value));
  return reply;
}

inline ValueSet BooleanResult(bool value) {
  return Result(PropertyValue::CreateBoolean(value));
}

inline ValueSet StateResult(std::uint32_t value) {
  return Result(PropertyValue::CreateUInt32(value));
}

// A colour the device can show ("r", "g", "b"), or nullopt for channels out of 0..255.
inline std::optional<Color> ColorArguments(const ValueSet& request) {
  const std::int32_t channels[] = {IntArgument(request, "r"), IntArgument(request, "g"),
                                   IntArgument(request, "b")};
  for (std::int32_t channel : channels)
    if (channel < 0 || channel > 255) return std::nullopt;
  return Color{static_cast<std::uint8_t>(channels[0]), static_cast<std::uint8_t>(channels[1]),
               static_cast<std::uint8_t>(channels[2])};
}

}  // namespace tessarel::companion::request
