// The page of the root view tests. Every Probe.call() it makes is followed by
// another with what that call settled to; it makes one at start and one with
// every "tick" event.
(function () {
  'use strict';
  const native = globalThis.TessarelNative;
  function call(value) {
    native.NativeModules.Probe.call(value).then((result) => call({ resolved: result }),
                                                (error) => call({ rejected: error.message }));
  }
  native.DeviceEventEmitter.addListener('tick', (value) => call({ tick: value }));
  native.setAppRegistry({
    runApplication() {
      call();
    },
  });
})();
