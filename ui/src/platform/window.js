// The window the page is shown in. The host asks the page before the window closes
// (TessarelNative.setCloseRequestHandler, docs/host.md); a page opened without the host closes
// as a browser tab does.

// handler() -> true to let the window close, false to keep it (the page then asks the user).
export function setCloseRequestHandler(handler) {
  globalThis.TessarelNative?.setCloseRequestHandler?.(handler);
  return () => globalThis.TessarelNative?.setCloseRequestHandler?.(null);
}

export function closeWindow() {
  window.close();
}
