// The dev page's simulated service must answer as the host does, or UI work against it misleads.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { createMockNative, hidFromVirtualKey } from '../src/dev/mockNative.js';

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

test('connecting announces the keyboards; an update runs to 100 % with its events', async () => {
  const clock = manualClock();
  const native = createMockNative({ connect: 10 }, clock);
  const events = [];
  for (const name of ['keyboardsUpdated', 'isFlashingUpdated', 'flashingStateUpdated', 'keyboardVersionNewer']) {
    native.DeviceEventEmitter.addListener(name, (...args) => events.push([name, ...args]));
  }
  clock.advance(20);
  assert.deepEqual(events, [['keyboardsUpdated']]);

  const { TessarelJs } = native.NativeModules;
  const keyboards = await settle(clock, TessarelJs.keyboards());
  assert.equal(keyboards.length, 2);
  for (const keyboard of keyboards) assert.equal(keyboard.appPaths.length, 8);

  const before = await settle(clock, TessarelJs.firmwareVersion(keyboards[0].id));
  assert.equal(await settle(clock, TessarelJs.updateDevice(keyboards[0].id, '{}'), 200), true);
  assert.equal(await settle(clock, TessarelJs.isFlashing(), 200), true);
  clock.advance(10_000);
  assert.equal(await settle(clock, TessarelJs.isFlashing()), false);
  assert.equal(await settle(clock, TessarelJs.flashingState()), 100);
  assert.equal(await settle(clock, TessarelJs.firmwareVersion(keyboards[0].id)), before + 1);
  const progressEvents = events.filter(([name]) => name === 'flashingStateUpdated').length;
  assert.ok(progressEvents >= 25, `progress reported in steps (${progressEvents})`);
  assert.ok(events.some(([name, arg]) => name === 'keyboardVersionNewer' && arg === keyboards[1].name));
});

test('a cancelled update stops short of 100 %', async () => {
  const clock = manualClock();
  const { TessarelJs } = createMockNative({ connect: 0 }, clock).NativeModules;
  clock.advance(1);
  await settle(clock, TessarelJs.updateDevice('TP12-4F2A', '{}'), 1000);
  await settle(clock, TessarelJs.setCancelUpdate(true));
  clock.advance(1000);
  assert.equal(await settle(clock, TessarelJs.isFlashing()), false);
  assert.equal(await settle(clock, TessarelJs.flashingState()), 0);
});

test('a colour set on a key shows in the next keyboards answer', async () => {
  const clock = manualClock();
  const { TessarelJs } = createMockNative({ connect: 0 }, clock).NativeModules;
  clock.advance(1);
  assert.equal(await settle(clock, TessarelJs.setLedActiveColor('TD24-91C0', 1, 2, 0, 255, 0, 128)), null);
  const keyboards = await settle(clock, TessarelJs.keyboards());
  const layer = keyboards[1].layers.find((entry) => entry.type === 1);
  assert.deepEqual(layer.keys[0][2].activeColor, { r: 255, g: 0, b: 128 });
});

test('a failing method rejects with the host message for a broken link', async () => {
  const clock = manualClock();
  const { TessarelJs } = createMockNative({ connect: 0, fail: ['simulateKeyPress', 'resetToBootloader'] }, clock).NativeModules;
  clock.advance(1);
  await assert.rejects(settle(clock, TessarelJs.simulateKeyPress('x', '/bin/a', 0, 0, 0)), { message: 'Failed to send keystrokes to processThe RPC server is unavailable.' });
  await assert.rejects(settle(clock, TessarelJs.resetToBootloader('x')), { message: 'Failed to enter Bootloader mode: The RPC server is unavailable.' });
});

test('key forwarding in the dev page uses the host key table', () => {
  const rows = [[65, 4], [49, 30], [48, 39], [13, 40], [112, 58], [124, 104], [145, 0], [109, 45], [189, 45], [90, 29], [57, 38], [135, 115], [3, 41], [27, 41], [110, 219], [44, 0], [222, 52]];
  for (const [virtualKey, usage] of rows) assert.equal(hidFromVirtualKey(virtualKey), usage, `virtual key ${virtualKey}`);
});
