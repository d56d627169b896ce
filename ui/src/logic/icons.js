// The keyboard's built-in icons drawn as real glyphs. The glyphs are Lucide's (the "lucide" npm
// package, ISC licence); each id the keyboard service uses maps to one Lucide icon, and only these
// are bundled (each is imported on its own). Custom icons are pictures the keyboard stores; the
// model carries only their number, so they are drawn as a placeholder.
import { t } from '../i18n/index.js';
import Copy from 'lucide/dist/esm/icons/copy.mjs';
import ClipboardPaste from 'lucide/dist/esm/icons/clipboard-paste.mjs';
import Scissors from 'lucide/dist/esm/icons/scissors.mjs';
import Undo2 from 'lucide/dist/esm/icons/undo-2.mjs';
import Redo2 from 'lucide/dist/esm/icons/redo-2.mjs';
import Save from 'lucide/dist/esm/icons/save.mjs';
import CirclePlay from 'lucide/dist/esm/icons/circle-play.mjs';
import SkipForward from 'lucide/dist/esm/icons/skip-forward.mjs';
import SkipBack from 'lucide/dist/esm/icons/skip-back.mjs';
import Volume2 from 'lucide/dist/esm/icons/volume-2.mjs';
import Volume1 from 'lucide/dist/esm/icons/volume-1.mjs';
import VolumeX from 'lucide/dist/esm/icons/volume-x.mjs';
import MicOff from 'lucide/dist/esm/icons/mic-off.mjs';
import Camera from 'lucide/dist/esm/icons/camera.mjs';
import Brush from 'lucide/dist/esm/icons/brush.mjs';
import Eraser from 'lucide/dist/esm/icons/eraser.mjs';
import ZoomIn from 'lucide/dist/esm/icons/zoom-in.mjs';
import ZoomOut from 'lucide/dist/esm/icons/zoom-out.mjs';
import LayersArrowUp from 'lucide/dist/esm/icons/layers-arrow-up.mjs';
import House from 'lucide/dist/esm/icons/house.mjs';
import Lock from 'lucide/dist/esm/icons/lock.mjs';
import Sun from 'lucide/dist/esm/icons/sun.mjs';
import SunDim from 'lucide/dist/esm/icons/sun-dim.mjs';
import CircleDot from 'lucide/dist/esm/icons/circle-dot.mjs';
import Clapperboard from 'lucide/dist/esm/icons/clapperboard.mjs';
import SquareTerminal from 'lucide/dist/esm/icons/square-terminal.mjs';
import Globe from 'lucide/dist/esm/icons/globe.mjs';
import Mail from 'lucide/dist/esm/icons/mail.mjs';
import Calculator from 'lucide/dist/esm/icons/calculator.mjs';

const builtinIcons = new Map([
  [1, { glyph: Copy, label: 'icon.copy', name: 'copy' }],
  [2, { glyph: ClipboardPaste, label: 'icon.paste', name: 'clipboard-paste' }],
  [3, { glyph: Scissors, label: 'icon.cut', name: 'scissors' }],
  [4, { glyph: Undo2, label: 'icon.undo', name: 'undo-2' }],
  [5, { glyph: Redo2, label: 'icon.redo', name: 'redo-2' }],
  [6, { glyph: Save, label: 'icon.save', name: 'save' }],
  [7, { glyph: CirclePlay, label: 'icon.playPause', name: 'circle-play' }],
  [8, { glyph: SkipForward, label: 'icon.nextTrack', name: 'skip-forward' }],
  [9, { glyph: SkipBack, label: 'icon.previousTrack', name: 'skip-back' }],
  [10, { glyph: Volume2, label: 'icon.volumeUp', name: 'volume-2' }],
  [11, { glyph: Volume1, label: 'icon.volumeDown', name: 'volume-1' }],
  [12, { glyph: VolumeX, label: 'icon.mute', name: 'volume-x' }],
  [13, { glyph: MicOff, label: 'icon.micMute', name: 'mic-off' }],
  [14, { glyph: Camera, label: 'icon.screenshot', name: 'camera' }],
  [15, { glyph: Brush, label: 'icon.brush', name: 'brush' }],
  [16, { glyph: Eraser, label: 'icon.eraser', name: 'eraser' }],
  [17, { glyph: ZoomIn, label: 'icon.zoomIn', name: 'zoom-in' }],
  [18, { glyph: ZoomOut, label: 'icon.zoomOut', name: 'zoom-out' }],
  [19, { glyph: LayersArrowUp, label: 'icon.nextLayer', name: 'layers-arrow-up' }],
  [20, { glyph: House, label: 'icon.baseLayer', name: 'house' }],
  [22, { glyph: Lock, label: 'icon.lock', name: 'lock' }],
  [23, { glyph: Sun, label: 'icon.brightnessUp', name: 'sun' }],
  [24, { glyph: SunDim, label: 'icon.brightnessDown', name: 'sun-dim' }],
  [25, { glyph: CircleDot, label: 'icon.record', name: 'circle-dot' }],
  [26, { glyph: Clapperboard, label: 'icon.scene', name: 'clapperboard' }],
  [27, { glyph: SquareTerminal, label: 'icon.terminal', name: 'square-terminal' }],
  [28, { glyph: Globe, label: 'icon.browser', name: 'globe' }],
  [29, { glyph: Mail, label: 'icon.mail', name: 'mail' }],
  [30, { glyph: Calculator, label: 'icon.calculator', name: 'calculator' }],
]);

// [{id, label, name}] in id order: what the icon picker offers.
export function builtinIconList() {
  return [...builtinIcons].map(([id, entry]) => ({ id, label: t(entry.label), name: entry.name }));
}

export function isBuiltinIcon(icon) {
  return icon?.type === 'builtin' && builtinIcons.has(Number(icon.id));
}

// How to draw a key's icon: {kind: 'glyph', glyph, label} for a known built-in icon,
// {kind: 'custom', id} for a picture of the keyboard's own, {kind: 'unknown', type, id} for
// anything else, null for none.
export function iconDrawing(icon) {
  if (!icon) return null;
  if (isBuiltinIcon(icon)) {
    const entry = builtinIcons.get(Number(icon.id));
    return { kind: 'glyph', glyph: entry.glyph, label: t(entry.label), name: entry.name };
  }
  if (icon.type === 'custom') return { kind: 'custom', id: icon.id };
  return { kind: 'unknown', type: String(icon.type ?? ''), id: icon.id };
}

function escapeAttribute(value) {
  return String(value).replace(/&/g, '&amp;').replace(/"/g, '&quot;').replace(/</g, '&lt;');
}

// A Lucide glyph (a list of [element, attributes]) as an SVG picture in `color`, ready for an
// Image source: a data: URI, which the page's content policy allows for images.
export function glyphDataUri(glyph, color) {
  const children = glyph
    .map(([tag, attributes]) => `<${tag} ${Object.entries(attributes).map(([name, value]) => `${name}="${escapeAttribute(value)}"`).join(' ')}/>`)
    .join('');
  const svg = `<svg xmlns="http://www.w3.org/2000/svg" width="24" height="24" viewBox="0 0 24 24" fill="none" stroke="${escapeAttribute(color)}" stroke-width="2" stroke-linecap="round" stroke-linejoin="round">${children}</svg>`;
  return `data:image/svg+xml;charset=utf-8,${encodeURIComponent(svg)}`;
}
