// The host's bundle: one classic script that hands react-native-web's AppRegistry to the host,
// registers "Tessarel", and neither starts itself nor calls a native method while it loads.
import assert from 'node:assert/strict';
import { mkdtemp, readFile, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import vm from 'node:vm';
import * as esbuild from 'esbuild';
import { bundleOptions } from '../scripts/build.mjs';
import { builtinIconList } from '../src/logic/icons.js';

async function buildBundle() {
  const dir = await mkdtemp(path.join(tmpdir(), 'tessarel-ui-'));
  try {
    const outfile = path.join(dir, 'index.windows.bundle');
    const { metafile } = await esbuild.build({ ...bundleOptions({ outfile }), metafile: true });
    return { source: await readFile(outfile, 'utf8'), inputs: Object.keys(metafile.inputs) };
  } finally {
    await rm(dir, { recursive: true, force: true });
  }
}

function fakeHost() {
  const calls = [];
  const module = (name, methods) =>
    Object.fromEntries(methods.map((method) => [method, (...args) => (calls.push(`${name}.${method}`), new Promise(() => {}))]));
  const host = {
    calls,
    registries: [],
    NativeModules: {
      TessarelJs: module('TessarelJs', ['keyboards', 'isFlashing', 'flashingState', 'setLed']),
      SettingsJs: module('SettingsJs', ['appVersion']),
      KeyBinderJs: {},
    },
    DeviceEventEmitter: { addListener: () => ({ remove() {} }), removeAllListeners() {}, emit() {}, listenerCount: () => 0 },
    NativeEventEmitter: class {
      addListener() {
        return { remove() {} };
      }
    },
    setAppRegistry(registry) {
      host.registries.push(registry);
    },
    runApplication() {
      calls.push('runApplication');
    },
  };
  return host;
}

test('the production bundle meets the host contract', async () => {
  const { source, inputs } = await buildBundle();

  // A classic script: compiling it as one fails on any import or export statement.
  assert.doesNotThrow(() => new vm.Script(source, { filename: 'index.windows.bundle' }));
  // The simulated service stays in the dev page.
  assert.doesNotMatch(source, /TP12-4F2A|Tessarel Deck 24|mockInstalled/);

  const host = fakeHost();
  const context = vm.createContext({ TessarelNative: host, console, setTimeout, clearTimeout, queueMicrotask });
  new vm.Script(source).runInContext(context);

  assert.equal(host.registries.length, 1, 'setAppRegistry is called once');
  const registry = host.registries[0];
  assert.equal(typeof registry.runApplication, 'function');
  assert.deepEqual([...registry.getAppKeys()], ['Tessarel']);
  assert.deepEqual([...host.calls], [], 'nothing runs before the host calls runApplication');

  // Of the icon package, the bundle holds the glyphs of the built-in icons and nothing else.
  const lucide = inputs.filter((input) => input.includes('node_modules/lucide/'));
  assert.equal(lucide.length, builtinIconList().length);
  assert.ok(lucide.every((input) => input.includes('/dist/esm/icons/')), lucide.join('\n'));
});
