// Recording a key combination from "keyDown" usages.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { finishRecording, idleRecording, recordKey, startedRecording } from '../src/logic/recording.js';

function press(codes, state = startedRecording) {
  let result = null;
  for (const code of codes) {
    ({ state, result } = recordKey(state, code));
    if (result) break;
  }
  return { state, result };
}

test('key presses to a combination', async (t) => {
  const rows = [
    { desc: 'Ctrl, Shift, K gives [224, 225, 14]', codes: [224, 225, 14], result: { macros: [224, 225, 14] } },
    { desc: 'modifiers pressed in another order come out in usage order', codes: [226, 229, 224, 6], result: { macros: [224, 226, 229, 6] } },
    { desc: 'a held modifier repeats without counting twice', codes: [224, 224, 224, 6], result: { macros: [224, 6] } },
    { desc: 'a key alone is a combination', codes: [58], result: { macros: [58] } },
    { desc: 'Escape cancels, whatever was held', codes: [224, 41], result: { cancelled: true } },
    { desc: 'a key with no usage (0) is ignored', codes: [224, 0, 14], result: { macros: [224, 14] } },
    { desc: 'the first other key ends it; later keys are not taken', codes: [224, 14, 15], result: { macros: [224, 14] } },
    { desc: 'modifiers only: still recording', codes: [224, 225], result: null },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      const { state, result } = press(row.codes);
      assert.deepEqual(result, row.result);
      assert.equal(state.active, row.result === null);
    });
  }
});

test('a recording that is not running takes nothing; finishing keeps held modifiers', () => {
  assert.deepEqual(recordKey(idleRecording, 14), { state: idleRecording, result: null });
  assert.deepEqual(finishRecording(press([225, 224]).state).result, { macros: [224, 225] });
  assert.deepEqual(finishRecording(startedRecording).result, { cancelled: true });
});
