// Two simulated keyboards for the dev page, in the shape that TessarelJs.keyboards() gives.

function color(r, g, b) {
  return { r, g, b };
}

function key({ w = 1, h = 1, icon = null, face = color(60, 64, 72), accent = color(80, 140, 255), action = 1, macros = [], orientation = 0 }) {
  return {
    action: { macros, type: action },
    activeColor: accent,
    icon,
    inactiveColor: face,
    orientation,
    size: { x: w, y: h },
  };
}

const palette = [
  color(239, 71, 111),
  color(255, 209, 102),
  color(6, 214, 160),
  color(17, 138, 178),
  color(131, 56, 236),
  color(255, 127, 80),
];

// Built-in icon ids with an action that fits each: [icon, action type, macros].
const padKeys = [
  [1, 1, [224, 6]], [2, 1, [224, 25]], [3, 1, [224, 27]], [4, 1, [224, 29]],
  [5, 1, [224, 225, 29]], [6, 1, [224, 22]], [7, 4, [205]], [8, 4, [181]],
  [10, 4, [233]], [11, 4, [234]], [27, 3, [3]], [28, 3, [0]],
];

function padLayer(type, faceBase) {
  const keys = [];
  for (let y = 0; y < 3; y += 1) {
    const row = [];
    for (let x = 0; x < 4; x += 1) {
      const index = y * 4 + x;
      const [icon, action, macros] = padKeys[(index + type * 4) % padKeys.length];
      row.push(key({ icon: { id: icon, type: 'builtin' }, face: faceBase, accent: palette[(index + type) % palette.length], action, macros }));
    }
    keys.push(row);
  }
  // A wide key on the last row: switches to the next layer; and a text macro key.
  keys.push([
    key({ w: 2, icon: { id: 19, type: 'builtin' }, face: faceBase, accent: palette[type], action: 5, macros: [(type + 1) % 3] }),
    key({ w: 2, icon: { id: 1001 + type, type: 'custom' }, face: faceBase, accent: palette[type + 1], action: 2, macros: [7, 8] }),
  ]);
  return { keys, type };
}

function deckLayer(type) {
  const dark = color(40, 43, 50);
  const light = color(226, 229, 235);
  const row = (count, options = () => ({})) => Array.from({ length: count }, (_, x) => key(options(x)));
  return {
    type,
    keys: [
      row(6, (x) => ({ face: light, accent: palette[x], icon: { id: x + 15, type: 'builtin' }, macros: [224, 4 + x] })),
      [key({ w: 2, face: dark, accent: palette[3], icon: { id: 26, type: 'builtin' }, macros: [224, 226, 30] }), null, ...row(3, (x) => ({ face: dark, accent: palette[x + 2], icon: { id: 8 + x, type: 'builtin' }, action: 4, macros: [181 + x] }))],
      [key({ h: 2, face: color(17, 138, 178), accent: color(255, 255, 255), orientation: 1, macros: [40] }), ...row(5, (x) => ({ face: light, accent: palette[(x + type) % 6], icon: x % 2 ? { id: 1003 + x, type: 'custom' } : null, action: x % 2 ? 3 : 1, macros: x % 2 ? [x] : x === 2 ? [null, 5] : [44] }))],
      [...row(4, (x) => ({ face: light, accent: palette[x], icon: { id: 22 + x, type: 'builtin' }, macros: [227, 15] })), key({ w: 1, face: color(239, 71, 111), accent: color(255, 255, 255), icon: { id: 12, type: 'builtin' }, action: 4, macros: [226] })],
    ],
  };
}

export function makeMockKeyboards() {
  return [
    {
      appPaths: ['/usr/bin/firefox', '/usr/bin/gimp', '/usr/bin/inkscape', '/usr/bin/code', '', '/usr/bin/obs', '', ''],
      id: 'TP12-4F2A',
      layers: [padLayer(0, color(52, 56, 64)), padLayer(1, color(34, 37, 44)), padLayer(2, color(70, 50, 90))],
      model: 1,
      name: 'Tessarel Pad 12',
    },
    {
      appPaths: ['/usr/bin/blender', '/usr/bin/krita', '', '/usr/bin/darktable', '/usr/bin/audacity', '', '/usr/bin/kdenlive', '/usr/bin/thunderbird'],
      id: 'TD24-91C0',
      layers: [deckLayer(0), deckLayer(1)],
      model: 2,
      name: 'Tessarel Deck 24',
    },
  ];
}
