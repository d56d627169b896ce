// The key-code table: Windows virtual-key code (0 to 222) to USB HID
// Keyboard/Keypad page usage ID, as the script's key binders receive it.
//
//   HidUsageFromVirtualKey(65);   // 4 (A)
//   HidUsageFromVirtualKey(145);  // 0: Scroll Lock has no usage here
//
// The table keeps a few deliberate choices: Cancel and Escape both give 41,
// the generic Shift, Control and Menu keys give the left-hand modifiers,
// keypad Subtract gives 45 like the main minus key, Decimal gives 219, and
// Snapshot and Scroll Lock give 0. A virtual key outside 0..222 gives 0.
//
// Thread-safety: a constant table.
#pragma once

#include <array>
#include <cstdint>

namespace tessarel {

inline constexpr std::size_t kKeyCodeTableSize = 223;

// The whole table, indexed by virtual key.
const std::array<std::uint8_t, kKeyCodeTableSize>& KeyCodeTable() noexcept;

std::int32_t HidUsageFromVirtualKey(std::int32_t virtualKey) noexcept;

}  // namespace tessarel
