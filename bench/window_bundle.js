// A bundle for bench/window_bench.sh. It draws the keyboards that the
// companion reports, the first time it can, and marks two moments on the
// console (copied to standard output with --console):
//   "window-bench: keyboards drawn <keyboard count> <key count>"
//       after the first frame that shows the keyboards has been painted
//   "window-bench: keyDown <code> <Date.now()> <ms since the DOM keydown>"
//       for each "keyDown" from KeyBinderJs
//   "window-bench: stage <name> <Date.now()>"
//       on the way there: bundle running, runApplication called, first
//       "keyboardsUpdated", keyboards() answered
(function () {
  'use strict';
  var native = globalThis.TessarelNative;
  function mark(line) {
    console.log('window-bench: ' + line);
  }
  var stagesSeen = {};
  function stage(name) {
    if (stagesSeen[name]) return;
    stagesSeen[name] = true;
    mark('stage ' + name + ' ' + Date.now());
  }
  stage('bundle-running');
  var root = null;
  var drawn = false;
  var lastDomKeyDown = 0;

  function countKeys(keyboard) {
    var keys = 0;
    (keyboard.layers || []).forEach(function (layer) {
      (layer.rows || layer.keys || []).forEach(function (row) {
        keys += Array.isArray(row) ? row.length : 1;
      });
    });
    return keys;
  }

  function draw(keyboards) {
    if (drawn || !root || !Array.isArray(keyboards) || keyboards.length === 0) return;
    drawn = true;
    var keyCount = 0;
    keyboards.forEach(function (keyboard) {
      var box = document.createElement('section');
      box.textContent = String(keyboard.name || keyboard.id || 'keyboard');
      root.appendChild(box);
      keyCount += countKeys(keyboard);
    });
    // Two frames: the first paints the new content, the second starts after it.
    requestAnimationFrame(function () {
      requestAnimationFrame(function () {
        mark('keyboards drawn ' + keyboards.length + ' ' + keyCount + ' ' + Date.now());
      });
    });
  }

  function load() {
    native.NativeModules.TessarelJs.keyboards().then(function (keyboards) {
      if (Array.isArray(keyboards) && keyboards.length > 0) stage('keyboards-answered');
      draw(keyboards);
    }, function () {});
  }

  native.DeviceEventEmitter.addListener('keyboardsUpdated', function () {
    stage('keyboards-updated');
    load();
  });
  native.DeviceEventEmitter.addListener('keyDown', function (code) {
    mark('keyDown ' + code + ' ' + Date.now() + ' ' + (performance.now() - lastDomKeyDown).toFixed(3));
  });
  native.setAppRegistry({
    runApplication: function (componentName, parameters) {
      stage('run-application');
      root = parameters.rootTag;
      // A field at a known place, for the bench to click into before typing.
      var field = document.createElement('input');
      field.style.cssText = 'position: fixed; left: 0; top: 0; width: 300px; height: 40px;';
      root.appendChild(field);
      field.focus();
      document.addEventListener('keydown', function () {
        lastDomKeyDown = performance.now();
      }, true);
      load();
    },
  });
})();
