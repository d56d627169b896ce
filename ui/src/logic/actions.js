// What a key does, by name: the action types of the keyboard service and what each one's macros
// mean, written as a person reads them ("Ctrl + C", "Play/Pause", the application's path, the
// layer's name).
import { t } from '../i18n/index.js';
import { combinationText } from './hid.js';
import { mediaKeyName } from './media.js';

export const ActionType = Object.freeze({
  none: 0,
  keyCombination: 1,
  textMacros: 2,
  startApplication: 3,
  mediaKey: 4,
  switchLayer: 5,
});

export const actionTypes = [0, 1, 2, 3, 4, 5];

export const appSlotCount = 8;

export function actionTypeName(type) {
  return actionTypes.includes(type) ? t(`action.type.${type}`) : t('action.type.unknown', { type });
}

// Layer types: 0 the base layer, 1 the one held with Fn, others by number.
export function layerName(type) {
  if (type === 0) return t('layer.base');
  if (type === 1) return t('layer.function');
  return t('layer.numbered', { type });
}

function macroList(action) {
  return Array.isArray(action?.macros) ? action.macros : [];
}

// One line saying what the key does.
export function describeAction(action, keyboard) {
  const macros = macroList(action);
  const shown = (value) => (value === null || value === undefined ? '?' : value);
  switch (action?.type) {
    case ActionType.none:
      return t('action.describe.none');
    case ActionType.keyCombination:
      return macros.length === 0 ? t('action.describe.noKeys') : combinationText(macros);
    case ActionType.textMacros:
      return macros.length === 0
        ? t('action.describe.noText')
        : t('action.describe.text', { count: macros.length, slots: macros.map(shown).join(', ') });
    case ActionType.startApplication: {
      const slot = macros[0];
      if (!Number.isInteger(slot)) return t('action.describe.noApp');
      const path = keyboard?.appPaths?.[slot];
      return path ? path : t('action.describe.emptyApp', { number: slot + 1 });
    }
    case ActionType.mediaKey:
      return macros.length === 0 ? t('action.describe.noMedia') : macros.map(mediaKeyName).join(' + ');
    case ActionType.switchLayer:
      return Number.isInteger(macros[0]) ? t('action.describe.layer', { name: layerName(macros[0]) }) : t('action.describe.noLayer');
    default:
      return t('action.describe.unknown', { type: shown(action?.type), macros: macros.map(shown).join(' ') });
  }
}

// The macros a newly chosen action type starts with: the ones it had if the type stays, else
// what the type needs (the first set application, the base layer) or nothing.
export function macrosForType(type, keyboard, previous) {
  if (previous?.type === type) return macroList(previous);
  if (type === ActionType.startApplication) {
    const slot = (keyboard?.appPaths ?? []).findIndex((path) => path);
    return [slot >= 0 ? slot : 0];
  }
  if (type === ActionType.switchLayer) {
    const first = (keyboard?.layers ?? []).find(Boolean);
    return [first?.type ?? 0];
  }
  return [];
}

// A few words for the drawn key: the combination, the media key, the program's file name, the
// layer; empty for a key that does nothing.
export function actionCaption(action, keyboard) {
  const macros = macroList(action);
  if (action?.type === ActionType.none) return '';
  if (action?.type === ActionType.startApplication) {
    const path = keyboard?.appPaths?.[macros[0]];
    return path ? path.split('/').pop() || path : t('action.caption.noApp');
  }
  if (action?.type === ActionType.switchLayer && Number.isInteger(macros[0])) return layerName(macros[0]);
  if (action?.type === ActionType.textMacros) return t('action.caption.text');
  return describeAction(action, keyboard);
}
