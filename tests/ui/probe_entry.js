// The reference UI as the host runs it, plus a probe for the end-to-end test and the screenshot
// script: it only reads the page and reports on the console (the app's --console copies it to
// standard output), so the test can find what to click with xdotool and check what is shown.
//
//   probe: at <testID> <left> <top> <width> <height> <"text or value"> <scroll|fixed> [<background>]
//   probe: at <testID> gone
//   probe: keyboards <JSON of keyboards()>             after every "keyboardsUpdated"
//
// Positions are in the window's pixels (the page fills the window). A line is printed when what
// it says changes.
import '../../ui/src/index.js';

(function probe() {
  const report = (line) => console.log(`probe: ${line}`);
  const last = new Map();
  const describe = (element) => {
    const rect = element.getBoundingClientRect();
    if (rect.width === 0 || rect.height === 0) return 'hidden';
    const text = ('value' in element && element.tagName === 'INPUT' ? element.value : element.textContent).replace(/\s+/g, ' ').trim().slice(0, 160);
    const id = element.getAttribute('data-testid');
    const background = id.startsWith('key-light-') ? ` ${getComputedStyle(element).backgroundColor.replace(/ /g, '')}` : '';
    // Inside the main area's scroll view, which may have to be scrolled to show it.
    const where = id !== 'main-scroll' && element.closest('[data-testid="main-scroll"]') ? 'scroll' : 'fixed';
    return `${Math.round(rect.left)} ${Math.round(rect.top)} ${Math.round(rect.width)} ${Math.round(rect.height)} ${JSON.stringify(text)} ${where}${background}`;
  };
  const scan = () => {
    const seen = new Set();
    for (const element of document.querySelectorAll('[data-testid]')) {
      const id = element.getAttribute('data-testid');
      if (seen.has(id)) continue;
      seen.add(id);
      const line = describe(element);
      if (last.get(id) !== line) {
        last.set(id, line);
        report(`at ${id} ${line}`);
      }
    }
    for (const id of [...last.keys()]) {
      if (!seen.has(id)) {
        last.delete(id);
        report(`at ${id} gone`);
      }
    }
  };
  setInterval(scan, 100);

  const native = globalThis.TessarelNative;
  if (!native) return;
  const dump = () =>
    native.NativeModules.TessarelJs.keyboards().then(
      (list) => report(`keyboards ${JSON.stringify(list)}`),
      (error) => report(`keyboards rejected ${error.message}`),
    );
  native.DeviceEventEmitter.addListener('keyboardsUpdated', dump);
})();
