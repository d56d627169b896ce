// The key-binding module: forwards key presses in the window to the script as
// "keyDown" events carrying a USB HID usage code, so that the script learns
// which key the user pressed.
//
//   // script side
//   DeviceEventEmitter.addListener('keyDown', (code) => ...);  // 4 for A
//
// The script host creates one KeyBinderJs per script instance. Its
// initializer appends it to App::Current()->KeyBinders(); its destructor takes
// it out again (the first occurrence; the others keep their order) before the
// event sender goes away. The page's key handler walks that list and calls
// OnKeyDown on each instance.
//
// Thread-safety: UI thread only. The list has no lock: initialisation,
// destruction and key presses all happen on the UI thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "host/react_module.h"

namespace tessarel {

// Something that wants to hear about key presses in the page.
class KeyDown {
 public:
  virtual ~KeyDown() = default;
  // `code`: the HID usage of the pressed key (0: the key has none).
  virtual void OnKeyDown(std::int32_t code) = 0;
};

class KeyBinderJs final : public KeyDown {
 public:
  KeyBinderJs() = default;
  KeyBinderJs(const KeyBinderJs&) = delete;
  KeyBinderJs& operator=(const KeyBinderJs&) = delete;
  ~KeyBinderJs() override;

  // The module initializer: joins App's list of key binders.
  void Initialize();

  // Emits "keyDown" with `code`. Before the host has set the sender this is a
  // bad_function_call, as for any event sender used too early.
  void OnKeyDown(std::int32_t code) override;

  // The event sender, set by the host's event initializer.
  std::function<void(std::int32_t)> keyDown;
};

// Registers "KeyBinderJs" with event emitter "RCTDeviceEventEmitter".
extern const ModuleRegistration KeyBinderJs_ModuleRegistration;

}  // namespace tessarel
