// Readable names for USB HID Keyboard/Keypad page usage codes, as "keyDown" delivers them.

const namedCodes = new Map([
  [0, 'No mapping'],
  [40, 'Enter'],
  [41, 'Escape'],
  [42, 'Backspace'],
  [43, 'Tab'],
  [44, 'Space'],
  [45, 'Minus'],
  [46, 'Equals'],
  [47, 'Left bracket'],
  [48, 'Right bracket'],
  [49, 'Backslash'],
  [50, 'Non-US #'],
  [51, 'Semicolon'],
  [52, 'Quote'],
  [53, 'Grave accent'],
  [54, 'Comma'],
  [55, 'Period'],
  [56, 'Slash'],
  [57, 'Caps Lock'],
  [70, 'Print Screen'],
  [71, 'Scroll Lock'],
  [72, 'Pause'],
  [73, 'Insert'],
  [74, 'Home'],
  [75, 'Page Up'],
  [76, 'Delete'],
  [77, 'End'],
  [78, 'Page Down'],
  [79, 'Right arrow'],
  [80, 'Left arrow'],
  [81, 'Down arrow'],
  [82, 'Up arrow'],
  [83, 'Num Lock'],
  [84, 'Keypad /'],
  [85, 'Keypad *'],
  [86, 'Keypad -'],
  [87, 'Keypad +'],
  [88, 'Keypad Enter'],
  [98, 'Keypad 0'],
  [99, 'Keypad .'],
  [100, 'Non-US \\'],
  [101, 'Application'],
  [116, 'Execute'],
  [117, 'Help'],
  [118, 'Menu'],
  [119, 'Select'],
  [120, 'Stop'],
  [121, 'Again'],
  [122, 'Undo'],
  [123, 'Cut'],
  [124, 'Copy'],
  [125, 'Paste'],
  [126, 'Find'],
  [127, 'Mute'],
  [128, 'Volume Up'],
  [129, 'Volume Down'],
  [156, 'Clear'],
  [159, 'Separator'],
  [224, 'Left Ctrl'],
  [225, 'Left Shift'],
  [226, 'Left Alt'],
  [227, 'Left Super'],
  [228, 'Right Ctrl'],
  [229, 'Right Shift'],
  [230, 'Right Alt'],
  [231, 'Right Super'],
]);

// 4 -> "A", 30 -> "1", 58 -> "F1", 89 -> "Keypad 1"; an unknown code -> "Usage 0xNN".
export function hidUsageName(code) {
  if (!Number.isInteger(code)) return 'Not a usage code';
  if (code >= 4 && code <= 29) return String.fromCharCode(65 + code - 4);
  if (code >= 30 && code <= 38) return String(code - 29);
  if (code === 39) return '0';
  if (code >= 58 && code <= 69) return `F${code - 57}`;
  if (code >= 104 && code <= 115) return `F${code - 91}`;
  if (code >= 89 && code <= 97) return `Keypad ${code - 88}`;
  const name = namedCodes.get(code);
  if (name) return name;
  return `Usage 0x${code.toString(16).toUpperCase().padStart(2, '0')}`;
}
