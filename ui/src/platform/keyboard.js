// The page's own key handling, for what "keyDown" (the host's HID usages) cannot say: whether
// Ctrl was held. A React Native build would use its platform's key events here.

// Calls onUndo for Ctrl+Z and onRedo for Ctrl+Shift+Z (and Ctrl+Y); returns the unsubscribe.
export function listenForUndoKeys({ onUndo, onRedo }) {
  const handler = (event) => {
    if (!event.ctrlKey || event.altKey || event.metaKey) return;
    const key = String(event.key).toLowerCase();
    if (key === 'z' && !event.shiftKey) onUndo();
    else if ((key === 'z' && event.shiftKey) || key === 'y') onRedo();
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  // On the document: keys held for a recording (on the window, which comes first) never get here.
  document.addEventListener('keydown', handler, true);
  return () => document.removeEventListener('keydown', handler, true);
}

// While a shortcut is being recorded, no key may act on the page (type into a field, press the
// focused button, undo): they all go to the recording. Returns the function that ends this.
export function holdPageKeys() {
  const swallow = (event) => {
    event.preventDefault();
    event.stopPropagation();
  };
  window.addEventListener('keydown', swallow, true);
  window.addEventListener('keypress', swallow, true);
  return () => {
    window.removeEventListener('keydown', swallow, true);
    window.removeEventListener('keypress', swallow, true);
  };
}
