// Every text key the UI uses is in the English catalogue, and t() fills in its parameters.
import assert from 'node:assert/strict';
import { readFile, readdir } from 'node:fs/promises';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import en from '../src/i18n/en.js';
import { registerCatalogue, setLocale, t } from '../src/i18n/index.js';

const srcDir = path.join(path.dirname(fileURLToPath(import.meta.url)), '../src');

async function sources(dir) {
  const entries = await readdir(dir, { withFileTypes: true });
  const files = await Promise.all(entries.map((entry) => (entry.isDirectory() ? sources(path.join(dir, entry.name)) : [path.join(dir, entry.name)])));
  return files.flat().filter((file) => /\.jsx?$/.test(file));
}

test('every key used in the sources is in the English catalogue', async () => {
  const missing = [];
  for (const file of await sources(srcDir)) {
    const text = await readFile(file, 'utf8');
    // Plain keys, t('a.b'); keys built from a prefix, t(`a.${x}`), are checked by their prefix.
    for (const [, key] of text.matchAll(/\bt\('([^']+)'/g)) if (!(key in en)) missing.push(`${path.basename(file)}: ${key}`);
    for (const [, prefix] of text.matchAll(/\bt\(`([^`$]+)\$\{/g)) {
      if (!Object.keys(en).some((key) => key.startsWith(prefix))) missing.push(`${path.basename(file)}: ${prefix}…`);
    }
  }
  assert.deepEqual(missing, []);
});

test('parameters, plural forms and fallbacks', () => {
  assert.equal(t('staging.count', { count: 1 }), '1 unsaved change');
  assert.equal(t('staging.count', { count: 3 }), '3 unsaved changes');
  assert.equal(t('place.key', { layer: 2, row: 1, key: 3 }), 'layer 2, row 1, key 3');
  assert.equal(t('no.such.key'), 'no.such.key');
  registerCatalogue('xx', { 'staging.undo': 'Zurück' });
  setLocale('xx');
  try {
    assert.equal(t('staging.undo'), 'Zurück');
    assert.equal(t('staging.redo'), 'Redo'); // missing in the catalogue: English
  } finally {
    setLocale('en');
  }
});
