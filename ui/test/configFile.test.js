// Configuration files: an export reads back as exactly what was exported, and a file that does
// not fit the keyboard names the place of each problem and yields nothing to stage.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { configurationFileName, configurationText, exportConfiguration, parseConfiguration } from '../src/logic/configFile.js';
import { applyOps } from '../src/logic/staging.js';
import { keyboard } from './fixtures.js';

test('an exported configuration imports as exactly what was exported', () => {
  const exported = keyboard();
  exported.layers[0].keys[0][0].icon = { id: -1, type: 'custom' };
  exported.layers[1].keys[0][0].activeColor = null;
  const text = configurationText(exported);
  // Changed afterwards, then the file is imported into the same keyboard.
  const changed = keyboard();
  changed.layers[0].keys[0][0].action = { macros: [224, 225, 14], type: 1 };
  changed.appPaths[3] = '/opt/tool';
  const result = parseConfiguration(text, changed);
  assert.equal(result.ok, true, JSON.stringify(result.problems));
  const staged = applyOps(changed, [{ kind: 'replace', layers: result.layers, appPaths: result.appPaths }]);
  assert.deepEqual(exportConfiguration(staged), exportConfiguration(exported));
  assert.deepEqual(staged.layers, exported.layers);
  assert.equal(JSON.parse(text).layers[0].keys[0][0].inactiveColor, '#1e2a38');
  assert.equal(configurationFileName({ name: 'Tessarel Pad 12' }), 'tessarel-pad-12-configuration.json');
});

test('a file that does not fit names each problem and its place', async (t) => {
  const good = () => JSON.parse(configurationText(keyboard()));
  const rows = [
    { desc: 'not JSON', text: '{"format": ', problems: [/^The file is not JSON: /] },
    { desc: 'another format', edit: (f) => (f.format = 'something-else'), problems: [/not a Tessarel keyboard configuration/] },
    { desc: 'a newer version', edit: (f) => (f.version = 2), problems: ['version: the file is of version 2; this app reads version 1'] },
    { desc: 'a bad colour', edit: (f) => (f.layers[1].keys[0][2].activeColor = '#12345'), problems: ['layer 2, row 1, key 3: activeColor must be #rrggbb'] },
    { desc: 'a colour as an object', edit: (f) => (f.layers[0].keys[0][0].inactiveColor = { r: 1, g: 2, b: 3 }), problems: ['layer 1, row 1, key 1: inactiveColor must be #rrggbb'] },
    { desc: 'another model', edit: (f) => (f.keyboard.model = 2), problems: ['keyboard.model: the file is for model 2; this keyboard is model 1'] },
    { desc: 'seven paths', edit: (f) => f.appPaths.pop(), problems: ['appPaths: must hold eight paths (texts)'] },
    { desc: 'a relative path', edit: (f) => (f.appPaths[4] = 'bin/tool'), problems: ['application 5: must be empty or an absolute path'] },
    { desc: 'a missing layer', edit: (f) => f.layers.pop(), problems: ['layers: must hold 2 layers, as this keyboard has'] },
    { desc: 'a key where the keyboard has a gap', edit: (f) => (f.layers[0].keys[0][1] = f.layers[0].keys[0][0]), problems: ['layer 1, row 1, key 2: this keyboard has no key here (null expected)'] },
    { desc: 'a gap where the keyboard has a key', edit: (f) => (f.layers[0].keys[0][0] = null), problems: ['layer 1, row 1, key 1: this keyboard has a key here'] },
    { desc: 'another key size', edit: (f) => (f.layers[1].keys[0][2].size = [1, 1]), problems: ['layer 2, row 1, key 3: size must be [2, 1], as this key is on the keyboard'] },
    { desc: 'a row too short', edit: (f) => f.layers[0].keys[0].pop(), problems: ['layer 1, row 1: must have 3 places, as this keyboard has', 'layer 1, row 1, key 3: this keyboard has a key here'] },
    { desc: 'a macro out of range for its action', edit: (f) => (f.layers[0].keys[0][0].action.macros = [224, 300]), problems: ['layer 1, row 1, key 1: a key combination holds HID keyboard usages (0 to 231)'] },
    { desc: 'an application slot without a path', edit: (f) => (f.layers[1].keys[0][2].action.macros = [1]), problems: ['layer 2, row 1, key 3: starts application 2, which has no path'] },
    { desc: 'a layer the keyboard does not have', edit: (f) => (f.layers[0].keys[0][2].action.macros = [7]), problems: ['layer 1, row 1, key 3: switches to layer 7, which this keyboard does not have'] },
    { desc: 'a negative macro and a fractional orientation', edit: (f) => { f.layers[0].keys[0][0].action.macros = [-1]; f.layers[0].keys[0][0].orientation = 1.5; }, problems: ['layer 1, row 1, key 1: orientation must be a whole number from 0 to 3', 'layer 1, row 1, key 1: action.macros[0] must be a whole number from 0 to 4294967295'] },
    { desc: 'two problems are both named', edit: (f) => { f.layers[0].keys[0][0].activeColor = 'red'; f.appPaths[0] = '~/gimp'; }, problems: ['application 1: must be empty or an absolute path', 'layer 1, row 1, key 1: activeColor must be #rrggbb'] },
  ];
  for (const row of rows) {
    await t.test(row.desc, () => {
      let text = row.text;
      if (text === undefined) {
        const file = good();
        row.edit(file);
        text = JSON.stringify(file);
      }
      const result = parseConfiguration(text, keyboard());
      assert.equal(result.ok, false);
      assert.equal(result.layers, undefined, 'nothing to stage');
      assert.equal(result.problems.length, row.problems.length, result.problems.join('\n'));
      row.problems.forEach((want, index) => {
        if (want instanceof RegExp) assert.match(result.problems[index], want);
        else assert.equal(result.problems[index], want);
      });
    });
  }
});
