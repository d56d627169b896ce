// A bundle for the key forwarding test: a page with a text field, which has
// the focus at first, and a button. Escape is the one key the page itself
// answers (it cancels the key's default): it moves the focus from the field to
// the button, from the button to nothing (the page's body), and back to the
// field. It reports on the console (copied to standard output with --console):
//   "keys-test: ready focused=true"    once the field is shown and focused
//   "keys-test: keyDown <code>"        for each "keyDown" event from KeyBinderJs
//   "keys-test: dom <key> <element>"   for each DOM keydown, with the element it went to
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
      const button = document.createElement('button');
      button.textContent = 'A button';
      const form = document.createElement('div');
      form.style.cssText = 'display: flex; gap: 8px; align-items: center; margin: 16px';
      form.append(field, button);
      parameters.rootTag.append(form);
      const name = (element) =>
        element === field ? 'field' : element === button ? 'button' : 'body';
      document.addEventListener(
        'keydown',
        (event) => {
          report('dom ' + event.key + ' ' + name(event.target));
          if (event.key !== 'Escape') return;
          event.preventDefault();
          const focused = document.activeElement;
          if (focused === field) button.focus();
          else if (focused === button) button.blur();
          else field.focus();
        },
        true,
      );
      field.focus();
      report('ready focused=' + (document.activeElement === field));
    },
  });
})();
