import assert from 'node:assert/strict';
import { test } from 'node:test';
import { hidUsageName } from '../src/logic/hid.js';

test('HID usage names', () => {
  // Codes from the HID Usage Tables, Keyboard/Keypad page (0x07).
  const rows = [
    [4, 'A'], [29, 'Z'], [30, '1'], [38, '9'], [39, '0'], [40, 'Enter'], [58, 'F1'], [69, 'F12'],
    [104, 'F13'], [115, 'F24'], [89, 'Keypad 1'], [97, 'Keypad 9'], [98, 'Keypad 0'],
    [224, 'Left Ctrl'], [231, 'Right Super'], [0, 'No mapping'], [219, 'Usage 0xDB'],
    [3, 'Usage 0x03'], [1.5, 'Not a usage code'],
  ];
  for (const [code, name] of rows) assert.equal(hidUsageName(code), name, `code ${code}`);
});
