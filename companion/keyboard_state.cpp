#include "companion/keyboard_state.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace tessarel::companion {
namespace {

using nlohmann::json;

constexpr int kStateFormat = 1;

json ScriptColor(const std::optional<Color>& color) {
  if (!color) return nullptr;
  return json{{"b", color->b}, {"g", color->g}, {"r", color->r}};
}

json ScriptKey(const SimulatedKey& key) {
  json icon = nullptr;
  // The script sees icon ids as signed 64-bit numbers: the same bits.
  if (key.icon)
    icon = json{{"id", static_cast<std::int64_t>(key.icon->id)}, {"type", key.icon->type}};
  return json{{"action", {{"macros", key.actionMacros}, {"type", key.actionType}}},
              {"activeColor", ScriptColor(key.activeColor)},
              {"icon", icon},
              {"inactiveColor", ScriptColor(key.inactiveColor)},
              {"orientation", key.orientation},
              {"size", {{"x", key.sizeX}, {"y", key.sizeY}}}};
}

json ScriptKeyboard(const SimulatedKeyboard& keyboard) {
  json layers = json::array();
  for (const SimulatedLayer& layer : keyboard.layers) {
    json rows = json::array();
    for (const auto& row : layer.rows) {
      json keys = json::array();
      for (const auto& key : row) keys.push_back(key ? ScriptKey(*key) : json(nullptr));
      rows.push_back(std::move(keys));
    }
    layers.push_back(json{{"keys", std::move(rows)}, {"type", layer.type}});
  }
  return json{{"appPaths", keyboard.appPaths},
              {"id", keyboard.id},
              {"layers", std::move(layers)},
              {"model", keyboard.model},
              {"name", keyboard.name}};
}

}  // namespace

std::string ScriptKeyboardJson(const SimulatedKeyboard& keyboard) {
  return ScriptKeyboard(keyboard).dump();
}

std::filesystem::path DefaultStateFile() {
  std::filesystem::path base;
  const char* stateHome = std::getenv("XDG_STATE_HOME");
  if (stateHome != nullptr && stateHome[0] == '/') {
    base = stateHome;
  } else {
    const char* home = std::getenv("HOME");
    base = std::filesystem::path(home != nullptr ? home : "/") / ".local" / "state";
  }
  return base / "tessarel" / "simulated-keyboards-state.json";
}

std::vector<SimulatedKeyboard> LoadKeyboardState(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    if (!std::filesystem::exists(file)) return {};
    throw std::runtime_error("cannot read " + file.string());
  }
  std::ostringstream text;
  text << stream.rdbuf();
  std::vector<SimulatedKeyboard> keyboards;
  try {
    const json document = json::parse(text.str());
    if (!document.is_object() || document.value("format", 0) != kStateFormat)
      throw std::runtime_error("format: must be 1");
    const json& list = document.at("keyboards");
    for (std::size_t i = 0; i < list.size(); ++i) {
      try {
        keyboards.push_back(ParseScriptKeyboard(list[i].dump()));
      } catch (const std::runtime_error& error) {
        throw std::runtime_error("keyboards[" + std::to_string(i) + "]." + error.what());
      }
    }
  } catch (const json::exception& error) {
    throw std::runtime_error(file.string() + ": not a state file: " + error.what());
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file.string() + ": " + error.what());
  }
  return keyboards;
}

void SaveKeyboardState(const std::filesystem::path& file,
                       const std::vector<SimulatedKeyboard>& keyboards) {
  json list = json::array();
  for (const SimulatedKeyboard& keyboard : keyboards) list.push_back(ScriptKeyboard(keyboard));
  const std::string text = json{{"format", kStateFormat}, {"keyboards", std::move(list)}}.dump(1);

  std::error_code error;
  std::filesystem::create_directories(file.parent_path(), error);
  if (error) throw std::runtime_error("cannot create " + file.parent_path().string());
  std::filesystem::path temporary = file;
  temporary += ".new-" + std::to_string(getpid());
  {
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    stream << text << '\n';
    if (!stream.flush()) throw std::runtime_error("cannot write " + temporary.string());
  }
  std::filesystem::rename(temporary, file, error);
  if (error) {
    std::filesystem::remove(temporary, error);
    throw std::runtime_error("cannot replace " + file.string());
  }
}

}  // namespace tessarel::companion
