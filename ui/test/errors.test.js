import assert from 'node:assert/strict';
import { test } from 'node:test';
import { addError, errorText, isServiceMissing } from '../src/logic/errors.js';

function nativeError(message) {
  return Object.assign(new Error(message), { code: 'EUNSPECIFIED', userInfo: null });
}

test('the text shown for a rejection is its message', () => {
  assert.equal(errorText(nativeError('Failed to setLed: The RPC server is unavailable.')), 'Failed to setLed: The RPC server is unavailable.');
  assert.equal(errorText(nativeError('')), 'The keyboard service gave no reason.');
  assert.equal(errorText('plain text'), 'plain text');
  assert.equal(errorText(undefined), 'The keyboard service gave no reason.');
});

test('only the exact no-connection message counts as a missing service', () => {
  assert.equal(isServiceMissing(nativeError("Service connection isn't running yet")), true);
  assert.equal(isServiceMissing(nativeError("Service connection isn't running yet.")), false);
  assert.equal(isServiceMissing(nativeError('Failed to receive response. Request=keyboards')), false);
});

test('a repeated error is counted, a different one is added', () => {
  let list = [];
  list = addError(list, { title: 'A', message: 'x' }, 1);
  list = addError(list, { title: 'A', message: 'x' }, 2);
  list = addError(list, { title: 'A', message: 'y' }, 3);
  assert.deepEqual(list, [
    { id: 1, title: 'A', message: 'x', count: 2 },
    { id: 3, title: 'A', message: 'y', count: 1 },
  ]);
});
