// Forwards every key press that reaches the main page to the script's key
// binders as a HID usage code, without taking the key away from the page.
//
//   AttachKeyForwarding(page);   // once, when the page is built
//
// A press is named by its Windows virtual-key code (VirtualKeyFromGdk), then
// looked up in the key-code table (HidUsageFromVirtualKey), and OnKeyDown is
// called with that usage on every KeyBinderJs in App::Current()->KeyBinders(),
// in list order. A usage of 0 is forwarded like any other. With no binders a
// press does nothing.
//
// Thread-safety: UI thread only, like the key binder list.
#pragma once

#include <cstdint>

#include "app/key_press_passes.h"

typedef struct _GtkWidget GtkWidget;

namespace tessarel {

// Adds a capture-phase key controller to `page` that reports each press once and
// always lets it go on to the focused widget (the web view). The controller
// belongs to the page, so it never outlives it. The page also takes the
// keyboard focus when it is first shown in a window where nothing has it, so
// that presses pass through it at all. Call once per page.
void AttachKeyForwarding(GtkWidget* page);

// What the controller does each time a press passes the page: forwards it
// with ForwardKeyPress on its first pass only (KeyPressPasses), so that each
// press reaches the script once however fast keys are typed.
void ForwardFirstPass(KeyPressPasses& passes, KeyPressPasses::Press press, std::uint32_t keyval,
                      std::uint32_t hardwareKeycode) noexcept;

// What a first pass does: map the press and hand it to every key binder.
// Never throws: a failing binder ends the forwarding of this one press.
void ForwardKeyPress(std::uint32_t keyval, std::uint32_t hardwareKeycode) noexcept;

}  // namespace tessarel
