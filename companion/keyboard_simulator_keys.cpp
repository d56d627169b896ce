// The simulator's requests about single keys: their stored active colour, a
// light preview, and a simulated key stroke.
#include "companion/keyboard_simulator.h"
#include "companion/request_arguments.h"

namespace tessarel::companion {

using namespace request;

ValueSet KeyboardSimulator::SetLedActiveColor(const ValueSet& request) {
  const std::optional<Color> color = ColorArguments(request);
  const std::int32_t layerType = IntArgument(request, "layerType");
  bool changed = false;
  {
    std::lock_guard lock(mutex_);
    SimulatedKeyboard* keyboard = FindKeyboard(StringArgument(request, "keyboardId"));
    if (keyboard == nullptr || !color) return BooleanResult(false);
    for (SimulatedLayer& layer : keyboard->layers) {
      if (static_cast<std::int64_t>(layer.type) != layerType) continue;
      if (SimulatedKey* key =
              FindKey(layer, IntArgument(request, "x"), IntArgument(request, "y"))) {
        key->activeColor = *color;
        changed = true;
      }
    }
    if (changed) KeepState();
  }
  if (changed) Send({"keyboardsUpdated"});
  return BooleanResult(changed);
}

ValueSet KeyboardSimulator::SetLed(const ValueSet& request) {
  const std::optional<Color> color = ColorArguments(request);
  const std::int32_t x = IntArgument(request, "x");
  const std::int32_t y = IntArgument(request, "y");
  {
    std::lock_guard lock(mutex_);
    SimulatedKeyboard* keyboard = FindKeyboard(StringArgument(request, "keyboardId"));
    if (keyboard == nullptr || !color || keyboard->layers.empty() ||
        FindKey(keyboard->layers.front(), x, y) == nullptr)
      return BooleanResult(false);
  }
  // A preview of the light on the device: shown, never stored, so neither
  // the configuration nor the keyboard list changes.
  Log("setLed preview of key (" + std::to_string(x) + ", " + std::to_string(y) + "): " +
      std::to_string(color->r) + " " + std::to_string(color->g) + " " + std::to_string(color->b) +
      ", animation " + std::to_string(IntArgument(request, "animationType")) + " data " +
      std::to_string(IntArgument(request, "animationData")));
  return BooleanResult(true);
}

ValueSet KeyboardSimulator::SimulateKeyPress(const ValueSet& request) {
  const std::string executablePath = StringArgument(request, "executablePath");
  // "layer" names the layer by its type, as the layer list gives it.
  const std::int32_t layerType = IntArgument(request, "layer");
  std::string label;
  {
    std::lock_guard lock(mutex_);
    SimulatedKeyboard* keyboard = FindKeyboard(StringArgument(request, "keyboardId"));
    if (keyboard == nullptr) return BooleanResult(false);
    SimulatedKey* key = nullptr;
    for (SimulatedLayer& layer : keyboard->layers) {
      if (static_cast<std::int64_t>(layer.type) != layerType) continue;
      key = FindKey(layer, IntArgument(request, "x"), IntArgument(request, "y"));
      break;
    }
    if (key == nullptr) return BooleanResult(false);
    label = key->label.empty() ? "(no label)" : key->label;
  }
  Log("key stroke of " + label + " sent to " + executablePath);
  return BooleanResult(true);
}

SimulatedKey* KeyboardSimulator::FindKey(SimulatedLayer& layer, std::int32_t x, std::int32_t y) {
  if (x < 0 || y < 0 || static_cast<std::size_t>(y) >= layer.rows.size()) return nullptr;
  auto& row = layer.rows[static_cast<std::size_t>(y)];
  if (static_cast<std::size_t>(x) >= row.size() || !row[static_cast<std::size_t>(x)])
    return nullptr;
  return &*row[static_cast<std::size_t>(x)];
}

}  // namespace tessarel::companion
