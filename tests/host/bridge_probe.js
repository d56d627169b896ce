// Runs in a frame of the bridge test page and tries to reach the host's
// modules directly, then tells its parent what happened.
(async function () {
  'use strict';
  const result = { hasTessarelNative: typeof globalThis.TessarelNative !== 'undefined' };
  try {
    result.reply = await window.webkit.messageHandlers.tessarel.postMessage(JSON.stringify(
        { kind: 'call', module: 'SettingsJs', method: 'appVersion', args: [] }));
  } catch (error) {
    result.error = String(error && error.message || error);
  }
  parent.postMessage(result, '*');
})();
