// Whether an edited keyboard can be written: the rules the keyboard itself applies to a
// configuration (application paths empty or absolute, actions it can carry out), checked before
// anything is sent so that each problem can be named where it is.
import { t } from '../i18n/index.js';
import { ActionType, appSlotCount } from './actions.js';
import { lastKeyboardUsage } from './hid.js';
import { firstConsumerUsage, lastConsumerUsage } from './media.js';
import { keyId } from './staging.js';

// Places as people count them, from 1: "layer 2, row 1, key 3", "application 4".
export function keyPlace(layerIndex, y, x) {
  return t('place.key', { layer: layerIndex + 1, row: y + 1, key: x + 1 });
}

export function appPlace(slot) {
  return t('place.app', { number: slot + 1 });
}

// Empty, or a path from the root: "/usr/bin/gimp". No control characters.
export function isValidAppPath(path) {
  if (path === '') return true;
  return typeof path === 'string' && path.length > 1 && path.startsWith('/') && !/[\u0000-\u001f\u007f]/.test(path);
}

function isWhole(value, min, max) {
  return Number.isInteger(value) && value >= min && value <= max;
}

// The problem with an action's macros, or null.
function actionProblem(action, keyboard, layerTypes) {
  const macros = Array.isArray(action?.macros) ? action.macros : null;
  if (!Number.isInteger(action?.type) || action.type < 0 || action.type > ActionType.switchLayer) return t('problem.actionType');
  if (!macros) return t('problem.macrosList');
  switch (action.type) {
    case ActionType.keyCombination:
      return macros.every((code) => isWhole(code, 0, lastKeyboardUsage)) ? null : t('problem.keyUsage');
    case ActionType.mediaKey:
      return macros.every((code) => isWhole(code, firstConsumerUsage, lastConsumerUsage)) ? null : t('problem.mediaUsage');
    case ActionType.textMacros:
      return macros.every((slot) => isWhole(slot, 0, 0xffffffff)) ? null : t('problem.textSlot');
    case ActionType.startApplication: {
      if (macros.length !== 1 || !isWhole(macros[0], 0, appSlotCount - 1)) return t('problem.appSlot');
      return keyboard.appPaths?.[macros[0]] ? null : t('problem.appEmpty', { number: macros[0] + 1 });
    }
    case ActionType.switchLayer:
      if (macros.length !== 1) return t('problem.layerOne');
      return layerTypes.has(macros[0]) ? null : t('problem.layerMissing', { type: macros[0] });
    default:
      return null;
  }
}

// [{where, message, slot?, key?}] in the order of the keyboard; empty when it can be written.
export function validateKeyboard(keyboard) {
  const problems = [];
  (keyboard?.appPaths ?? []).forEach((path, slot) => {
    if (!isValidAppPath(path)) problems.push({ where: appPlace(slot), message: t('problem.appPath'), slot });
  });
  const layers = keyboard?.layers ?? [];
  const layerTypes = new Set();
  layers.forEach((layer, index) => {
    if (!layer) return;
    if (layerTypes.has(layer.type)) problems.push({ where: t('place.layer', { layer: index + 1 }), message: t('problem.layerTypeTwice', { type: layer.type }) });
    layerTypes.add(layer.type);
  });
  layers.forEach((layer, index) =>
    (layer?.keys ?? []).forEach((row, y) =>
      (row ?? []).forEach((key, x) => {
        if (!key) return;
        const message = actionProblem(key.action, keyboard, layerTypes);
        if (message) problems.push({ where: keyPlace(index, y, x), message, key: keyId(index, x, y) });
      }),
    ),
  );
  return problems;
}

export function problemText(problem) {
  return `${problem.where}: ${problem.message}`;
}
