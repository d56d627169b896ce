// Media keys: USB HID Consumer page usage codes, the macros of a "media key" action.
import { t } from '../i18n/index.js';

const mediaKeys = [
  [205, 'media.playPause'],
  [176, 'media.play'],
  [177, 'media.pause'],
  [183, 'media.stop'],
  [181, 'media.next'],
  [182, 'media.previous'],
  [179, 'media.fastForward'],
  [180, 'media.rewind'],
  [178, 'media.record'],
  [184, 'media.eject'],
  [226, 'media.mute'],
  [233, 'media.volumeUp'],
  [234, 'media.volumeDown'],
  [111, 'media.brightnessUp'],
  [112, 'media.brightnessDown'],
  [402, 'media.calculator'],
  [394, 'media.mail'],
  [406, 'media.browser'],
  [404, 'media.files'],
  [387, 'media.player'],
  [414, 'media.lock'],
  [545, 'media.search'],
  [547, 'media.home'],
  [548, 'media.back'],
  [549, 'media.forward'],
  [551, 'media.refresh'],
  [554, 'media.bookmarks'],
  [48, 'media.power'],
  [50, 'media.sleep'],
];

const names = new Map(mediaKeys);

export const firstConsumerUsage = 1;
export const lastConsumerUsage = 0xffff;

// 205 -> "Play/Pause"; an unknown code -> "Media key 0x1AB".
export function mediaKeyName(code) {
  if (code === null || code === undefined) return '?';
  const key = names.get(code);
  if (key) return t(key);
  const hex = Number.isInteger(code) ? code.toString(16).toUpperCase().padStart(2, '0') : String(code);
  return t('media.unknown', { code: `0x${hex}` });
}

// The list the editor offers, in the order above (play controls, volume, then the rest).
export function mediaUsages() {
  return mediaKeys.map(([code]) => ({ code, name: mediaKeyName(code) }));
}
