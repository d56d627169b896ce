#include "app/virtual_key.h"

#include <gdk/gdkkeysyms.h>

#include <array>

namespace tessarel {
namespace {

// Windows virtual-key codes used below by name.
enum VirtualKey : std::int32_t {
  kNone = 0,
  kCancel = 0x03,
  kBack = 0x08,
  kTab = 0x09,
  kClear = 0x0C,
  kReturn = 0x0D,
  kPause = 0x13,
  kCapital = 0x14,
  kEscape = 0x1B,
  kSpace = 0x20,
  kPrior = 0x21,
  kNext = 0x22,
  kEnd = 0x23,
  kHome = 0x24,
  kLeft = 0x25,
  kUp = 0x26,
  kRight = 0x27,
  kDown = 0x28,
  kSelect = 0x29,
  kPrint = 0x2A,
  kExecute = 0x2B,
  kSnapshot = 0x2C,
  kInsert = 0x2D,
  kDelete = 0x2E,
  kHelp = 0x2F,
  kLeftWindows = 0x5B,
  kRightWindows = 0x5C,
  kApplication = 0x5D,
  kSleep = 0x5F,
  kNumpad0 = 0x60,
  kMultiply = 0x6A,
  kAdd = 0x6B,
  kSeparator = 0x6C,
  kSubtract = 0x6D,
  kDecimal = 0x6E,
  kDivide = 0x6F,
  kF1 = 0x70,
  kF13 = 0x7C,
  kNumberKeyLock = 0x90,
  kScroll = 0x91,
  kLeftShift = 0xA0,
  kRightShift = 0xA1,
  kLeftControl = 0xA2,
  kRightControl = 0xA3,
  kLeftMenu = 0xA4,
  kRightMenu = 0xA5,
  kBrowserBack = 0xA6,
  kBrowserForward = 0xA7,
  kBrowserRefresh = 0xA8,
  kBrowserStop = 0xA9,
  kBrowserSearch = 0xAA,
  kBrowserFavorites = 0xAB,
  kBrowserHome = 0xAC,
  kVolumeMute = 0xAD,
  kVolumeDown = 0xAE,
  kVolumeUp = 0xAF,
  kMediaNextTrack = 0xB0,
  kMediaPreviousTrack = 0xB1,
  kMediaStop = 0xB2,
  kMediaPlayPause = 0xB3,
  kLaunchMail = 0xB4,
  kLaunchMediaSelect = 0xB5,
  kLaunchApp1 = 0xB6,
  kLaunchApp2 = 0xB7,
  kOem1 = 0xBA,       // ;:
  kOemPlus = 0xBB,    // =+
  kOemComma = 0xBC,   // ,<
  kOemMinus = 0xBD,   // -_
  kOemPeriod = 0xBE,  // .>
  kOem2 = 0xBF,       // /?
  kOem3 = 0xC0,       // `~
  kOem4 = 0xDB,       // [{
  kOem5 = 0xDC,       // \|
  kOem6 = 0xDD,       // ]}
  kOem7 = 0xDE,       // '"
  kOem102 = 0xE2,     // the extra key left of Z on ISO keyboards
};

// The main block of a US keyboard by hardware keycode (evdev code + 8), from
// keycode 10 (the 1 key) to 61 (the slash key).
constexpr std::uint32_t kFirstPositionKeycode = 10;
constexpr std::array<std::int32_t, 52> kUsMainBlock = {
    // 10..21: 1 2 3 4 5 6 7 8 9 0 - =
    '1', '2', '3', '4', '5', '6', '7', '8', '9', '0', kOemMinus, kOemPlus,
    // 22, 23: BackSpace, Tab (not characters)
    kNone, kNone,
    // 24..35: q w e r t y u i o p [ ]
    'Q', 'W', 'E', 'R', 'T', 'Y', 'U', 'I', 'O', 'P', kOem4, kOem6,
    // 36, 37: Return, Control_L
    kNone, kNone,
    // 38..49: a s d f g h j k l ; ' `
    'A', 'S', 'D', 'F', 'G', 'H', 'J', 'K', 'L', kOem1, kOem7, kOem3,
    // 50: Shift_L; 51: backslash
    kNone, kOem5,
    // 52..61: z x c v b n m , . /
    'Z', 'X', 'C', 'V', 'B', 'N', 'M', kOemComma, kOemPeriod, kOem2};
constexpr std::uint32_t kIsoExtraKeycode = 94;

bool IsLetterOrDigit(std::int32_t virtualKey) noexcept {
  return (virtualKey >= '0' && virtualKey <= '9') || (virtualKey >= 'A' && virtualKey <= 'Z');
}

// A keyval that stands for a character (any script) or a dead accent, as
// opposed to a function, modifier or multimedia key.
bool IsCharacterOrDeadKey(std::uint32_t keyval) noexcept {
  if ((keyval & 0xFF000000u) == 0x01000000u) return true;  // keyval of a Unicode code point
  if (keyval >= GDK_KEY_dead_grave && keyval <= GDK_KEY_dead_greek) return true;
  return keyval >= 0x20 && keyval < 0xFD00;
}

std::int32_t FromLatinCharacter(std::uint32_t keyval) noexcept {
  if (keyval >= 'a' && keyval <= 'z') return static_cast<std::int32_t>(keyval - 'a' + 'A');
  if (keyval >= 'A' && keyval <= 'Z') return static_cast<std::int32_t>(keyval);
  if (keyval >= '0' && keyval <= '9') return static_cast<std::int32_t>(keyval);
  switch (keyval) {
    case GDK_KEY_space:
      return kSpace;
    // Shifted digits of the US layout, for presses that come without a keycode.
    case GDK_KEY_exclam:
      return '1';
    case GDK_KEY_at:
      return '2';
    case GDK_KEY_numbersign:
      return '3';
    case GDK_KEY_dollar:
      return '4';
    case GDK_KEY_percent:
      return '5';
    case GDK_KEY_asciicircum:
      return '6';
    case GDK_KEY_ampersand:
      return '7';
    case GDK_KEY_asterisk:
      return '8';
    case GDK_KEY_parenleft:
      return '9';
    case GDK_KEY_parenright:
      return '0';
    case GDK_KEY_semicolon:
    case GDK_KEY_colon:
      return kOem1;
    case GDK_KEY_equal:
    case GDK_KEY_plus:
      return kOemPlus;
    case GDK_KEY_comma:
    case GDK_KEY_less:
      return kOemComma;
    case GDK_KEY_minus:
    case GDK_KEY_underscore:
      return kOemMinus;
    case GDK_KEY_period:
    case GDK_KEY_greater:
      return kOemPeriod;
    case GDK_KEY_slash:
    case GDK_KEY_question:
      return kOem2;
    case GDK_KEY_grave:
    case GDK_KEY_asciitilde:
      return kOem3;
    case GDK_KEY_bracketleft:
    case GDK_KEY_braceleft:
      return kOem4;
    case GDK_KEY_backslash:
    case GDK_KEY_bar:
      return kOem5;
    case GDK_KEY_bracketright:
    case GDK_KEY_braceright:
      return kOem6;
    case GDK_KEY_apostrophe:
    case GDK_KEY_quotedbl:
      return kOem7;
    default:
      return kNone;
  }
}

std::int32_t FromFunctionKeyval(std::uint32_t keyval) noexcept {
  if (keyval >= GDK_KEY_F1 && keyval <= GDK_KEY_F24) {
    return kF1 + static_cast<std::int32_t>(keyval - GDK_KEY_F1);
  }
  if (keyval >= GDK_KEY_KP_0 && keyval <= GDK_KEY_KP_9) {
    return kNumpad0 + static_cast<std::int32_t>(keyval - GDK_KEY_KP_0);
  }
  switch (keyval) {
    case GDK_KEY_BackSpace:
      return kBack;
    case GDK_KEY_Tab:
    case GDK_KEY_ISO_Left_Tab:
    case GDK_KEY_KP_Tab:
      return kTab;
    case GDK_KEY_Clear:
    case GDK_KEY_KP_Begin:
      return kClear;  // keypad 5 with Num Lock off
    case GDK_KEY_Return:
    case GDK_KEY_ISO_Enter:
    case GDK_KEY_KP_Enter:
      return kReturn;
    case GDK_KEY_Pause:
      return kPause;
    case GDK_KEY_Break:
    case GDK_KEY_Cancel:
      return kCancel;  // Ctrl+Pause gives Break
    case GDK_KEY_Caps_Lock:
      return kCapital;
    case GDK_KEY_Escape:
      return kEscape;
    case GDK_KEY_KP_Space:
      return kSpace;
    // Keypad navigation keys (Num Lock off) are named like the main ones.
    case GDK_KEY_Page_Up:
    case GDK_KEY_KP_Page_Up:
      return kPrior;
    case GDK_KEY_Page_Down:
    case GDK_KEY_KP_Page_Down:
      return kNext;
    case GDK_KEY_End:
    case GDK_KEY_KP_End:
      return kEnd;
    case GDK_KEY_Home:
    case GDK_KEY_KP_Home:
      return kHome;
    case GDK_KEY_Left:
    case GDK_KEY_KP_Left:
      return kLeft;
    case GDK_KEY_Up:
    case GDK_KEY_KP_Up:
      return kUp;
    case GDK_KEY_Right:
    case GDK_KEY_KP_Right:
      return kRight;
    case GDK_KEY_Down:
    case GDK_KEY_KP_Down:
      return kDown;
    case GDK_KEY_Select:
      return kSelect;
    case GDK_KEY_3270_PrintScreen:
      return kPrint;
    case GDK_KEY_Execute:
      return kExecute;
    case GDK_KEY_Print:
    case GDK_KEY_Sys_Req:
      return kSnapshot;
    case GDK_KEY_Insert:
    case GDK_KEY_KP_Insert:
      return kInsert;
    case GDK_KEY_Delete:
    case GDK_KEY_KP_Delete:
      return kDelete;
    case GDK_KEY_Help:
      return kHelp;
    case GDK_KEY_Super_L:
      return kLeftWindows;
    case GDK_KEY_Super_R:
      return kRightWindows;
    case GDK_KEY_Menu:
      return kApplication;
    case GDK_KEY_Sleep:
      return kSleep;
    case GDK_KEY_KP_Multiply:
      return kMultiply;
    case GDK_KEY_KP_Add:
      return kAdd;
    case GDK_KEY_KP_Separator:
      return kSeparator;
    case GDK_KEY_KP_Subtract:
      return kSubtract;
    case GDK_KEY_KP_Decimal:
      return kDecimal;
    case GDK_KEY_KP_Divide:
      return kDivide;
    case GDK_KEY_Num_Lock:
      return kNumberKeyLock;
    case GDK_KEY_Scroll_Lock:
      return kScroll;
    case GDK_KEY_Shift_L:
      return kLeftShift;
    case GDK_KEY_Shift_R:
      return kRightShift;
    case GDK_KEY_Control_L:
      return kLeftControl;
    case GDK_KEY_Control_R:
      return kRightControl;
    case GDK_KEY_Alt_L:
      return kLeftMenu;
    case GDK_KEY_Alt_R:
    case GDK_KEY_ISO_Level3_Shift:
      return kRightMenu;  // AltGr is the right Alt key
    // What the F13 to F18 keys produce under the usual evdev keymap.
    case GDK_KEY_Tools:
      return kF13;
    case GDK_KEY_Launch5:
    case GDK_KEY_Launch6:
    case GDK_KEY_Launch7:
    case GDK_KEY_Launch8:
    case GDK_KEY_Launch9:
      return kF13 + 1 + static_cast<std::int32_t>(keyval - GDK_KEY_Launch5);
    case GDK_KEY_Back:
      return kBrowserBack;
    case GDK_KEY_Forward:
      return kBrowserForward;
    case GDK_KEY_Refresh:
    case GDK_KEY_Reload:
      return kBrowserRefresh;
    case GDK_KEY_Stop:
      return kBrowserStop;
    case GDK_KEY_Search:
      return kBrowserSearch;
    case GDK_KEY_Favorites:
      return kBrowserFavorites;
    case GDK_KEY_HomePage:
      return kBrowserHome;
    case GDK_KEY_AudioMute:
      return kVolumeMute;
    case GDK_KEY_AudioLowerVolume:
      return kVolumeDown;
    case GDK_KEY_AudioRaiseVolume:
      return kVolumeUp;
    case GDK_KEY_AudioNext:
      return kMediaNextTrack;
    case GDK_KEY_AudioPrev:
      return kMediaPreviousTrack;
    case GDK_KEY_AudioStop:
      return kMediaStop;
    case GDK_KEY_AudioPlay:
    case GDK_KEY_AudioPause:
      return kMediaPlayPause;
    case GDK_KEY_Mail:
      return kLaunchMail;
    case GDK_KEY_AudioMedia:
      return kLaunchMediaSelect;
    case GDK_KEY_MyComputer:
    case GDK_KEY_Launch0:
      return kLaunchApp1;
    case GDK_KEY_Calculator:
    case GDK_KEY_Launch1:
      return kLaunchApp2;
    default:
      return kNone;
  }
}

}  // namespace

std::int32_t VirtualKeyFromUsPosition(std::uint32_t hardwareKeycode) noexcept {
  if (hardwareKeycode == kIsoExtraKeycode) return kOem102;
  if (hardwareKeycode < kFirstPositionKeycode ||
      hardwareKeycode - kFirstPositionKeycode >= kUsMainBlock.size()) {
    return kNone;
  }
  return kUsMainBlock[hardwareKeycode - kFirstPositionKeycode];
}

std::int32_t VirtualKeyFromGdk(std::uint32_t keyval, std::uint32_t hardwareKeycode) noexcept {
  const bool isCharacter = IsCharacterOrDeadKey(keyval);
  const std::int32_t byPosition = isCharacter ? VirtualKeyFromUsPosition(hardwareKeycode) : kNone;
  // Letters, digits and the ISO extra key keep their US name whatever the
  // layout prints on them: Shift+1, AZERTY's "&" and Cyrillic "ф" on the A
  // key all name the same key.
  if (IsLetterOrDigit(byPosition) || byPosition == kOem102) return byPosition;
  if (isCharacter) {
    const std::int32_t byCharacter = FromLatinCharacter(keyval);
    return byCharacter != kNone ? byCharacter : byPosition;
  }
  return FromFunctionKeyval(keyval);
}

}  // namespace tessarel
