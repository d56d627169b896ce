// What a key does, in words: action types by name and macros by what they mean.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { actionCaption, actionTypeName, describeAction, macrosForType } from '../src/logic/actions.js';
import { keyboard } from './fixtures.js';

test('actions described by what they do', () => {
  const pad = keyboard();
  const rows = [
    [{ type: 0, macros: [] }, 'Does nothing', ''],
    [{ type: 1, macros: [224, 6] }, 'Ctrl + C', 'Ctrl + C'],
    [{ type: 1, macros: [224, 225, 14] }, 'Ctrl + Shift + K', 'Ctrl + Shift + K'],
    [{ type: 1, macros: [228, 58, null] }, 'Right Ctrl + F1 + ?', 'Right Ctrl + F1 + ?'],
    [{ type: 1, macros: [] }, 'No keys yet', 'No keys yet'],
    [{ type: 2, macros: [2, 3] }, 'Types text macros 2, 3', 'Text'],
    [{ type: 2, macros: [1] }, 'Types text macro 1', 'Text'],
    [{ type: 3, macros: [2] }, '/usr/bin/firefox', 'firefox'],
    [{ type: 3, macros: [1] }, 'Application 2 (no path set)', 'No app'],
    [{ type: 4, macros: [205] }, 'Play/Pause', 'Play/Pause'],
    [{ type: 4, macros: [0x1ab] }, 'Media key 0x1AB', 'Media key 0x1AB'],
    [{ type: 5, macros: [1] }, 'Switches to the Fn layer', 'Fn layer'],
    [{ type: 5, macros: [0] }, 'Switches to the Base layer', 'Base layer'],
    [{ type: 9, macros: [1, 2] }, 'Action 9: 1 2', 'Action 9: 1 2'],
  ];
  for (const [action, description, caption] of rows) {
    assert.equal(describeAction(action, pad), description, JSON.stringify(action));
    assert.equal(actionCaption(action, pad), caption, JSON.stringify(action));
  }
  assert.deepEqual([0, 1, 2, 3, 4, 5, 6].map(actionTypeName), ['Nothing', 'Key combination', 'Text macros', 'Start an application', 'Media key', 'Switch layer', 'Action 6']);
});

test('a newly chosen action type starts from what it needs', () => {
  const pad = keyboard();
  const combination = { type: 1, macros: [224, 6] };
  assert.deepEqual(macrosForType(1, pad, combination), [224, 6]);
  assert.deepEqual(macrosForType(4, pad, combination), []);
  assert.deepEqual(macrosForType(3, pad, combination), [0]); // the first slot with a path
  assert.deepEqual(macrosForType(3, { ...pad, appPaths: ['', '', '/x', '', '', '', '', ''] }, combination), [2]);
  assert.deepEqual(macrosForType(5, pad, combination), [0]);
});
