// A bundle for the key forwarding test: a page with one focused text field.
// It reports on the console (copied to standard output with --console):
//   "keys-test: ready"                 once the field is shown and focused
//   "keys-test: keyDown <code>"        for each "keyDown" event from KeyBinderJs
//   "keys-test: value <json string>"   each time the field's text changes
(function () {
  'use strict';
  const native = globalThis.TessarelNative;
  const report = (line) => console.log('keys-test: ' + line);
  native.DeviceEventEmitter.addListener('keyDown', (code) => report('keyDown ' + code));
  native.setAppRegistry({
    runApplication(componentName, parameters) {
      const field = document.createElement('input');
      field.addEventListener('input', () => report('value ' + JSON.stringify(field.value)));
      parameters.rootTag.appendChild(field);
      field.focus();
      report('ready focused=' + (document.activeElement === field));
    },
  });
})();
