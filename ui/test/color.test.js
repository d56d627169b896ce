import assert from 'node:assert/strict';
import { test } from 'node:test';
import { clampChannel, followColor, hexToRgb, readableTextColor, rgbToHex } from '../src/logic/color.js';

test('hex text to colour', () => {
  const rows = [
    ['#FF0080', { r: 255, g: 0, b: 128 }],
    ['ff0080', { r: 255, g: 0, b: 128 }],
    ['  #0a0B0c ', { r: 10, g: 11, b: 12 }],
    ['#f08', { r: 255, g: 0, b: 136 }],
    ['#FF008', null],
    ['#GG0000', null],
    ['', null],
    [null, null],
  ];
  for (const [text, want] of rows) assert.deepEqual(hexToRgb(text), want, `hexToRgb(${JSON.stringify(text)})`);
});

test('colour to hex pads, upper-cases and clamps channels', () => {
  assert.equal(rgbToHex({ r: 1, g: 2, b: 3 }), '#010203');
  assert.equal(rgbToHex({ r: 300, g: -4, b: 12.6 }), '#FF000D');
});

test('channel clamping', () => {
  assert.deepEqual([-1, 0, 127.4, 127.5, 255, 256, NaN, '12', 'x'].map(clampChannel), [0, 0, 127, 128, 255, 255, 0, 12, 0]);
});

test('key legend colour contrasts with the key face', () => {
  assert.equal(readableTextColor({ r: 255, g: 255, b: 255 }), '#1B1D22');
  assert.equal(readableTextColor({ r: 40, g: 43, b: 50 }), '#FFFFFF');
  assert.equal(readableTextColor(null), '#1B1D22');
});

// The hex field as a person types or pastes into it, as ColorPicker runs it: the field takes the
// text, a text that parses to another colour changes the colour, and a changed colour makes the
// field show followColor(text, colour).
test('typing and pasting into the hex field', async (t) => {
  const start = { r: 0x7e, g: 0xd3, b: 0x21 };
  // keys: typed one by one after selecting the field's text; paste: replaces it at once;
  // backspaces: removed from the end afterwards.
  const rows = [
    { desc: 'typing #ff8800 key by key ends on #ff8800, not #FFFF88', keys: '#ff8800', text: '#ff8800', color: { r: 255, g: 136, b: 0 } },
    { desc: 'a three-digit code is a colour of its own', keys: '#08f', text: '#08f', color: { r: 0, g: 136, b: 255 } },
    { desc: 'pasted without # and with blanks', paste: ' FF8800 ', text: ' FF8800 ', color: { r: 255, g: 136, b: 0 } },
    { desc: 'a bad code stays as typed, and the colour stays the last good one', keys: '#ff8g', text: '#ff8g', color: { r: 255, g: 255, b: 136 } },
    { desc: 'deleting everything keeps the colour', keys: '#ff8800', backspaces: 7, text: '', color: { r: 255, g: 255, b: 136 } },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      let color = start;
      let text = rgbToHex(start);
      const change = (next) => {
        text = next;
        const parsed = hexToRgb(next);
        if (parsed && (parsed.r !== color.r || parsed.g !== color.g || parsed.b !== color.b)) {
          color = parsed;
          text = followColor(text, color);
        }
      };
      if (row.paste !== undefined) change(row.paste);
      if (row.keys !== undefined) {
        text = '';
        for (const key of row.keys) change(text + key);
      }
      for (let i = 0; i < (row.backspaces ?? 0); i += 1) change(text.slice(0, -1));
      assert.equal(text, row.text);
      assert.deepEqual(color, row.color);
    });
  }
  // A colour set elsewhere (a slider, undo) replaces the text.
  assert.equal(followColor('#ff8', { r: 1, g: 2, b: 3 }), '#010203');
});
