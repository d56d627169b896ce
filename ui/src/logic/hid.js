// USB HID Keyboard/Keypad page usage codes (what "keyDown" delivers and what a key combination
// holds): readable names, short labels for combinations ("Ctrl + C"), and the searchable list the
// key editor offers.
import { t } from '../i18n/index.js';

// Codes with a name of their own (the rest are letters, digits and numbered keys); the names are
// in the message catalogue as "hid.usage.<code>".
const namedCodes = new Set([
  0, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 80, 81, 82, 83, 84, 85, 86, 87, 88, 98, 99, 100, 101, 116, 117, 118, 119, 120, 121, 122, 123, 124, 125, 126, 127, 128, 129, 156, 159, 224, 225, 226, 227, 228, 229, 230, 231,
]);

// 4 -> "A", 30 -> "1", 58 -> "F1", 89 -> "Keypad 1"; an unknown code -> "Usage 0xNN".
export function hidUsageName(code) {
  if (!Number.isInteger(code)) return t('hid.notAUsage');
  if (code >= 4 && code <= 29) return String.fromCharCode(65 + code - 4);
  if (code >= 30 && code <= 38) return String(code - 29);
  if (code === 39) return '0';
  if (code >= 58 && code <= 69) return `F${code - 57}`;
  if (code >= 104 && code <= 115) return `F${code - 91}`;
  if (code >= 89 && code <= 97) return t('hid.keypad', { n: code - 88 });
  if (namedCodes.has(code)) return t(`hid.usage.${code}`);
  return t('hid.unknown', { code: `0x${code.toString(16).toUpperCase().padStart(2, '0')}` });
}

export const firstModifier = 224;
export const lastModifier = 231;
export const lastKeyboardUsage = 231;
export const escapeUsage = 41;

export function isModifier(code) {
  return Number.isInteger(code) && code >= firstModifier && code <= lastModifier;
}

// The short form used in combinations: the left modifiers without their side, as people write
// shortcuts ("Ctrl + Shift + K"); everything else by its name.
const shortModifiers = new Map([
  [224, 'Ctrl'],
  [225, 'Shift'],
  [226, 'Alt'],
  [227, 'Super'],
]);

export function keyLabel(code) {
  if (code === null || code === undefined) return '?';
  return shortModifiers.get(code) ?? hidUsageName(code);
}

export function combinationText(codes) {
  return codes.map(keyLabel).join(' + ');
}

// Codes the editor offers: letters, digits, the named keys, function keys, keypad, modifiers.
// Reserved and vendor codes are left out.
function offeredCodes() {
  const codes = [];
  for (let code = 4; code <= 101; code += 1) codes.push(code);
  for (let code = 104; code <= 129; code += 1) codes.push(code);
  codes.push(156, 159);
  for (let code = firstModifier; code <= lastModifier; code += 1) codes.push(code);
  return codes;
}

export function keyboardUsages() {
  return offeredCodes().map((code) => ({ code, name: hidUsageName(code) }));
}

// Entries of `list` ({code, name}) whose name contains the query (any case), or whose code is
// the query written in decimal or as 0x-hex. An empty query gives the whole list.
export function searchUsages(list, query) {
  const text = String(query ?? '').trim().toLowerCase();
  if (text === '') return list;
  const asNumber = /^0x[0-9a-f]+$/.test(text) ? parseInt(text, 16) : /^\d+$/.test(text) ? Number(text) : null;
  return list.filter((entry) => entry.code === asNumber || entry.name.toLowerCase().includes(text));
}
