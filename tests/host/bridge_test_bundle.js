// A bundle for the host's window tests, run by the real program with
// --console. It exercises the script bridge from the page and reports what
// it saw, one line per check, as
//   bridge-test: <name> <JSON value>
// and ends with "bridge-test: done true" before closing the window. The
// test program decides what is right; this page only reports.
(function () {
  'use strict';

  const native = globalThis.TessarelNative;
  function report(name, value) {
    console.log('bridge-test: ' + name + ' ' + JSON.stringify(value === undefined ? null : value));
  }
  if (!native) {
    report('error', 'no TessarelNative');
    window.close();
    return;
  }
  const { NativeModules, DeviceEventEmitter, NativeEventEmitter } = native;
  const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

  // What became of a promise, in a form that survives JSON.
  function outcome(promise) {
    return Promise.resolve(promise).then(
        (value) => ({ resolved: value === undefined ? '(undefined)' : value }),
        (error) => ({
          rejected: {
            isError: error instanceof Error,
            name: error && error.name,
            code: error && error.code,
            message: error && error.message,
            userInfo: error && 'userInfo' in error ? error.userInfo : '(absent)',
          },
        }));
  }

  const violations = [];
  document.addEventListener('securitypolicyviolation', (event) => {
    violations.push(event.violatedDirective + ' ' + event.blockedURI);
  });

  async function modules() {
    report('modules', Object.keys(NativeModules).sort());
    report('methodsOf.SettingsJs', Object.keys(NativeModules.SettingsJs));
    report('methodsOf.TessarelJs', Object.keys(NativeModules.TessarelJs));
    report('config', NativeModules.RNCConfigModule);
    report('appVersion', await outcome(NativeModules.SettingsJs.appVersion()));
    report('appVersionTwice', await Promise.all([
      outcome(NativeModules.SettingsJs.appVersion()),
      outcome(NativeModules.SettingsJs.appVersion()),
    ]));
    report('appVersionExtraArguments', await outcome(NativeModules.SettingsJs.appVersion('x', 2)));
    report('sendDebugCommand', await outcome(NativeModules.TessarelJs.sendDebugCommand(1)));
    report('sendDebugCommandNoArguments', await outcome(NativeModules.TessarelJs.sendDebugCommand()));
    report('setLedTenArguments',
        await outcome(NativeModules.TessarelJs.setLed('kb', 1, 2, 3, 4, 5, 6, 7, 8, 9)));
    report('setLedNoArguments', await outcome(NativeModules.TessarelJs.setLed()));
    report('unserializableArgument', await outcome(NativeModules.SettingsJs.appVersion(10n)));
    report('forgedWithoutToken', await outcome(window.webkit.messageHandlers.tessarel.postMessage(
        JSON.stringify({ kind: 'call', module: 'SettingsJs', method: 'appVersion', args: [] }))));
    report('nativeModulesFrozen', Object.isFrozen(NativeModules) &&
        Object.isFrozen(NativeModules.SettingsJs));
  }

  function events() {
    const seen = [];
    const first = DeviceEventEmitter.addListener('testEvent', (...args) => seen.push(['a', ...args]));
    const emitter = new NativeEventEmitter(NativeModules.TessarelJs);
    emitter.addListener('testEvent', (value) => seen.push(['b', value]));
    DeviceEventEmitter.addListener('otherEvent', () => seen.push(['other']));
    native.__emit('testEvent', [1, 'two']);
    const both = emitter.listenerCount('testEvent');
    first.remove();
    first.remove();  // a second remove does nothing
    native.__emit('testEvent', [3]);
    emitter.removeAllListeners('testEvent');
    native.__emit('testEvent', [4]);
    report('events', {
      seen,
      both,
      afterRemoveAll: DeviceEventEmitter.listenerCount('testEvent'),
      other: DeviceEventEmitter.listenerCount('otherEvent'),
    });
  }

  async function contentPolicy() {
    window.inlineScriptRan = false;
    const inline = document.createElement('script');
    inline.textContent = 'window.inlineScriptRan = true;';
    document.head.appendChild(inline);
    let evalRan = false;
    try {
      evalRan = eval('true');
    } catch (error) {
      evalRan = false;
    }
    report('remoteFetch', await outcome(fetch('https://example.com/data.json')));
    const remoteScript = await new Promise((resolve) => {
      const script = document.createElement('script');
      script.src = 'https://example.com/remote.js';
      script.onload = () => resolve('loaded');
      script.onerror = () => resolve('error');
      document.head.appendChild(script);
    });
    await sleep(100);
    report('inlineScriptRan', window.inlineScriptRan);
    report('evalRan', evalRan);
    report('remoteScript', remoteScript);
    report('violations', violations);
  }

  // Frames that try to use the bridge directly: one of the page's own origin
  // (it has the channel but not the bridge's token), and one sandboxed into
  // an opaque origin (the content policy does not let it run the bundle's
  // scripts at all). Each reports to this page if its script runs.
  async function frames() {
    const probes = [];
    window.addEventListener('message', (event) => {
      if (event.data && event.data.probe) probes.push(event.data);
    });
    const load = (sandbox, src) => new Promise((resolve) => {
      const frame = document.createElement('iframe');
      if (sandbox !== null) frame.setAttribute('sandbox', sandbox);
      frame.onload = () => resolve(true);
      frame.onerror = () => resolve(false);
      frame.src = src;
      document.body.appendChild(frame);
      setTimeout(() => resolve(false), 5000);
    });
    const sameOriginLoaded = await load(null, 'bridge_probe.html');
    const sandboxedLoaded = await load('allow-scripts', 'bridge_probe.html?sandboxed');
    await load(null, 'https://example.com/frame.html');
    await sleep(1000);
    report('frames', { sameOriginLoaded, sandboxedLoaded, probes });
    report('frameViolations', violations.filter((entry) => entry.startsWith('frame-src')));
  }

  async function navigation() {
    const opened = window.open('https://example.com/popup');
    report('windowOpen', opened === null ? null : typeof opened);
    location.href = 'https://example.com/';
    await sleep(1500);
    // Still here: the navigation was refused and this page kept running.
    report('afterNavigation', location.href);
  }

  async function run() {
    await modules();
    events();
    await contentPolicy();
    await frames();
    await navigation();
    report('done', true);
    window.close();
  }

  native.setAppRegistry({
    runApplication(componentName, parameters) {
      report('runApplication', {
        componentName,
        initialProps: parameters.initialProps,
        rootTag: parameters.rootTag && parameters.rootTag.id,
      });
      run().catch((error) => {
        report('error', String(error && error.stack || error));
        window.close();
      });
    },
  });
})();
