// Runs in a sandboxed frame of the bridge test page: a document of an opaque
// origin that tries to reach the host's modules and reports to its parent.
(async function () {
  'use strict';
  const result = {
    probe: true,
    origin: self.origin,
    hasTessarelNative: typeof globalThis.TessarelNative !== 'undefined',
    hasHandler: Boolean(window.webkit && window.webkit.messageHandlers &&
                        window.webkit.messageHandlers.tessarel),
  };
  if (result.hasHandler) {
    try {
      result.reply = await window.webkit.messageHandlers.tessarel.postMessage(JSON.stringify(
          { kind: 'call', module: 'SettingsJs', method: 'appVersion', args: [] }));
    } catch (error) {
      result.error = String(error && error.message || error);
    }
  }
  parent.postMessage(result, '*');
})();
