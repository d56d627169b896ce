import assert from 'node:assert/strict';
import { test } from 'node:test';
import { baseUnit, fitScale, keyAt, layoutLayer } from '../src/logic/layout.js';

const k = (x = 1, y = 1) => ({ size: { x, y } });
const place = (cell) => [cell.x, cell.y, cell.left, cell.top, cell.width, cell.height, cell.key ? 'key' : 'gap'];

test('layer geometry', async (t) => {
  const rows = [
    {
      desc: 'keys follow each other at their widths; a null key leaves a one-unit gap',
      rows: [[k(), k(2), null, k()]],
      cells: [[0, 0, 0, 0, 1, 1, 'key'], [1, 0, 1, 0, 2, 1, 'key'], [2, 0, 3, 0, 1, 1, 'gap'], [3, 0, 4, 0, 1, 1, 'key']],
      size: [5, 1],
    },
    {
      desc: 'a tall key in the middle of a row is skipped over, not overlapped',
      rows: [[k(), k(1, 2), k()], [k(), k(), k()]],
      cells: [[0, 0, 0, 0, 1, 1, 'key'], [1, 0, 1, 0, 1, 2, 'key'], [2, 0, 2, 0, 1, 1, 'key'], [0, 1, 0, 1, 1, 1, 'key'], [1, 1, 2, 1, 1, 1, 'key'], [2, 1, 3, 1, 1, 1, 'key']],
      size: [4, 2],
    },
    {
      desc: 'sizes in a larger unit (quarter keys): rows are one base unit apart',
      rows: [[k(4, 4), k(6, 4)], [k(8, 4)]],
      cells: [[0, 0, 0, 0, 4, 4, 'key'], [1, 0, 4, 0, 6, 4, 'key'], [0, 1, 0, 4, 8, 4, 'key']],
      size: [10, 8],
    },
    {
      desc: 'a null row still takes a row; a missing size counts as one unit',
      rows: [[k()], null, [{ size: {} }]],
      cells: [[0, 0, 0, 0, 1, 1, 'key'], [0, 2, 0, 2, 1, 1, 'key']],
      size: [1, 3],
    },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      const layout = layoutLayer(row.rows);
      assert.deepEqual(layout.cells.map(place), row.cells);
      assert.deepEqual([layout.width, layout.height], row.size);
    });
  }
});

test('base unit is the smallest key dimension, 1 without keys', () => {
  assert.equal(baseUnit([[k(4, 4), k(6, 5)], [null, k(8, 4)]]), 4);
  assert.equal(baseUnit([[null], null]), 1);
});

test('scale fits the width but never draws a unit larger than the maximum', () => {
  const layout = layoutLayer([[k(), k(), k(), k()]]);
  assert.equal(fitScale(layout, 200, 64), 50); // 4 units into 200 px
  const quarters = layoutLayer([[k(4, 4), k(4, 4)]]);
  assert.equal(fitScale(quarters, 1000, 64), 16); // 64 px per key of 4 units
  assert.equal(fitScale(layoutLayer([]), 500, 64), 64);
});

test('keyAt addresses a key by its position in its row, gaps counted', () => {
  const second = k(2);
  const layer = { keys: [[k(), null, second]], type: 0 };
  assert.equal(keyAt(layer, 2, 0), second);
  assert.equal(keyAt(layer, 1, 0), null);
  assert.equal(keyAt(layer, 0, 5), null);
  assert.equal(keyAt(null, 0, 0), null);
});
