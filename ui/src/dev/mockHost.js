// Stands in for the host around the production bundle (dist/host.html): installs the simulated
// service as TessarelNative before index.windows.bundle loads, then starts the app the way the
// host does once the page has loaded.
import { mockInstalled } from './installMock.js';

if (mockInstalled) window.addEventListener('load', () => globalThis.TessarelNative.runApplication('Tessarel', {}));
