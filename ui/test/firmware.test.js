import assert from 'node:assert/strict';
import { test } from 'node:test';
import { firmwareReducer, initialFirmwareState, operationsFor, operationState, percentFromFlashingState, updateFor } from '../src/logic/firmware.js';

const play = (actions, state = initialFirmwareState) => actions.reduce(firmwareReducer, state);

test('update progress from the service answers', async (t) => {
  const rows = [
    {
      desc: 'a full update ends as done at 100 %',
      actions: [{ type: 'updateRequested' }, { type: 'isFlashing', value: true }, { type: 'flashingState', value: 40 }, { type: 'flashingState', value: 100 }, { type: 'isFlashing', value: false }],
      want: { phase: 'done', progress: 100, isFlashing: false },
    },
    {
      desc: 'a cancelled update ends as cancelled, wherever its progress stood',
      actions: [{ type: 'updateRequested' }, { type: 'isFlashing', value: true }, { type: 'flashingState', value: 30 }, { type: 'cancelRequested' }, { type: 'flashingState', value: 0 }, { type: 'isFlashing', value: false }],
      want: { phase: 'cancelled', progress: 0, isFlashing: false },
    },
    {
      desc: 'flashing that ends short of 100 % without a cancel is reported as stopped',
      actions: [{ type: 'updateRequested' }, { type: 'isFlashing', value: true }, { type: 'flashingState', value: 60 }, { type: 'isFlashing', value: false }],
      want: { phase: 'stopped', progress: 60 },
    },
    {
      desc: 'an update that finished before isFlashing was first seen still ends as done',
      actions: [{ type: 'updateRequested' }, { type: 'flashingState', value: 100 }, { type: 'isFlashing', value: false }],
      want: { phase: 'done', progress: 100 },
    },
    {
      desc: 'a rejected updateDevice fails it unless flashing already runs',
      actions: [{ type: 'updateRequested' }, { type: 'updateRejected' }],
      want: { phase: 'failed' },
    },
    {
      desc: 'flashing started elsewhere is followed from 0 %',
      actions: [{ type: 'flashingState', value: 100 }, { type: 'isFlashing', value: true }],
      want: { phase: 'flashing', progress: 0, isFlashing: true },
    },
    {
      desc: 'dismissing a finished update returns to idle; a running one stays',
      actions: [{ type: 'updateRequested' }, { type: 'isFlashing', value: true }, { type: 'dismissed' }],
      want: { phase: 'flashing' },
    },
    {
      desc: 'a new request after a finished update starts from 0 % with no cancel pending',
      actions: [{ type: 'updateRequested' }, { type: 'isFlashing', value: true }, { type: 'cancelRequested' }, { type: 'isFlashing', value: false }, { type: 'updateRequested' }],
      want: { phase: 'starting', progress: 0, cancelRequested: false },
    },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      const state = play(row.actions);
      for (const [field, value] of Object.entries(row.want)) assert.equal(state[field], value, field);
    });
  }
});

test('flashing state as a percentage', () => {
  assert.deepEqual([0, 55, 100, 101, -3, null, 'x', '42'].map(percentFromFlashingState), [0, 55, 100, 100, 0, 0, 0, 42]);
});

test('reset and recovery state labels', () => {
  assert.deepEqual([0, 1, 2, 3, 7, null].map((value) => operationState(value).label), ['Idle', 'In progress', 'Succeeded', 'Failed', 'State 7', 'Unknown']);
});

// Notifications name no keyboard: an update is shown on the page of the keyboard it was started
// for, and other pages only learn that one runs elsewhere.
test('an update belongs to the keyboard it was started for', async (t) => {
  const started = [{ type: 'updateRequested', keyboardId: 'PAD', purpose: 'configuration' }, { type: 'isFlashing', value: true }, { type: 'flashingState', value: 35 }];
  const rows = [
    { desc: 'its own page shows the progress and what is written', actions: started, page: 'PAD', want: { phase: 'flashing', progress: 35, purpose: 'configuration', elsewhere: false } },
    { desc: "another keyboard's page shows no progress, only that an update runs elsewhere", actions: started, page: 'DECK', want: { phase: 'idle', progress: 0, isFlashing: false, elsewhere: true, elsewhereId: 'PAD' } },
    { desc: 'the end of the update is shown on its own page only', actions: [...started, { type: 'flashingState', value: 100 }, { type: 'isFlashing', value: false }], page: 'DECK', want: { phase: 'idle', elsewhere: false } },
    { desc: 'flashing this page did not start belongs to no keyboard', actions: [{ type: 'isFlashing', value: true }, { type: 'flashingState', value: 20 }], page: 'PAD', want: { phase: 'idle', elsewhere: true, elsewhereId: null } },
    { desc: 'a new update on another keyboard takes the update over', actions: [...started, { type: 'isFlashing', value: false }, { type: 'updateRequested', keyboardId: 'DECK' }], page: 'PAD', want: { phase: 'idle', elsewhere: true } },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      const shown = updateFor(play(row.actions), row.page);
      for (const [field, value] of Object.entries(row.want)) assert.equal(shown[field], value, field);
    });
  }
});

test('reset and recovery states show on the keyboard they were started on', () => {
  const states = { reset: 2, recover: 1 };
  const owners = { reset: 'PAD', recover: 'DECK' };
  assert.deepEqual(operationsFor(states, owners, 'PAD'), { reset: 2, recover: null });
  assert.deepEqual(operationsFor(states, owners, 'DECK'), { reset: null, recover: 1 });
  assert.deepEqual(operationsFor(states, { reset: null, recover: null }, 'PAD'), { reset: null, recover: null });
});
