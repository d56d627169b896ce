// A keyboard's configuration as a file (docs/configuration.md): versioned JSON that people can
// read, with colours written #rrggbb. Export writes what the editor shows (staged changes
// included); import reads a file back for a keyboard of the same model and physical keys, and
// names the place of every problem, so that nothing is staged from a file that does not fit.
import { t } from '../i18n/index.js';
import { hexToRgb, rgbToHex } from './color.js';
import { appSlotCount } from './actions.js';
import { appPlace, isValidAppPath, keyPlace, problemText, validateKeyboard } from './validation.js';

export const fileFormat = 'tessarel-keyboard-configuration';
export const fileVersion = 1;

function colorText(color) {
  return color ? rgbToHex(color).toLowerCase() : null;
}

function exportKey(key) {
  if (!key) return null;
  return {
    size: [key.size?.x ?? 1, key.size?.y ?? 1],
    orientation: key.orientation ?? 0,
    icon: key.icon ? { type: key.icon.type, id: key.icon.id } : null,
    inactiveColor: colorText(key.inactiveColor),
    activeColor: colorText(key.activeColor),
    action: { type: key.action?.type ?? 0, macros: [...(key.action?.macros ?? [])] },
  };
}

export function exportConfiguration(keyboard) {
  return {
    format: fileFormat,
    version: fileVersion,
    keyboard: { id: keyboard.id, name: keyboard.name, model: keyboard.model },
    appPaths: [...keyboard.appPaths],
    layers: keyboard.layers.map((layer) => ({ type: layer.type, keys: layer.keys.map((row) => row.map(exportKey)) })),
  };
}

export function configurationText(keyboard) {
  return `${JSON.stringify(exportConfiguration(keyboard), null, 2)}\n`;
}

export function configurationFileName(keyboard) {
  const slug = String(keyboard.name ?? 'keyboard')
    .toLowerCase()
    .replace(/[^a-z0-9]+/g, '-')
    .replace(/^-|-$/g, '');
  return `${slug || 'keyboard'}-configuration.json`;
}

