// Reports what the page's persistent storage held at start, then stores a
// value for the next run: "storage-test: before <JSON>".
(function () {
  'use strict';
  globalThis.TessarelNative.setAppRegistry({
    runApplication() {
      const before = window.localStorage.getItem('tessarel-test');
      window.localStorage.setItem('tessarel-test', 'kept across runs');
      console.log('storage-test: before ' + JSON.stringify(before));
      // WebKit writes web storage to disk shortly after a change.
      setTimeout(() => window.close(), 1500);
    },
  });
})();
