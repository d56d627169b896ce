// The page of the script bridge benchmark. The benchmark program calls
// __bench.module(n) and __bench.echo(n); each awaits n round trips one after
// another and returns the milliseconds they took, measured in the page.
(function () {
  'use strict';
  const native = globalThis.TessarelNative;
  // The echo carries a text as long as a module call's message.
  const payload = JSON.stringify({
    token: '0'.repeat(32),
    kind: 'call',
    module: 'SettingsJs',
    method: 'appVersion',
    args: [],
  });
  globalThis.__bench = {
    async module(count) {
      const settings = native.NativeModules.SettingsJs;
      const start = performance.now();
      for (let i = 0; i < count; ++i) await settings.appVersion();
      return performance.now() - start;
    },
    async echo(count) {
      const channel = window.webkit.messageHandlers.echo;
      const start = performance.now();
      for (let i = 0; i < count; ++i) await channel.postMessage(payload);
      return performance.now() - start;
    },
  };
  native.setAppRegistry({
    runApplication(componentName, parameters) {
      parameters.rootTag.textContent = 'Script bridge benchmark';
    },
  });
})();