// Reading a file: every check adds a problem "place: message" and the reading goes on where it
// can, so that the user sees all that is wrong at once.
class Reader {
  constructor() {
    this.problems = [];
  }
  fail(where, message) {
    this.problems.push(where ? `${where}: ${message}` : message);
    return undefined;
  }
  whole(value, where, name, min, max) {
    if (Number.isInteger(value) && value >= min && value <= max) return value;
    return this.fail(where, t('file.mustBeWhole', { name, min, max }));
  }
  color(value, where, name) {
    if (value === null) return null;
    if (typeof value === 'string' && /^#[0-9a-fA-F]{6}$/.test(value)) return hexToRgb(value);
    return this.fail(where, t('file.mustBeColor', { name }));
  }
}

function readKey(reader, value, physical, where) {
  if (value === null || typeof value !== 'object' || Array.isArray(value)) return reader.fail(where, t('file.keyObject'));
  const size = value.size;
  if (!Array.isArray(size) || size.length !== 2 || size[0] !== physical.size?.x || size[1] !== physical.size?.y) {
    reader.fail(where, t('file.keySize', { x: physical.size?.x, y: physical.size?.y }));
  }
  const orientation = reader.whole(value.orientation, where, 'orientation', 0, 3);
  let icon = null;
  if (value.icon !== null && value.icon !== undefined) {
    if (typeof value.icon !== 'object' || typeof value.icon.type !== 'string' || !Number.isSafeInteger(value.icon.id)) {
      reader.fail(where, t('file.icon'));
    } else {
      icon = { id: value.icon.id, type: value.icon.type };
    }
  }
  const inactiveColor = reader.color(value.inactiveColor ?? null, where, 'inactiveColor');
  const activeColor = reader.color(value.activeColor ?? null, where, 'activeColor');
  const action = value.action;
  let parsedAction;
  if (action === null || typeof action !== 'object' || !Array.isArray(action.macros)) {
    reader.fail(where, t('file.action'));
  } else {
    const type = reader.whole(action.type, where, 'action.type', 0, 5);
    const macros = action.macros.map((macro, index) => reader.whole(macro, where, `action.macros[${index}]`, 0, 0xffffffff));
    parsedAction = { macros, type };
  }
  return {
    action: parsedAction,
    activeColor,
    icon,
    inactiveColor,
    orientation,
    size: { x: physical.size?.x, y: physical.size?.y },
  };
}

function readLayer(reader, value, layerIndex, physicalRows) {
  const where = t('place.layer', { layer: layerIndex + 1 });
  if (value === null || typeof value !== 'object' || !Array.isArray(value.keys)) return reader.fail(where, t('file.layerObject'));
  const type = reader.whole(value.type, where, 'type', 0, 0xffffffff);
  if (value.keys.length !== physicalRows.length) reader.fail(where, t('file.rowCount', { count: physicalRows.length }));
  const keys = physicalRows.map((physicalRow, y) => {
    const row = value.keys[y];
    if (!Array.isArray(row)) {
      if (y < value.keys.length) reader.fail(t('place.row', { layer: layerIndex + 1, row: y + 1 }), t('file.rowArray'));
      return physicalRow.map(() => null);
    }
    if (row.length !== physicalRow.length) {
      reader.fail(t('place.row', { layer: layerIndex + 1, row: y + 1 }), t('file.keyCount', { count: physicalRow.length }));
    }
    return physicalRow.map((physical, x) => {
      const keyWhere = keyPlace(layerIndex, y, x);
      const entry = row[x];
      if (!physical) {
        if (entry !== null && entry !== undefined) reader.fail(keyWhere, t('file.gapHere'));
        return null;
      }
      if (entry === null || entry === undefined) return reader.fail(keyWhere, t('file.keyHere'));
      return readKey(reader, entry, physical, keyWhere) ?? null;
    });
  });
  return { keys, type };
}

// Reads `text` for `keyboard` (the keyboard as it is now, whose model and physical keys the file
// must match). Returns {ok: true, layers, appPaths} or {ok: false, problems: [text, ...]}.
export function parseConfiguration(text, keyboard) {
  let document;
  try {
    document = JSON.parse(text);
  } catch (error) {
    return { ok: false, problems: [t('file.notJson', { detail: error.message })] };
  }
  const reader = new Reader();
  if (document === null || typeof document !== 'object' || document.format !== fileFormat) {
    return { ok: false, problems: [t('file.notConfiguration')] };
  }
  if (document.version !== fileVersion) {
    return { ok: false, problems: [`version: ${t('file.version', { version: String(document.version), supported: fileVersion })}`] };
  }
  if (document.keyboard?.model !== keyboard.model) {
    reader.fail('keyboard.model', t('file.model', { file: String(document.keyboard?.model), model: keyboard.model }));
  }
  const paths = document.appPaths;
  if (!Array.isArray(paths) || paths.length !== appSlotCount || !paths.every((path) => typeof path === 'string')) {
    reader.fail('appPaths', t('file.appPaths'));
  } else {
    paths.forEach((path, slot) => {
      if (!isValidAppPath(path)) reader.fail(appPlace(slot), t('problem.appPath'));
    });
  }
  const physicalRows = keyboard.layers.find(Boolean)?.keys ?? [];
  const layers = Array.isArray(document.layers) ? document.layers : [];
  if (!Array.isArray(document.layers) || layers.length !== keyboard.layers.length) {
    reader.fail('layers', t('file.layerCount', { count: keyboard.layers.length }));
  }
  const parsedLayers = layers.map((layer, index) => readLayer(reader, layer, index, physicalRows));
  if (reader.problems.length > 0) return { ok: false, problems: reader.problems };
  const configuration = { layers: parsedLayers, appPaths: [...paths] };
  const invalid = validateKeyboard({ ...keyboard, ...configuration });
  if (invalid.length > 0) return { ok: false, problems: invalid.map(problemText) };
  return { ok: true, ...configuration };
}
