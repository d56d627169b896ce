#include "app/key_code_table.h"

namespace tessarel {
namespace {

// clang-format off
constexpr std::array<std::uint8_t, kKeyCodeTableSize> kKeyCodes = {
      0,   0,   0,  41,   0,   0,   0,   0,  42,  43,   0,   0, 156,  40,   0,   0,  // 0..15
    225, 224, 226,  72,  57,   0,   0,   0,   0,   0,   0,  41,   0,   0,   0,   0,  // 16..31
     44,  75,  78,  77,  74,  80,  82,  79,  81, 119,  70, 116,   0,  73,  76, 117,  // 32..47
     39,  30,  31,  32,  33,  34,  35,  36,  37,  38,   0,   0,   0,   0,   0,   0,  // 48..63
      0,   4,   5,   6,   7,   8,   9,  10,  11,  12,  13,  14,  15,  16,  17,  18,  // 64..79
     19,  20,  21,  22,  23,  24,  25,  26,  27,  28,  29, 227, 231, 101,   0,   0,  // 80..95
     98,  89,  90,  91,  92,  93,  94,  95,  96,  97,  85,  87, 159,  45, 219,  84,  // 96..111
     58,  59,  60,  61,  62,  63,  64,  65,  66,  67,  68,  69, 104, 105, 106, 107,  // 112..127
    108, 109, 110, 111, 112, 113, 114, 115,   0,   0,   0,   0,   0,   0,   0,   0,  // 128..143
     83,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,  // 144..159
    225, 229, 224, 228, 226, 230,   0,   0,   0, 120,   0,   0,  74,   0,   0,   0,  // 160..175
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,  51,  46,  54,  45,  55,  56,  // 176..191
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,  // 192..207
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,  47,  49,  48,  52,       // 208..222
};
// clang-format on

}  // namespace

const std::array<std::uint8_t, kKeyCodeTableSize>& KeyCodeTable() noexcept {
  return kKeyCodes;
}

std::int32_t HidUsageFromVirtualKey(std::int32_t virtualKey) noexcept {
  if (virtualKey < 0 || static_cast<std::size_t>(virtualKey) >= kKeyCodes.size()) return 0;
  return kKeyCodes[static_cast<std::size_t>(virtualKey)];
}

}  // namespace tessarel
