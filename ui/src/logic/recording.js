// Recording a key combination from key presses ("keyDown" HID usages): modifiers (224 to 231)
// are collected while they are pressed; the first other key ends the combination; Escape
// cancels. Modifiers come first, in their usage order (Ctrl, Shift, Alt, Super, then the right
// ones), so Ctrl+Shift+K is [224, 225, 14] whichever modifier went down first.
import { escapeUsage, isModifier } from './hid.js';

export const idleRecording = Object.freeze({ active: false, modifiers: [] });
export const startedRecording = Object.freeze({ active: true, modifiers: [] });

// Returns {state, result}: result is null while recording goes on, {cancelled: true}, or
// {macros: [...]} once a combination is complete.
export function recordKey(state, code) {
  if (!state.active) return { state, result: null };
  if (code === escapeUsage) return { state: idleRecording, result: { cancelled: true } };
  if (!Number.isInteger(code) || code <= 0) return { state, result: null }; // a key with no usage
  if (isModifier(code)) {
    if (state.modifiers.includes(code)) return { state, result: null }; // held: key repeat
    return { state: { ...state, modifiers: [...state.modifiers, code].sort((a, b) => a - b) }, result: null };
  }
  return { state: idleRecording, result: { macros: [...state.modifiers, code] } };
}

// Ends a recording that holds modifiers only (a combination of modifiers, or none).
export function finishRecording(state) {
  return { state: idleRecording, result: state.active && state.modifiers.length > 0 ? { macros: [...state.modifiers] } : { cancelled: true } };
}
