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

  ASSERT_EQ(KeyCodeTable().size(), 223u);
  for (int key = 0; key < static_cast<int>(kKeyCodeTableSize); ++key) {
    SCOPED_TRACE("virtual key " + std::to_string(key));
    EXPECT_EQ(KeyCodeTable()[static_cast<std::size_t>(key)],
              expected[static_cast<std::size_t>(key)]);
    EXPECT_EQ(HidUsageFromVirtualKey(key), expected[static_cast<std::size_t>(key)]);
  }
  for (int key : {223, 226, 255, 256, 65535, -1, -65}) {
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

constexpr Press kPresses[] = {
    {"A", GDK_KEY_a, 38, 65, 4},
    {"Shift+A", GDK_KEY_A, 38, 65, 4},
    {"1", GDK_KEY_1, 10, 49, 30},
    {"Shift+1 names the digit key", GDK_KEY_exclam, 10, 49, 30},
    {"0", GDK_KEY_0, 19, 48, 39},
    {"Enter", GDK_KEY_Return, 36, 13, 40},
    {"keypad Enter", GDK_KEY_KP_Enter, 104, 13, 40},
    {"F1", GDK_KEY_F1, 67, 112, 58},
    {"F13 remapped onto a spare keycode", GDK_KEY_F13, 255, 124, 104},
    {"the F13 key under the evdev keymap", GDK_KEY_Tools, 191, 124, 104},
    {"F24", GDK_KEY_F24, 255, 135, 115},
    {"Scroll Lock", GDK_KEY_Scroll_Lock, 78, 145, 0},
    {"keypad minus", GDK_KEY_KP_Subtract, 82, 109, 45},
    {"main minus", GDK_KEY_minus, 20, 189, 45},
    {"Shift+minus", GDK_KEY_underscore, 20, 189, 45},
    {"Escape", GDK_KEY_Escape, 9, 27, 41},
    {"Cyrillic on the A key", GDK_KEY_Cyrillic_ef, 38, 65, 4},
    {"AZERTY q on the A key", GDK_KEY_q, 38, 65, 4},
    {"AZERTY & on the 1 key", GDK_KEY_ampersand, 10, 49, 30},
    {"German z on the Y key", GDK_KEY_z, 29, 89, 28},
    {"AZERTY a on the Q key", GDK_KEY_a, 24, 81, 20},
    {"letter without a keycode", GDK_KEY_x, 0, 88, 27},
    {"shifted digit without a keycode", GDK_KEY_parenright, 0, 48, 39},
    {"a function keyval on a letter key", GDK_KEY_BackSpace, 38, 8, 42},
    {"German o-umlaut on the semicolon key", GDK_KEY_odiaeresis, 47, 186, 51},
    {"Cyrillic zhe on the semicolon key", GDK_KEY_Cyrillic_zhe, 47, 186, 51},
    {"dead acute on the apostrophe key", GDK_KEY_dead_acute, 48, 222, 52},
    {"Shift+comma", GDK_KEY_less, 59, 188, 54},
    {"the ISO key left of Z", GDK_KEY_less, 94, 226, 0},
    {"right Shift", GDK_KEY_Shift_R, 62, 161, 229},
    {"left Control", GDK_KEY_Control_L, 37, 162, 224},
    {"right Alt", GDK_KEY_Alt_R, 108, 165, 230},
    {"AltGr", GDK_KEY_ISO_Level3_Shift, 108, 165, 230},
    {"left Super", GDK_KEY_Super_L, 133, 91, 227},
    {"keypad 7", GDK_KEY_KP_7, 79, 103, 95},
    {"keypad 7 with Num Lock off", GDK_KEY_KP_Home, 79, 36, 74},
    {"keypad decimal", GDK_KEY_KP_Decimal, 91, 110, 219},
    {"Print", GDK_KEY_Print, 107, 44, 0},
    {"browser Back", GDK_KEY_Back, 166, 166, 0},
    {"browser Home", GDK_KEY_HomePage, 180, 172, 74},
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

TEST(VirtualKeyTest, EveryLetterAndDigitKeyIsNamedByPosition) {
  // The US layout row by row, with the keycode of each row's first key.
  struct Row {
    unsigned firstKeycode;
    const char* characters;
  };
  constexpr Row kRows[] = {
      {10, "1234567890"}, {24, "QWERTYUIOP"}, {38, "ASDFGHJKL"}, {52, "ZXCVBNM"}};
  for (const Row& row : kRows) {
    for (unsigned i = 0; row.characters[i] != '\0'; ++i) {
      const char character = row.characters[i];
      SCOPED_TRACE(std::string("key ") + character);
      // A character from another script on that key still names the US key.
      EXPECT_EQ(VirtualKeyFromGdk(GDK_KEY_Greek_alpha, row.firstKeycode + i), character);
      EXPECT_EQ(VirtualKeyFromUsPosition(row.firstKeycode + i), character);
    }
  }
}

}  // namespace
}  // namespace tessarel
