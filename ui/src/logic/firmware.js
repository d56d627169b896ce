import { t } from '../i18n/index.js';

// The firmware update as the UI follows it. The keyboard service only says that something
// changed ("isFlashingUpdated", "flashingStateUpdated"); the UI then asks isFlashing() and
// flashingState() and feeds the answers here. flashingState is the progress in percent.
//
// phase: 'idle' -> 'starting' (update requested) -> 'flashing' -> 'done' | 'cancelled' |
// 'stopped' | 'failed'; 'cancelling' between a cancel request and the end of flashing.
//
// The notifications name no keyboard, so the update remembers the keyboard it was started for
// (keyboardId) and what it writes (purpose: 'firmware' or 'configuration'); only that keyboard's
// page shows it (updateFor). An update the page did not start has no keyboard.

export const initialFirmwareState = Object.freeze({
  phase: 'idle',
  isFlashing: false,
  progress: 0,
  cancelRequested: false,
  keyboardId: null,
  purpose: null,
});

export function percentFromFlashingState(value) {
  const number = Number(value);
  if (!Number.isFinite(number)) return 0;
  return Math.min(100, Math.max(0, number));
}

const activePhases = new Set(['starting', 'flashing', 'cancelling']);

export function isUpdateActive(state) {
  return activePhases.has(state.phase);
}

function endPhase(state) {
  if (state.progress >= 100) return 'done';
  if (state.cancelRequested) return 'cancelled';
  return 'stopped';
}

export function firmwareReducer(state, action) {
  switch (action.type) {
    case 'updateRequested':
      return { ...state, phase: 'starting', progress: 0, cancelRequested: false, keyboardId: action.keyboardId ?? null, purpose: action.purpose ?? 'firmware' };
    case 'updateAnswered':
      // updateDevice resolved: false means the keyboard service did not take the update.
      if (action.accepted === false && !state.isFlashing && state.phase === 'starting') {
        return { ...state, phase: 'failed' };
      }
      return state;
    case 'updateRejected':
      return state.isFlashing ? state : { ...state, phase: 'failed' };
    case 'isFlashing': {
      const isFlashing = Boolean(action.value);
      if (isFlashing) {
        const phase = state.cancelRequested ? 'cancelling' : 'flashing';
        if (isUpdateActive(state)) return { ...state, isFlashing, phase };
        // Flashing that this page did not start belongs to no keyboard.
        return { ...state, isFlashing, phase, progress: 0, keyboardId: null, purpose: null };
      }
      if (state.isFlashing || isUpdateActive(state)) {
        // Not flashing yet right after our request is not an end, unless it already finished.
        if (state.phase === 'starting' && !state.isFlashing && state.progress < 100) return state;
        return { ...state, isFlashing, phase: endPhase(state) };
      }
      return { ...state, isFlashing };
    }
    case 'flashingState':
      // Progress alone never starts or ends an update; isFlashing does.
      return { ...state, progress: percentFromFlashingState(action.value) };
    case 'cancelRequested':
      return isUpdateActive(state) ? { ...state, cancelRequested: true, phase: 'cancelling' } : state;
    case 'dismissed':
      return isUpdateActive(state) ? state : { ...initialFirmwareState, isFlashing: state.isFlashing };
    default:
      return state;
  }
}

// The update as the page of `keyboardId` shows it: its own, or nothing of its own with
// `elsewhere` set while an update runs that belongs to another keyboard (or to none).
export function updateFor(state, keyboardId) {
  if (state.keyboardId !== null && state.keyboardId === keyboardId) return { ...state, elsewhere: false };
  return { ...initialFirmwareState, elsewhere: state.isFlashing || isUpdateActive(state), elsewhereId: state.keyboardId };
}

// Reset and recovery states belong to the keyboard they were started on; `owners` holds its id
// per operation. Other keyboards see no state (null).
export function operationsFor(states, owners, keyboardId) {
  return {
    reset: owners.reset === keyboardId ? states.reset : null,
    recover: owners.recover === keyboardId ? states.recover : null,
  };
}

// Reset and recovery report their state as a number that the keyboard service defines. The
// simulated service uses 0 idle, 1 running, 2 succeeded, 3 failed; other numbers are shown as
// they come.
const operationStates = new Map([
  [0, { label: 'operation.idle', tone: 'neutral' }],
  [1, { label: 'operation.running', tone: 'accent' }],
  [2, { label: 'operation.succeeded', tone: 'success' }],
  [3, { label: 'operation.failed', tone: 'danger' }],
]);

export function operationState(value) {
  if (value === null || value === undefined) return { label: t('operation.unknown'), tone: 'neutral' };
  const known = operationStates.get(Number(value));
  return known ? { label: t(known.label), tone: known.tone } : { label: t('operation.other', { value }), tone: 'warning' };
}
