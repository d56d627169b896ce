// A small page for the window tests. It fills the window with one colour
// (for --screenshot), reports what its persistent storage held at start and
// stores a value for the next run, and asks for the application version:
// "page-test: storage <JSON>", "page-test: version <JSON>". It closes after a
// while; WebKit writes web storage to disk shortly after a change.
(function () {
  'use strict';
  const native = globalThis.TessarelNative;
  native.setAppRegistry({
    runApplication(componentName, parameters) {
      parameters.rootTag.style.background = 'rgb(200, 30, 60)';
      console.log('page-test: storage ' + JSON.stringify(localStorage.getItem('tessarel-test')));
      localStorage.setItem('tessarel-test', 'kept across runs');
      native.NativeModules.SettingsJs.appVersion().then(
          (version) => console.log('page-test: version ' + JSON.stringify(version)));
      setTimeout(() => window.close(), 3000);
    },
  });
})();
