// What keeps an edited keyboard from being written, named where it is.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { isValidAppPath, validateKeyboard } from '../src/logic/validation.js';
import { keyboard } from './fixtures.js';

test('application paths: empty or absolute', () => {
  const rows = [['', true], ['/usr/bin/gimp', true], ['/opt/my tool/run', true], ['/', false], ['usr/bin/gimp', false], ['~/bin/tool', false], ['./tool', false], ['/usr/bin/a\nb', false], [null, false]];
  for (const [path, valid] of rows) assert.equal(isValidAppPath(path), valid, JSON.stringify(path));
});

test('problems of an edited keyboard, each with its place', async (t) => {
  const rows = [
    { desc: 'the keyboard as read has none', edit: () => {}, want: [] },
    { desc: 'a relative path', edit: (k) => (k.appPaths[3] = 'bin/x'), want: [['application 4', 'must be empty or an absolute path', { slot: 3 }]] },
    { desc: 'a key that starts an application whose path was emptied', edit: (k) => (k.appPaths[2] = ''), want: [['layer 2, row 1, key 3', 'starts application 3, which has no path', { key: '1:0:2' }]] },
    { desc: 'a combination with a code beyond the keyboard page', edit: (k) => (k.layers[0].keys[0][0].action.macros = [224, 232]), want: [['layer 1, row 1, key 1', 'a key combination holds HID keyboard usages (0 to 231)']] },
    { desc: 'a media key 0', edit: (k) => (k.layers[1].keys[0][0].action.macros = [0]), want: [['layer 2, row 1, key 1', 'a media key is a consumer usage (1 to 65535)']] },
    { desc: 'a layer switch to a layer the keyboard does not have', edit: (k) => (k.layers[0].keys[0][2].action.macros = [4]), want: [['layer 1, row 1, key 3', 'switches to layer 4, which this keyboard does not have']] },
    { desc: 'a layer switch with two layers', edit: (k) => (k.layers[0].keys[0][2].action.macros = [0, 1]), want: [['layer 1, row 1, key 3', 'switches to one layer']] },
    { desc: 'two layers of one type', edit: (k) => (k.layers[1].type = 0), want: [['layer 2', 'another layer has type 0'], ['layer 1, row 1, key 3', 'switches to layer 1, which this keyboard does not have']] },
    { desc: 'an unknown action type', edit: (k) => (k.layers[0].keys[0][0].action.type = 6), want: [['layer 1, row 1, key 1', 'the action type must be 0 to 5']] },
    { desc: 'a key that does nothing, and text macros, are fine', edit: (k) => { k.layers[0].keys[0][0].action = { type: 0, macros: [] }; k.layers[1].keys[0][0].action = { type: 2, macros: [4, 5] }; }, want: [] },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      const edited = keyboard();
      row.edit(edited);
      const problems = validateKeyboard(edited);
      assert.deepEqual(problems.map((problem) => [problem.where, problem.message]), row.want.map(([where, message]) => [where, message]));
      row.want.forEach(([, , marks], index) => {
        for (const [field, value] of Object.entries(marks ?? {})) assert.equal(problems[index][field], value, field);
      });
    });
  }
});
