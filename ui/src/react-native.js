// What the bundle gets when it imports 'react-native' (the build aliases the specifier here).
//
// The components come from react-native-web. The native side comes from the host: before any
// page script runs, the host defines globalThis.TessarelNative with the module table and the
// event emitters, behaving as React Native's do (a method returns a promise; every module's
// events go through the device event emitter). react-native-web's own NativeModules is empty,
// so these exports replace it. In the dev page a simulated service installs itself as TessarelNative first.
import { AppRegistry } from 'react-native-web';

export * from 'react-native-web';

const bridge = globalThis.TessarelNative;

// Without a host (the bundle opened outside the app), keep the exports usable: no modules,
// and emitters that never fire, so the UI can say that the service is missing.
function makeLocalEmitter() {
  const listeners = new Map();
  return {
    addListener(eventName, listener) {
      if (!listeners.has(eventName)) listeners.set(eventName, new Set());
      const set = listeners.get(eventName);
      const entry = (...args) => listener(...args);
      set.add(entry);
      return { remove: () => set.delete(entry) };
    },
    removeAllListeners(eventName) {
      if (eventName === undefined) listeners.clear();
      else listeners.delete(eventName);
    },
    emit(eventName, ...args) {
      for (const entry of [...(listeners.get(eventName) ?? [])]) entry(...args);
    },
    listenerCount(eventName) {
      return listeners.get(eventName)?.size ?? 0;
    },
  };
}

const localEmitter = bridge ? null : makeLocalEmitter();

export const NativeModules = bridge ? bridge.NativeModules : {};
export const DeviceEventEmitter = bridge ? bridge.DeviceEventEmitter : localEmitter;
export const NativeEventEmitter = bridge
  ? bridge.NativeEventEmitter
  : class NativeEventEmitter {
      addListener(eventName, listener) {
        return localEmitter.addListener(eventName, listener);
      }
      removeAllListeners(eventName) {
        localEmitter.removeAllListeners(eventName);
      }
      listenerCount(eventName) {
        return localEmitter.listenerCount(eventName);
      }
    };

bridge?.setAppRegistry?.(AppRegistry);
