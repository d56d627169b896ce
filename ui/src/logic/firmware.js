// The firmware update as the UI follows it. The keyboard service only says that something
// changed ("isFlashingUpdated", "flashingStateUpdated"); the UI then asks isFlashing() and
// flashingState() and feeds the answers here. flashingState is the progress in percent.
//
// phase: 'idle' -> 'starting' (update requested) -> 'flashing' -> 'done' | 'cancelled' |
// 'stopped' | 'failed'; 'cancelling' between a cancel request and the end of flashing.

export const initialFirmwareState = Object.freeze({
  phase: 'idle',
  isFlashing: false,
  progress: 0,
  cancelRequested: false,
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
      return { ...state, phase: 'starting', progress: 0, cancelRequested: false };
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
        const progress = isUpdateActive(state) ? state.progress : 0;
        return { ...state, isFlashing, phase, progress };
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

// The text of the config argument of updateDevice. With a firmware file chosen through
// selectFile, that path is sent; without one, the keyboard's current configuration as JSON
// (the keyboard object as keyboards() gave it), so the service can write it back to the device.
export function updateConfigText(keyboard, selectedFile) {
  if (typeof selectedFile === 'string' && selectedFile.trim() !== '') return selectedFile;
  return JSON.stringify(keyboard ?? null);
}

// Reset and recovery report their state as a number that the keyboard service defines. The
// simulated service uses 0 idle, 1 running, 2 succeeded, 3 failed; other numbers are shown as
// they come.
const operationStates = new Map([
  [0, { label: 'Idle', tone: 'neutral' }],
  [1, { label: 'In progress', tone: 'accent' }],
  [2, { label: 'Succeeded', tone: 'success' }],
  [3, { label: 'Failed', tone: 'danger' }],
]);

export function operationState(value) {
  if (value === null || value === undefined) return { label: 'Unknown', tone: 'neutral' };
  return operationStates.get(Number(value)) ?? { label: `State ${value}`, tone: 'warning' };
}
