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

function padLayer(type, faceBase) {
  const keys = [];
  for (let y = 0; y < 3; y += 1) {
    const row = [];
    for (let x = 0; x < 4; x += 1) {
      const index = y * 4 + x;
      row.push(
        key({
          icon: { id: index + 1 + type * 20, type: ['app', 'media', 'macro'][type % 3] },
          face: faceBase,
          accent: palette[(index + type) % palette.length],
          action: (index % 3) + 1,
          macros: [index + 100 * (type + 1)],
        }),
      );
    }
    keys.push(row);
  }
  // A wide key on the last row.
  keys.push([key({ w: 2, icon: { id: 90 + type, type: 'text' }, face: faceBase, accent: palette[type] }), key({ w: 2, icon: null, face: faceBase, accent: palette[type + 1], macros: [7, 8] })]);
  return { keys, type };
}

function deckLayer(type) {
  const dark = color(40, 43, 50);
  const light = color(226, 229, 235);
  const row = (count, options = () => ({})) => Array.from({ length: count }, (_, x) => key(options(x)));
  return {
    type,
    keys: [
      row(6, (x) => ({ face: light, accent: palette[x], icon: { id: x + 1, type: 'app' }, macros: [x] })),
      [key({ w: 2, face: dark, accent: palette[3], icon: { id: 30, type: 'macro' }, macros: [1, 2, 3] }), null, ...row(3, (x) => ({ face: dark, accent: palette[x + 2], icon: { id: 31 + x, type: 'media' }, action: 2 }))],
      [key({ h: 2, face: color(17, 138, 178), accent: color(255, 255, 255), icon: { id: 40, type: 'text' }, orientation: 1 }), ...row(5, (x) => ({ face: light, accent: palette[(x + type) % 6], icon: x % 2 ? { id: 41 + x, type: 'app' } : null, macros: x === 2 ? [null, 5] : [] }))],
      [...row(4, (x) => ({ face: light, accent: palette[x], icon: { id: 50 + x, type: 'macro' } })), key({ w: 1, face: color(239, 71, 111), accent: color(255, 255, 255), icon: { id: 99, type: 'power' }, action: 4 })],
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
