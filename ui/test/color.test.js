import assert from 'node:assert/strict';
import { test } from 'node:test';
import { clampChannel, hexToRgb, readableTextColor, rgbToHex } from '../src/logic/color.js';

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
