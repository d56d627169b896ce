// A bundle for the link's end-to-end test. It reports on the console (copied
// to standard output with --console):
//   "link-test: ready"                     when the host runs the application
//   "link-test: event <name> [<arg>]"      for each TessarelJs event
//   "link-test: keyboards <count>"         for each keyboards() answer
//   "link-test: keyboards rejected <text>" for each refusal
// Each "keyboardsUpdated" makes it ask for the keyboards, as the UI does.
(function () {
  'use strict';
  var native = globalThis.TessarelNative;
  function report(line) {
    console.log('link-test: ' + line);
  }
  if (!native) {
    report('error no TessarelNative');
    return;
  }
  function fetchKeyboards() {
    native.NativeModules.TessarelJs.keyboards().then(
      function (list) { report('keyboards ' + list.length); },
      function (error) { report('keyboards rejected ' + error.message); });
  }
  ['keyboardsUpdated', 'keyboardVersionNewer', 'isFlashingUpdated', 'resetFirmwareStateUpdated',
   'recoverDeviceStateUpdated', 'flashingStateUpdated'].forEach(function (name) {
    native.DeviceEventEmitter.addListener(name, function (argument) {
      report('event ' + name + (argument === undefined ? '' : ' ' + argument));
      if (name === 'keyboardsUpdated') fetchKeyboards();
    });
  });
  native.setAppRegistry({
    runApplication: function () {
      report('ready');
      fetchKeyboards();
    },
  });
})();
