// The page of the root view tests. It calls Probe.wait() and hands what it
// got to Probe.report(); it reports every "tick" event the same way.
(function () {
  'use strict';
  const native = globalThis.TessarelNative;
  const probe = native.NativeModules.Probe;
  native.DeviceEventEmitter.addListener('tick', (value) => probe.report({ tick: value }));
  native.setAppRegistry({
    runApplication() {
      probe.wait().then(
          (value) => probe.report({ resolved: value }),
          (error) => probe.report({ rejected: error.message, code: error.code }));
    },
  });
})();
