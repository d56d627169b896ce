// Whether a configuration written with updateDevice fits the keyboard it is
// written to, as the device checks it before it takes anything:
//
//   if (auto problem = CheckConfiguration(written, device)) refuse(*problem);
//
// `device` gives what a configuration cannot change: the keyboard's id and
// model, and its physical keys (rows, gaps and key sizes, those of its first
// layer). The written keyboard must match them, hold one to eight layers of
// different types, eight application paths that are each empty or absolute,
// and actions the device can carry out: a known action type, HID keyboard
// usages (0 to 231) for a key combination, media keys as consumer usages
// (1 to 65535), an application slot whose path is set, a layer the keyboard
// has. The problem is named with its place, e.g.
// "layers[1].keys[0][2].action.macros[0]: application slot 4 is empty".
//
// Thread-safety: pure function.
#pragma once

#include <optional>
#include <string>

#include "companion/simulated_keyboards.h"

namespace tessarel::companion {

inline constexpr std::size_t kMaxLayers = 8;

std::optional<std::string> CheckConfiguration(const SimulatedKeyboard& written,
                                              const SimulatedKeyboard& device);

}  // namespace tessarel::companion
