// Fills the window with one colour, for --screenshot; closes after a while.
(function () {
  'use strict';
  globalThis.TessarelNative.setAppRegistry({
    runApplication(componentName, parameters) {
      parameters.rootTag.style.background = 'rgb(200, 30, 60)';
      setTimeout(() => window.close(), 3000);
    },
  });
})();
