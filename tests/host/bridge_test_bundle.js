// A bundle for the host's window tests, run by the real program with
// --console. It uses the script bridge as a page would and reports what it
// saw, one line per check, as "bridge-test: <name> <JSON value>", ending with
// "bridge-test: done true" before closing the window. The test program
// decides what is right; this page only reports.
(function () {
  'use strict';
  const native = globalThis.TessarelNative;
  const { NativeModules, DeviceEventEmitter, NativeEventEmitter } = native;
  const { SettingsJs, TessarelJs } = NativeModules;
  const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
  function report(name, value) {
    console.log('bridge-test: ' + name + ' ' + JSON.stringify(value === undefined ? null : value));
  }
  // What became of a promise, in a form that survives JSON.
  const outcome = (promise) => Promise.resolve(promise).then(
      (value) => ({ resolved: value }),
      (error) => ({ rejected: { name: error.name, code: error.code, message: error.message } }));

  async function modules() {
    report('modules', Object.keys(NativeModules).sort());
    report('configVersion', NativeModules.RNCConfigModule.VERSION);
    // Two calls at once, the second with arguments the method does not take.
    report('appVersion', await Promise.all([outcome(SettingsJs.appVersion()),
                                            outcome(SettingsJs.appVersion('x', 2))]));
    report('sendDebugCommand', await outcome(TessarelJs.sendDebugCommand(1)));
    report('setLed', await Promise.all([outcome(TessarelJs.setLed('kb', 1, 2, 3, 4, 5, 6, 7, 8, 9)),
                                        outcome(TessarelJs.setLed())]));
    report('unserializable', await outcome(SettingsJs.appVersion(10n)));
  }

  function events() {
    const seen = [];
    const first = DeviceEventEmitter.addListener('testEvent', (...args) => seen.push(['a', ...args]));
    const emitter = new NativeEventEmitter(TessarelJs);
    emitter.addListener('testEvent', (value) => seen.push(['b', value]));
    native.__emit('testEvent', [1, 'two']);
    first.remove();
    first.remove();  // a second remove does nothing
    native.__emit('testEvent', [3]);
    emitter.removeAllListeners('testEvent');
    native.__emit('testEvent', [4]);
    report('events', seen);
  }

  // The content policy lets neither inline script nor eval run.
  function contentPolicy() {
    window.inlineScriptRan = false;
    const inline = document.createElement('script');
    inline.textContent = 'window.inlineScriptRan = true;';
    document.head.appendChild(inline);
    let evalRan = false;
    try {
      evalRan = eval('true');
    } catch (error) {  // refused: evalRan stays false
    }
    report('policy', { inline: window.inlineScriptRan, eval: evalRan });
  }

  // Frames that try to use the bridge: one of the page's own origin (it has
  // the channel but not the bridge's token), and one sandboxed into an opaque
  // origin (the policy does not let it run the bundle's scripts at all). Each
  // reports to this page if its script runs.
  async function frames() {
    const probes = [];
    window.addEventListener('message', (event) => probes.push(event.data));
    for (const sandbox of [null, 'allow-scripts']) {
      await new Promise((resolve) => {
        const frame = document.createElement('iframe');
        if (sandbox !== null) frame.setAttribute('sandbox', sandbox);
        frame.onload = resolve;
        frame.src = 'bridge_probe.html';
        document.body.appendChild(frame);
      });
    }
    await sleep(1000);
    report('frames', probes);
  }

  async function navigation() {
    report('windowOpenRefused', window.open('https://example.com/popup') === null);
    location.href = 'https://example.com/';
    await sleep(1500);
    // Still here: the navigation was refused and this page kept running.
    report('afterNavigation', location.href);
  }

  native.setAppRegistry({
    async runApplication(componentName, parameters) {
      report('runApplication', { componentName, rootTag: parameters.rootTag.id });
      try {
        await modules();
        events();
        contentPolicy();
        await frames();
        await navigation();
        report('done', true);
      } catch (error) {
        report('error', String(error && error.stack || error));
      }
      window.close();
    },
  });
})();
