// The selected keyboard's staged configuration: edits made in the editor, undo and redo (also
// Ctrl+Z and Ctrl+Shift+Z), and writing the edited keyboard with one updateDevice. A write ends
// when the update has ended and the keyboard has been read again; it has succeeded when the
// keyboard then holds what was written.
import { useCallback, useEffect, useMemo, useReducer, useRef, useState } from 'react';
import { t } from './i18n/index.js';
import { applyOps, emptyStaging, sameValue, stagedDifferences, stagingReducer } from './logic/staging.js';
import { validateKeyboard } from './logic/validation.js';
import { listenForUndoKeys } from './platform/keyboard.js';

// What the keyboard is expected to hold after a write: a macro entry the script could not read
// (null) is not written.
function writtenForm(keyboard) {
  return {
    appPaths: keyboard.appPaths,
    layers: keyboard.layers.map((layer) =>
      layer ? { ...layer, keys: layer.keys.map((row) => row.map((key) => (key ? { ...key, action: { ...key.action, macros: key.action.macros.filter((macro) => macro !== null) } } : key))) } : layer,
    ),
  };
}

export function useStaging(keyboard, { firmware, keyboardsRevision, actions }) {
  const [staging, dispatch] = useReducer(stagingReducer, emptyStaging);
  // {keyboardId, written, phase: 'writing' | 'reading' | 'succeeded' | 'failed', message, revision}
  const [write, setWrite] = useState(null);
  const keyboardId = keyboard?.id ?? null;
  const current = useMemo(() => applyOps(keyboard, staging.ops), [keyboard, staging.ops]);
  const differences = useMemo(() => stagedDifferences(keyboard, current), [keyboard, current]);
  const problems = useMemo(() => (current ? validateKeyboard(current) : []), [current]);
  const writing = write?.keyboardId === keyboardId && (write.phase === 'writing' || write.phase === 'reading');

  // Another keyboard starts with nothing staged (the App asks before switching away from edits).
  const shownFor = useRef(keyboardId);
  useEffect(() => {
    if (shownFor.current === keyboardId) return;
    shownFor.current = keyboardId;
    dispatch({ type: 'discard' });
  }, [keyboardId]);

  const edit = useCallback((op, coalesce) => dispatch({ type: 'edit', op, coalesce }), []);
  const undo = useCallback(() => dispatch({ type: 'undo' }), []);
  const redo = useCallback(() => dispatch({ type: 'redo' }), []);
  const discard = useCallback(() => dispatch({ type: 'discard' }), []);

  const locked = useRef(false);
  locked.current = writing;
  useEffect(
    () =>
      listenForUndoKeys({
        onUndo: () => !locked.current && undo(),
        onRedo: () => !locked.current && redo(),
      }),
    [undo, redo],
  );

  const writeToKeyboard = useCallback(async () => {
    if (!current || locked.current) return;
    const written = writtenForm(current);
    setWrite({ keyboardId: current.id, written, phase: 'writing', message: '', revision: null });
    const accepted = await actions.updateDevice(current.id, JSON.stringify(current), 'configuration');
    if (!accepted) setWrite((state) => (state?.written === written ? { ...state, phase: 'failed', message: t('write.declined') } : state));
  }, [current, actions]);

  // The update's end decides: complete -> read the keyboard again; anything else -> failed.
  useEffect(() => {
    if (write?.phase !== 'writing' || firmware.keyboardId !== write.keyboardId || firmware.purpose !== 'configuration') return;
    const endings = { done: null, cancelled: 'write.cancelled', stopped: 'write.stopped', failed: 'write.notStarted' };
    if (!(firmware.phase in endings)) return;
    if (firmware.phase === 'done') {
      setWrite({ ...write, phase: 'reading', revision: keyboardsRevision });
      actions.refreshKeyboards();
    } else {
      setWrite({ ...write, phase: 'failed', message: t(endings[firmware.phase]) });
    }
  }, [firmware.phase, firmware.keyboardId, firmware.purpose, write, keyboardsRevision, actions]);

  // Read again: the write succeeded if the keyboard holds what was written.
  useEffect(() => {
    if (write?.phase !== 'reading' || keyboardsRevision === write.revision || keyboard?.id !== write.keyboardId) return;
    if (sameValue(writtenForm(keyboard), write.written)) {
      dispatch({ type: 'discard' });
      setWrite({ ...write, phase: 'succeeded', message: '' });
    } else {
      setWrite({ ...write, phase: 'failed', message: t('write.different') });
    }
  }, [write, keyboard, keyboardsRevision]);

  return {
    current,
    differences,
    problems,
    canUndo: staging.ops.length > 0,
    canRedo: staging.redo.length > 0,
    edit,
    undo,
    redo,
    discard,
    write: write?.keyboardId === keyboardId ? write : null,
    writing,
    writeToKeyboard,
    dismissWrite: () => setWrite(null),
  };
}
