// Entry of the dev page: the simulated keyboard service, then the app, started as the host
// starts it.
import { mockInstalled } from './installMock.js';
import '../index.js';

if (mockInstalled) globalThis.TessarelNative.runApplication('Tessarel', {});
