// Asks for the application version and reports the outcome:
// "version-test: <JSON>". Closes the window afterwards.
(function () {
  'use strict';
  const native = globalThis.TessarelNative;
  native.setAppRegistry({
    runApplication() {
      native.NativeModules.SettingsJs.appVersion().then(
          (version) => console.log('version-test: ' + JSON.stringify({ resolved: version })),
          (error) => console.log('version-test: ' + JSON.stringify({ rejected: error.message })))
          .finally(() => setTimeout(() => window.close(), 200));
    },
  });
})();
