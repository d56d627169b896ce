// Installs the simulated keyboard service as TessarelNative before the app's modules load,
// unless a real host already provides one.
import { createMockNative, hidFromVirtualKey, optionsFromQuery } from './mockNative.js';

export const mockInstalled = !globalThis.TessarelNative;

if (mockInstalled) {
  const native = createMockNative(optionsFromQuery(window.location.search));
  globalThis.TessarelNative = native;
  // The host forwards every key press in its window as "keyDown"; do the same here, without
  // stopping the event, so a focused text field still gets the key.
  window.addEventListener('keydown', (event) => native.__emit('keyDown', [hidFromVirtualKey(event.keyCode)]), true);
}

// ?keys=4,30,...: reports these HID codes as key presses once the page has loaded.
// ?click=id1,id2,...: presses the elements with those test ids one after another once the page
// has settled, so a given screen can be opened straight from a link (or by a headless browser).
if (mockInstalled) {
  const steps = new URLSearchParams(window.location.search).get('click')?.split(',').filter(Boolean) ?? [];
  const pressNext = (index) => {
    if (index >= steps.length) return;
    window.setTimeout(() => {
      const element = document.querySelector(`[data-testid="${CSS.escape(steps[index])}"]`);
      // A switch takes clicks on its (invisible) checkbox, as a real click would land there.
      if (element) (element.querySelector('input[type="checkbox"]') ?? element).click();
      else console.warn(`dev page: no element with test id ${steps[index]}`);
      pressNext(index + 1);
    }, 700);
  };
  const keys = new URLSearchParams(window.location.search).get('keys')?.split(',').filter(Boolean) ?? [];
  window.addEventListener('load', () => {
    pressNext(0);
    window.setTimeout(() => keys.forEach((code) => globalThis.TessarelNative.__emit('keyDown', [Number(code)])), 300);
  });
}
