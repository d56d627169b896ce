// Staged changes to one keyboard: edits are kept as a list of operations over the configuration
// the keyboard reported (the base), so that a new reading of the keyboard (the service announced
// a change) keeps the user's edits on top of it. Nothing here talks to the keyboard.
//
// Operations:
//   {kind: 'key', layer, x, y, patch}   layer: index in keyboard.layers; patch: key members
//   {kind: 'appPath', slot, value}
//   {kind: 'replace', layers, appPaths} a whole configuration (an imported file)
//
// State: {ops, redo, lastKey}. An edit with a `coalesce` key equal to the previous edit's
// replaces it instead of adding a step, so typing a colour or a path is one undo step.

export const emptyStaging = Object.freeze({ ops: [], redo: [], lastKey: null });

export function stagingReducer(state, action) {
  switch (action.type) {
    case 'edit': {
      const merge = action.coalesce != null && action.coalesce === state.lastKey && state.ops.length > 0;
      const ops = merge ? [...state.ops.slice(0, -1), action.op] : [...state.ops, action.op];
      return { ops, redo: [], lastKey: action.coalesce ?? null };
    }
    case 'undo':
      if (state.ops.length === 0) return state;
      return { ops: state.ops.slice(0, -1), redo: [...state.redo, state.ops[state.ops.length - 1]], lastKey: null };
    case 'redo':
      if (state.redo.length === 0) return state;
      return { ops: [...state.ops, state.redo[state.redo.length - 1]], redo: state.redo.slice(0, -1), lastKey: null };
    case 'discard':
      return emptyStaging;
    default:
      return state;
  }
}

function applyOne(keyboard, op) {
  switch (op.kind) {
    case 'key': {
      const layer = keyboard.layers?.[op.layer];
      const key = layer?.keys?.[op.y]?.[op.x];
      if (!key) return keyboard; // the keyboard no longer has that key
      const keys = layer.keys.map((row, y) => (y === op.y ? row.map((entry, x) => (x === op.x ? { ...entry, ...op.patch } : entry)) : row));
      const layers = keyboard.layers.map((entry, index) => (index === op.layer ? { ...entry, keys } : entry));
      return { ...keyboard, layers };
    }
    case 'appPath': {
      const appPaths = [...(keyboard.appPaths ?? [])];
      appPaths[op.slot] = op.value;
      return { ...keyboard, appPaths };
    }
    case 'replace':
      return { ...keyboard, layers: op.layers, appPaths: op.appPaths };
    default:
      return keyboard;
  }
}

// The keyboard with the operations applied, in order; the base itself is never changed.
export function applyOps(keyboard, ops) {
  if (!keyboard) return keyboard;
  return ops.reduce(applyOne, keyboard);
}

// Structural equality of model values (objects compared member by member, whatever their order).
export function sameValue(a, b) {
  if (a === b) return true;
  if (a === null || b === null || typeof a !== 'object' || typeof b !== 'object') return false;
  if (Array.isArray(a) !== Array.isArray(b)) return false;
  const keysA = Object.keys(a).filter((key) => a[key] !== undefined);
  const keysB = Object.keys(b).filter((key) => b[key] !== undefined);
  if (keysA.length !== keysB.length) return false;
  return keysA.every((key) => sameValue(a[key], b[key]));
}

export function keyId(layer, x, y) {
  return `${layer}:${y}:${x}`;
}

// What differs between the keyboard as read and as edited: keyIds of changed keys, numbers of
// changed application slots, and whether the layer list itself differs (another count of
// layers, another layer type).
export function stagedDifferences(base, current) {
  const keys = new Set();
  const appSlots = [];
  if (!base || !current) return { keys, appSlots, layers: false, count: 0 };
  const baseLayers = base.layers ?? [];
  const layers = current.layers ?? [];
  let layersDiffer = baseLayers.length !== layers.length;
  layers.forEach((layer, index) => {
    const before = baseLayers[index];
    if (!before || before.type !== layer?.type) layersDiffer = true;
    (layer?.keys ?? []).forEach((row, y) =>
      (row ?? []).forEach((key, x) => {
        if (!sameValue(key, before?.keys?.[y]?.[x])) keys.add(keyId(index, x, y));
      }),
    );
  });
  const slotCount = Math.max(base.appPaths?.length ?? 0, current.appPaths?.length ?? 0);
  for (let slot = 0; slot < slotCount; slot += 1) {
    if ((base.appPaths?.[slot] ?? '') !== (current.appPaths?.[slot] ?? '')) appSlots.push(slot);
  }
  return { keys, appSlots, layers: layersDiffer, count: keys.size + appSlots.length + (layersDiffer ? 1 : 0) };
}
