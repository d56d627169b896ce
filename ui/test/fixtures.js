// A small keyboard in the form keyboards() gives, for the tests: two layers (types 0 and 1) of
// one row with a key, a gap and a wide key, and two application paths.
export function key(overrides = {}) {
  return {
    action: { macros: [224, 6], type: 1 },
    activeColor: { b: 245, g: 169, r: 63 },
    icon: { id: 1, type: 'builtin' },
    inactiveColor: { b: 56, g: 42, r: 30 },
    orientation: 0,
    size: { x: 1, y: 1 },
    ...overrides,
  };
}

export function keyboard() {
  return {
    appPaths: ['/usr/bin/gimp', '', '/usr/bin/firefox', '', '', '', '', ''],
    id: 'PAD-1',
    layers: [
      { keys: [[key(), null, key({ size: { x: 2, y: 1 }, action: { macros: [1], type: 5 } })]], type: 0 },
      { keys: [[key({ action: { macros: [205], type: 4 } }), null, key({ size: { x: 2, y: 1 }, action: { macros: [2], type: 3 } })]], type: 1 },
    ],
    model: 1,
    name: 'Pad',
  };
}
