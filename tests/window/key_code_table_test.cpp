// The key-code table against the list it was written from, typed in again
// here as ranges, and the virtual-key naming of GDK presses.
#include "app/key_code_table.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "app/virtual_key.h"

namespace tessarel {
namespace {

// Every non-zero entry: virtual keys first..last map one to one onto usages
// starting at firstUsage.
struct Range {
  int firstKey;
  int lastKey;
  int firstUsage;
};
constexpr Range kNonZeroEntries[] = {
    {3, 3, 41},      {8, 9, 42},      {12, 12, 156},   {13, 13, 40},    {16, 16, 225},
    {17, 17, 224},   {18, 18, 226},   {19, 19, 72},    {20, 20, 57},    {27, 27, 41},
    {32, 32, 44},    {33, 33, 75},    {34, 34, 78},    {35, 35, 77},    {36, 36, 74},
    {37, 37, 80},    {38, 38, 82},    {39, 39, 79},    {40, 40, 81},    {41, 41, 119},
    {42, 42, 70},    {43, 43, 116},   {45, 45, 73},    {46, 46, 76},    {47, 47, 117},
    {48, 48, 39},    {49, 57, 30},    {65, 90, 4},     {91, 91, 227},   {92, 92, 231},
    {93, 93, 101},   {96, 96, 98},    {97, 105, 89},   {106, 106, 85},  {107, 107, 87},
    {108, 108, 159}, {109, 109, 45},  {110, 110, 219}, {111, 111, 84},  {112, 123, 58},
    {124, 135, 104}, {144, 144, 83},  {160, 160, 225}, {161, 161, 229}, {162, 162, 224},
    {163, 163, 228}, {164, 164, 226}, {165, 165, 230}, {169, 169, 120}, {172, 172, 74},
    {186, 186, 51},  {187, 187, 46},  {188, 188, 54},  {189, 189, 45},  {190, 191, 55},
    {219, 219, 47},  {220, 220, 49},  {221, 221, 48},  {222, 222, 52},
};

TEST(KeyCodeTableTest, EveryEntryMatchesTheRangeList) {
  std::array<int, kKeyCodeTableSize> expected{};
  int nonZeroCount = 0;
  for (const Range& range : kNonZeroEntries) {
    for (int key = range.firstKey; key <= range.lastKey; ++key) {
      expected.at(static_cast<std::size_t>(key)) = range.firstUsage + (key - range.firstKey);
      ++nonZeroCount;
    }
  }
  ASSERT_EQ(nonZeroCount, 124);  // counted by hand from the list

  for (int key = 0; key < static_cast<int>(kKeyCodeTableSize); ++key) {
    SCOPED_TRACE("virtual key " + std::to_string(key));
    EXPECT_EQ(HidUsageFromVirtualKey(key), expected[static_cast<std::size_t>(key)]);
  }
  for (int key : {223, 226, -1}) {
    EXPECT_EQ(HidUsageFromVirtualKey(key), 0) << "virtual key " << key << " is outside the table";
  }
}

struct Press {
  const char* desc;
  unsigned keyval;
  unsigned keycode;  // X keycode (evdev + 8) on a US pc105 keyboard; 255 a spare one
  int wantVirtualKey;
  int wantUsage;
};

// One row per way of naming a key.
constexpr Press kPresses[] = {
    {"A by position", GDK_KEY_a, 38, 65, 4},
    {"Shift+1 names the digit key", GDK_KEY_exclam, 10, 49, 30},
    {"AZERTY q on the A key", GDK_KEY_q, 38, 65, 4},
    {"Cyrillic on the A key", GDK_KEY_Cyrillic_ef, 38, 65, 4},
    {"letter without a keycode", GDK_KEY_x, 0, 88, 27},
    {"shifted digit without a keycode", GDK_KEY_parenright, 0, 48, 39},
    {"a function keyval on a letter key", GDK_KEY_BackSpace, 38, 8, 42},
    {"German o-umlaut on the semicolon key", GDK_KEY_odiaeresis, 47, 186, 51},
    {"Shift+comma", GDK_KEY_less, 59, 188, 54},
    {"the ISO key left of Z", GDK_KEY_less, 94, 226, 0},
    {"main minus", GDK_KEY_minus, 20, 189, 45},
    {"keypad minus", GDK_KEY_KP_Subtract, 82, 109, 45},
    {"keypad Enter", GDK_KEY_KP_Enter, 104, 13, 40},
    {"F1", GDK_KEY_F1, 67, 112, 58},
    {"F13 remapped onto a spare keycode", GDK_KEY_F13, 255, 124, 104},
    {"the F13 key under the evdev keymap", GDK_KEY_Tools, 191, 124, 104},
    {"F24", GDK_KEY_F24, 255, 135, 115},
    {"Scroll Lock", GDK_KEY_Scroll_Lock, 78, 145, 0},
    {"AltGr", GDK_KEY_ISO_Level3_Shift, 108, 165, 230},
    {"keypad 7", GDK_KEY_KP_7, 79, 103, 95},
    {"keypad 7 with Num Lock off", GDK_KEY_KP_Home, 79, 36, 74},
    {"browser Stop", GDK_KEY_Stop, 255, 169, 120},
    {"a key with no virtual key", GDK_KEY_Eject, 169, 0, 0},
};

TEST(VirtualKeyTest, PressesAreNamedAsWebEnginesNameThem) {
  for (const Press& press : kPresses) {
    SCOPED_TRACE(press.desc);
    const int virtualKey = VirtualKeyFromGdk(press.keyval, press.keycode);
    EXPECT_EQ(virtualKey, press.wantVirtualKey);
    EXPECT_EQ(HidUsageFromVirtualKey(virtualKey), press.wantUsage);
  }
}

// The US layout row by row, from the keycode of each row's first key: a
// character from another script on any of these keys names the US key.
TEST(VirtualKeyTest, EveryLetterAndDigitKeyIsNamedByPosition) {
  const std::pair<unsigned, std::string> rows[] = {
      {10, "1234567890"}, {24, "QWERTYUIOP"}, {38, "ASDFGHJKL"}, {52, "ZXCVBNM"}};
  for (const auto& [firstKeycode, characters] : rows) {
    for (unsigned i = 0; i < characters.size(); ++i) {
      SCOPED_TRACE(std::string("key ") + characters[i]);
      EXPECT_EQ(VirtualKeyFromGdk(GDK_KEY_Greek_alpha, firstKeycode + i), characters[i]);
    }
  }
}

}  // namespace
}  // namespace tessarel
