// A bundle for the key forwarding test: a page with one focused text field.
// It reports on the console (copied to standard output with --console):
//   "keys-test: ready"                 once the field is shown and focused
//   "keys-test: keyDown <code>"        for each "keyDown" event from KeyBinderJs
//   "keys-test: value <json string>"   each time the field's text changes
// It follows the host's script bridge: it listens through TessarelNative's
// DeviceEventEmitter and renders when the host calls runApplication.
(function () {
  'use strict';
  var native = globalThis.TessarelNative;
  function report(line) {
    console.log('keys-test: ' + line);
  }
  if (!native) {
    report('error no TessarelNative');
    return;
  }
  native.DeviceEventEmitter.addListener('keyDown', function (code) {
    report('keyDown ' + code);
  });
  native.setAppRegistry({
    runApplication: function (componentName, parameters) {
      var root = parameters.rootTag;
      var field = document.createElement('input');
      field.type = 'text';
      field.setAttribute('aria-label', 'Typed keys');
      field.style.cssText = 'font-size: 32px; width: 90%; margin: 24px;';
      field.addEventListener('input', function () {
        report('value ' + JSON.stringify(field.value));
      });
      root.appendChild(field);
      field.focus();
      report('ready ' + componentName + ' focused=' + (document.activeElement === field));
    },
  });
})();
