// Turns a GDK key press into the Windows virtual-key code that the key would
// have, the way web engines compute KeyboardEvent.keyCode:
//
//   VirtualKeyFromGdk(GDK_KEY_a, 38);            // 65 ('A')
//   VirtualKeyFromGdk(GDK_KEY_Cyrillic_ef, 38);  // 65: the key in the A position
//   VirtualKeyFromGdk(GDK_KEY_KP_Subtract, 82);  // 109 (keypad Subtract)
//
// Letters and digits do not depend on the keyboard layout: a printable key in
// the letter or digit block is named after the character that the US layout
// puts on that key when unshifted. Everything else (keypad, F1 to F24,
// modifiers with their side, navigation, punctuation, browser and media keys)
// is named after its keyval; punctuation that the keyval does not name (a
// layout whose symbols are not Latin) again falls back to the key's US
// position. 0 means the key has no virtual-key code.
//
// `hardwareKeycode` is the keycode that GDK reports: the evdev code plus 8, on
// X11 and on Wayland alike; 0 when unknown.
//
// Thread-safety: pure functions.
#pragma once

#include <cstdint>

namespace tessarel {

std::int32_t VirtualKeyFromGdk(std::uint32_t keyval, std::uint32_t hardwareKeycode) noexcept;

// The virtual key of the US layout's unshifted character on the key with this
// hardware keycode (letters, digits and punctuation of the main block), or 0.
std::int32_t VirtualKeyFromUsPosition(std::uint32_t hardwareKeycode) noexcept;

}  // namespace tessarel
