// A bundle for the link's end-to-end test. It reports on the console (copied
// to standard output with --console): "link-test: ready" when the host runs
// the application, "link-test: event <name> [<arg>]" for each TessarelJs
// event, and "link-test: keyboards <count>" or "... keyboards rejected <text>"
// for each keyboards() answer. Each "keyboardsUpdated" asks for the keyboards,
// as the UI does.
(function () {
  'use strict';
  var native = globalThis.TessarelNative;
  function report(line) { console.log('link-test: ' + line); }
  if (!native) return report('error no TessarelNative');
  function fetchKeyboards() {
    native.NativeModules.TessarelJs.keyboards().then(
      function (list) { report('keyboards ' + list.length); },
      function (error) { report('keyboards rejected ' + error.message); });
  }
  ['keyboardsUpdated', 'keyboardVersionNewer', 'flashingStateUpdated'].forEach(function (name) {
    native.DeviceEventEmitter.addListener(name, function (argument) {
      report('event ' + name + (argument === undefined ? '' : ' ' + argument));
      if (name === 'keyboardsUpdated') fetchKeyboards();
    });
  });
  native.setAppRegistry({
    runApplication: function () { report('ready'); fetchKeyboards(); },
  });
})();
