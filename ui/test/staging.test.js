// Staged edits over the keyboard as read: undo and redo, coalesced typing, what counts as a
// change, and edits surviving a new reading of the keyboard.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { applyOps, emptyStaging, stagedDifferences, stagingReducer } from '../src/logic/staging.js';
import { keyboard } from './fixtures.js';

const red = { b: 0, g: 0, r: 255 };
const blue = { b: 255, g: 0, r: 0 };
const keyEdit = (patch, coalesce = null, x = 0) => ({ type: 'edit', op: { kind: 'key', layer: 0, x, y: 0, patch }, coalesce });
const pathEdit = (slot, value, coalesce = `path:${slot}`) => ({ type: 'edit', op: { kind: 'appPath', slot, value }, coalesce });
const play = (actions) => actions.reduce(stagingReducer, emptyStaging);

test('staging, undo and redo', async (t) => {
  const base = keyboard();
  const rows = [
    { desc: 'nothing staged: the keyboard as read, no change', actions: [], count: 0, canUndo: false, canRedo: false, check: (kb) => assert.deepEqual(kb, base) },
    { desc: 'one key edit is one change, marked on its key', actions: [keyEdit({ activeColor: red })], count: 1, keys: ['0:0:0'], check: (kb) => assert.deepEqual(kb.layers[0].keys[0][0].activeColor, red) },
    { desc: 'undo restores the value before the edit', actions: [keyEdit({ activeColor: red }), { type: 'undo' }], count: 0, canRedo: true, check: (kb) => assert.deepEqual(kb.layers[0].keys[0][0].activeColor, base.layers[0].keys[0][0].activeColor) },
    { desc: 'redo brings it back', actions: [keyEdit({ activeColor: red }), { type: 'undo' }, { type: 'redo' }], count: 1, canRedo: false, check: (kb) => assert.deepEqual(kb.layers[0].keys[0][0].activeColor, red) },
    { desc: 'undo goes back one edit at a time, newest first', actions: [keyEdit({ activeColor: red }), keyEdit({ activeColor: blue }), { type: 'undo' }], count: 1, check: (kb) => assert.deepEqual(kb.layers[0].keys[0][0].activeColor, red) },
    { desc: 'edits with the same coalesce key are one step: typing a path', actions: [pathEdit(1, '/u'), pathEdit(1, '/usr'), pathEdit(1, '/usr/bin/x'), { type: 'undo' }], count: 0, check: (kb) => assert.equal(kb.appPaths[1], '') },
    { desc: 'a different coalesce key starts a new step', actions: [pathEdit(1, '/a'), pathEdit(3, '/b'), { type: 'undo' }], count: 1, slots: [1], check: (kb) => assert.equal(kb.appPaths[3], '') },
    { desc: 'after an undo the same coalesce key does not swallow the redo step', actions: [pathEdit(1, '/a'), { type: 'undo' }, pathEdit(1, '/b'), { type: 'undo' }], count: 0, canRedo: true },
    { desc: 'a new edit drops what could be redone', actions: [keyEdit({ activeColor: red }), { type: 'undo' }, keyEdit({ activeColor: blue })], canRedo: false, count: 1 },
    { desc: 'an edit back to the value read is no change, though it can be undone', actions: [keyEdit({ activeColor: red }), keyEdit({ activeColor: base.layers[0].keys[0][0].activeColor })], count: 0, canUndo: true },
    { desc: 'discard drops every staged change and the redo list', actions: [keyEdit({ activeColor: red }, null, 0), pathEdit(4, '/x'), keyEdit({ icon: null }, null, 2), { type: 'undo' }, { type: 'discard' }], count: 0, canUndo: false, canRedo: false, check: (kb) => assert.deepEqual(kb, base) },
    { desc: 'an edit of a key the keyboard does not have changes nothing', actions: [keyEdit({ activeColor: red }, null, 1)], count: 0, check: (kb) => assert.deepEqual(kb, base) },
    {
      desc: 'a whole configuration (an import) is one step that counts per key and path',
      actions: [{ type: 'edit', op: { kind: 'replace', layers: [base.layers[1], base.layers[1]], appPaths: ['/a', ...base.appPaths.slice(1)] } }],
      count: 4,
      keys: ['0:0:0', '0:0:2'],
      slots: [0],
    },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      const state = play(row.actions);
      const current = applyOps(base, state.ops);
      const differences = stagedDifferences(base, current);
      if (row.count !== undefined) assert.equal(differences.count, row.count, 'count');
      if (row.keys) assert.deepEqual([...differences.keys], row.keys);
      if (row.slots) assert.deepEqual(differences.appSlots, row.slots);
      if (row.canUndo !== undefined) assert.equal(state.ops.length > 0, row.canUndo, 'can undo');
      if (row.canRedo !== undefined) assert.equal(state.redo.length > 0, row.canRedo, 'can redo');
      row.check?.(current);
    });
  }
});

test('staged edits stay on top of a new reading of the keyboard, and the base is never changed', () => {
  const first = keyboard();
  const frozen = JSON.stringify(first);
  const state = play([keyEdit({ activeColor: red }), pathEdit(1, '/opt/tool')]);
  applyOps(first, state.ops);
  assert.equal(JSON.stringify(first), frozen);
  // The keyboard changed meanwhile (another key, another path): the edits apply to the new one.
  const second = keyboard();
  second.layers[1].keys[0][0].icon = null;
  second.appPaths[2] = '';
  const current = applyOps(second, state.ops);
  assert.deepEqual(current.layers[0].keys[0][0].activeColor, red);
  assert.equal(current.layers[1].keys[0][0].icon, null);
  assert.deepEqual(current.appPaths.slice(0, 3), ['/usr/bin/gimp', '/opt/tool', '']);
  assert.equal(stagedDifferences(second, current).count, 2);
});
