// The dev page's simulated service must answer as the host does, or UI work against it misleads.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { createMockNative } from '../src/dev/mockNative.js';

// A clock that runs timers only when told, in time order.
function manualClock() {
  let now = 0;
  let timers = [];
  return {
    setTimeout(fn, ms = 0) {
      timers.push({ at: now + ms, fn });
    },
    advance(ms) {
      const end = now + ms;
      for (;;) {
        timers.sort((a, b) => a.at - b.at);
        if (timers.length === 0 || timers[0].at > end) break;
        const timer = timers.shift();
        now = timer.at;
        timer.fn();
      }
      now = end;
    },
  };
}

async function settle(clock, promise, ms = 500) {
  clock.advance(ms);
  return promise;
}

test('before the service connects, device methods reject as the host does', async () => {
  const clock = manualClock();
  const native = createMockNative({ connect: 'never' }, clock);
  const result = native.NativeModules.TessarelJs.keyboards();
  await assert.rejects(settle(clock, result), (error) => {
    assert.equal(error.message, "Service connection isn't running yet");
    assert.equal(error.code, 'EUNSPECIFIED');
    assert.equal(error.userInfo, null);
    return true;
  });
  // Launch at sign-in needs no service.
  assert.equal(await native.NativeModules.TessarelJs.isLaunchAtStartUpEnabled(), false);
});

test('a failing method rejects with the host message for a broken link', async () => {
  const clock = manualClock();
  const { TessarelJs } = createMockNative({ connect: 0, fail: ['simulateKeyPress', 'resetToBootloader'] }, clock).NativeModules;
  clock.advance(1);
  await assert.rejects(settle(clock, TessarelJs.simulateKeyPress('x', '/bin/a', 0, 0, 0)), { message: 'Failed to send keystrokes to processThe RPC server is unavailable.' });
  await assert.rejects(settle(clock, TessarelJs.resetToBootloader('x')), { message: 'Failed to enter Bootloader mode: The RPC server is unavailable.' });
});
