// The configuration the simulated keyboards keep across restarts, as a real
// device keeps what was written to it: their layers and application paths,
// in a JSON file of the companion's own (by default
// $XDG_STATE_HOME/tessarel/simulated-keyboards-state.json, with
// ~/.local/state standing in for an unset XDG_STATE_HOME).
//
//   SaveKeyboardState(file, keyboards);                  // throws std::runtime_error
//   std::vector<SimulatedKeyboard> kept = LoadKeyboardState(file);
//
// The file is {"format": 1, "keyboards": [...]}, each keyboard in the
// script's form (what updateDevice's config carries). It is written to a
// temporary file next to it and renamed over it, so a crash leaves the old or
// the new state, never half of one. Firmware versions are not kept.
//
// Thread-safety: plain functions; callers serialise writes to one file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "companion/simulated_keyboards.h"

namespace tessarel::companion {

// The keyboard in the script's form (appPaths, id, layers, model, name),
// which ParseScriptKeyboard reads back.
std::string ScriptKeyboardJson(const SimulatedKeyboard& keyboard);

std::filesystem::path DefaultStateFile();

// A file that does not exist gives no keyboards; one that cannot be read or
// is not a state file throws std::runtime_error naming the file and the place.
std::vector<SimulatedKeyboard> LoadKeyboardState(const std::filesystem::path& file);

void SaveKeyboardState(const std::filesystem::path& file,
                       const std::vector<SimulatedKeyboard>& keyboards);

}  // namespace tessarel::companion
