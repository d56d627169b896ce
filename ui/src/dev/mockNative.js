// An in-browser stand-in for the host's TessarelNative, for the dev page only (never part of
// index.windows.bundle). It behaves as the host does towards the script: promise methods that
// resolve with one value or reject with an Error carrying code "EUNSPECIFIED", and the host's
// events, here driven by two simulated keyboards.
//
// Options (the dev page reads them from its query string):
//   connect=never|<ms>   the keyboard service connects after <ms> (default 600) or never
//   keyboards=0          the service reports no keyboards
//   fail=a,b             these TessarelJs methods reject as if the link had broken
//   version=<text>       the app version
import { makeMockKeyboards } from './mockKeyboards.js';

const serviceMissing = "Service connection isn't running yet";
const linkBroken = 'The RPC server is unavailable.';

// Rejection texts as the host forms them for a platform error on each method.
const failurePrefix = {
  setLedActiveColor: 'Failed to setLedActiveColor: ',
  setLed: 'Failed to setLed: ',
  simulateKeyPress: 'Failed to send keystrokes to process',
  resetToBootloader: 'Failed to enter Bootloader mode: ',
  selectFile: 'Failed to select file: ',
  setCancelUpdate: 'Failed to cancel update: ',
  isLaunchAtStartUpEnabled: 'Failed to get launch at start up: ',
  setIsLaunchAtStartUpEnabled: 'Failed to set launch at start up: ',
};

function nativeError(message) {
  const error = new Error(message);
  error.code = 'EUNSPECIFIED';
  error.userInfo = null;
  return error;
}

function makeEmitter() {
  const listeners = new Map();
  return {
    addListener(eventName, listener) {
      if (!listeners.has(eventName)) listeners.set(eventName, []);
      const entry = { listener };
      listeners.get(eventName).push(entry);
      return {
        remove() {
          const list = listeners.get(eventName) ?? [];
          const index = list.indexOf(entry);
          if (index >= 0) list.splice(index, 1);
        },
      };
    },
    removeAllListeners(eventName) {
      if (eventName === undefined) listeners.clear();
      else listeners.delete(eventName);
    },
    emit(eventName, ...args) {
      for (const entry of [...(listeners.get(eventName) ?? [])]) entry.listener(...args);
    },
    listenerCount(eventName) {
      return listeners.get(eventName)?.length ?? 0;
    },
  };
}

// Windows virtual-key code (what browsers give as KeyboardEvent.keyCode) to HID usage, as the
// host forwards it; ranges map one to one.
const keyTable = [
  [3, 41], [8, 42, 9], [12, 156], [13, 40], [16, 225], [17, 224], [18, 226], [19, 72], [20, 57],
  [27, 41], [32, 44], [33, 75], [34, 78], [35, 77], [36, 74], [37, 80], [38, 82], [39, 79],
  [40, 81], [41, 119], [42, 70], [43, 116], [45, 73], [46, 76], [47, 117], [48, 39],
  [49, 30, 57], [65, 4, 90], [91, 227], [92, 231], [93, 101], [96, 98], [97, 89, 105], [106, 85],
  [107, 87], [108, 159], [109, 45], [110, 219], [111, 84], [112, 58, 123], [124, 104, 135],
  [144, 83], [160, 225], [161, 229], [162, 224], [163, 228], [164, 226], [165, 230], [169, 120],
  [172, 74], [186, 51], [187, 46], [188, 54], [189, 45], [190, 55, 191], [219, 47], [220, 49],
  [221, 48], [222, 52],
];

export function hidFromVirtualKey(virtualKey) {
  for (const [first, usage, last = first] of keyTable) {
    if (virtualKey >= first && virtualKey <= last) return usage + (virtualKey - first);
  }
  return 0;
}

export function createMockNative(options = {}, scheduler = globalThis) {
  const connectDelay = options.connect ?? 600;
  const failing = new Set(options.fail ?? []);
  const emitter = makeEmitter();
  const keyboards = options.noKeyboards ? [] : makeMockKeyboards();
  const firmwareVersions = new Map([
    ['TP12-4F2A', 12],
    ['TD24-91C0', 9],
  ]);
  const state = {
    connected: false,
    launchAtStartUp: false,
    isFlashing: false,
    flashingState: 0,
    cancel: false,
    resetFirmwareState: 0,
    recoverDeviceState: 0,
    appRegistry: null,
    closeRequestHandler: null,
  };
  const emit = (eventName, ...args) => scheduler.setTimeout(() => emitter.emit(eventName, ...args), 0);
  const later = (ms, fn) => scheduler.setTimeout(fn, ms);

  // Each device method: no service -> the host's rejection; a method listed in `fail` -> the
  // host's rejection for a broken link; otherwise the simulated answer after a short delay.
  const device = (name, body) => (...args) =>
    new Promise((resolve, reject) => {
      later(40 + Math.random() * 80, () => {
        if (!state.connected) return reject(nativeError(serviceMissing));
        if (failing.has(name)) return reject(nativeError((failurePrefix[name] ?? '') + linkBroken));
        try {
          resolve(body(...args));
        } catch (error) {
          reject(nativeError(error.message));
        }
      });
    });

  const findKeyboard = (id) => keyboards.find((keyboard) => keyboard.id === String(id));
  const findKey = (keyboardId, layerType, x, y) => {
    const keyboard = findKeyboard(keyboardId);
    const layer = keyboard?.layers.find((entry) => entry.type === Number(layerType)) ?? keyboard?.layers[0];
    return layer?.keys[Number(y)]?.[Number(x)] ?? null;
  };

  const runFlash = (keyboardId, written) => {
    state.isFlashing = true;
    state.flashingState = 0;
    state.cancel = false;
    emit('isFlashingUpdated');
    emit('flashingStateUpdated');
    const tick = () => {
      if (state.cancel) {
        state.isFlashing = false;
        state.flashingState = 0;
        emit('flashingStateUpdated');
        emit('isFlashingUpdated');
        return;
      }
      state.flashingState = Math.min(100, state.flashingState + 4);
      emit('flashingStateUpdated');
      if (state.flashingState >= 100) {
        state.isFlashing = false;
        if (written) {
          Object.assign(findKeyboard(keyboardId), { layers: written.layers, appPaths: written.appPaths });
        } else {
          firmwareVersions.set(keyboardId, (firmwareVersions.get(keyboardId) ?? 0) + 1);
        }
        emit('isFlashingUpdated');
        emit('keyboardsUpdated');
        return;
      }
      later(160, tick);
    };
    later(300, tick);
  };

  // Reset and recovery: 1 while running, then 2 (succeeded), as the simulated companion does.
  const runOperation = (field, eventName) => {
    state[field] = 1;
    emit(eventName);
    later(1500, () => {
      state[field] = 2;
      emit(eventName);
    });
  };

  const TessarelJs = {
    keyboards: device('keyboards', () => structuredClone(keyboards)),
    sendDebugCommand: () => Promise.reject(nativeError('Promise destroyed.')),
    simulateKeyPress: device('simulateKeyPress', (keyboardId, executablePath, layer, x, y) => {
      console.info('simulateKeyPress', { keyboardId, executablePath, layer, x, y });
      return null;
    }),
    isLaunchAtStartUpEnabled: () =>
      failing.has('isLaunchAtStartUpEnabled')
        ? Promise.reject(nativeError(failurePrefix.isLaunchAtStartUpEnabled + linkBroken))
        : Promise.resolve(state.launchAtStartUp),
    setIsLaunchAtStartUpEnabled: (enabled) => {
      if (failing.has('setIsLaunchAtStartUpEnabled')) {
        return Promise.reject(nativeError(failurePrefix.setIsLaunchAtStartUpEnabled + linkBroken));
      }
      state.launchAtStartUp = Boolean(enabled);
      return Promise.resolve(null);
    },
    setLedActiveColor: device('setLedActiveColor', (keyboardId, layerType, x, y, r, g, b) => {
      const key = findKey(keyboardId, layerType, x, y);
      if (key) key.activeColor = { r: Number(r), g: Number(g), b: Number(b) };
      emit('keyboardsUpdated');
      return null;
    }),
    // A preview of the light on the device: nothing stored changes.
    setLed: device('setLed', (keyboardId, x, y, r, g, b, animationType, animationData) => {
      console.info('setLed', { keyboardId, x, y, r, g, b, animationType, animationData });
      return null;
    }),
    isFlashing: device('isFlashing', () => state.isFlashing),
    resetFirmwareState: device('resetFirmwareState', () => state.resetFirmwareState),
    recoverDeviceState: device('recoverDeviceState', () => state.recoverDeviceState),
    flashingState: device('flashingState', () => state.flashingState),
    // A configuration (text starting with "{") replaces the keyboard's layers and paths when the
    // update ends; any other text is a firmware file.
    updateDevice: device('updateDevice', (keyboardId, config) => {
      if (state.isFlashing || !findKeyboard(keyboardId)) return false;
      let written = null;
      if (String(config).startsWith('{')) {
        try {
          written = JSON.parse(config);
        } catch {
          return false;
        }
      }
      runFlash(String(keyboardId), written);
      return true;
    }),
    resetFirmware: device('resetFirmware', (keyboardId) => {
      if (!findKeyboard(keyboardId) || state.resetFirmwareState === 1) return false;
      runOperation('resetFirmwareState', 'resetFirmwareStateUpdated');
      return true;
    }),
    recoverDevice: device('recoverDevice', () => {
      if (state.recoverDeviceState === 1) return false;
      runOperation('recoverDeviceState', 'recoverDeviceStateUpdated');
      return true;
    }),
    firmwareVersion: device('firmwareVersion', (keyboardId) => {
      const version = firmwareVersions.get(String(keyboardId));
      if (version === undefined) throw new Error('Failed to get firmware version');
      return version;
    }),
    resetToBootloader: device('resetToBootloader', () => null),
    selectFile: device('selectFile', () => '/home/user/Downloads/tessarel-firmware-13.bin'),
    setCancelUpdate: device('setCancelUpdate', (cancel) => {
      if (cancel && state.isFlashing) state.cancel = true;
      return null;
    }),
  };

  const native = {
    NativeModules: {
      TessarelJs,
      SettingsJs: { appVersion: () => Promise.resolve(options.version ?? '1.0.0.0') },
      KeyBinderJs: {},
    },
    DeviceEventEmitter: emitter,
    NativeEventEmitter: class NativeEventEmitter {
      addListener(eventName, listener) {
        return emitter.addListener(eventName, listener);
      }
      removeAllListeners(eventName) {
        emitter.removeAllListeners(eventName);
      }
      listenerCount(eventName) {
        return emitter.listenerCount(eventName);
      }
    },
    setAppRegistry(appRegistry) {
      state.appRegistry = appRegistry;
    },
    // As the host: asked before the window closes (here: before the page is left).
    setCloseRequestHandler(handler) {
      state.closeRequestHandler = typeof handler === 'function' ? handler : null;
    },
    __closeRequested() {
      return Promise.resolve(state.closeRequestHandler ? state.closeRequestHandler() : true).then((answer) => answer !== false);
    },
    runApplication(componentName, initialProps) {
      state.appRegistry.runApplication(componentName, {
        rootTag: scheduler.document.getElementById('root'),
        initialProps,
      });
    },
    __emit(eventName, args) {
      emitter.emit(eventName, ...args);
    },
  };

  if (connectDelay !== 'never') {
    later(Number(connectDelay) || 0, () => {
      state.connected = true;
      emitter.emit('keyboardsUpdated');
      if (keyboards.length > 1) later(1500, () => emitter.emit('keyboardVersionNewer', keyboards[1].name));
    });
  }
  return native;
}

export function optionsFromQuery(search) {
  const query = new URLSearchParams(search);
  const options = {};
  if (query.has('connect')) options.connect = query.get('connect') === 'never' ? 'never' : Number(query.get('connect'));
  if (query.get('keyboards') === '0') options.noKeyboards = true;
  if (query.has('fail')) options.fail = query.get('fail').split(',').filter(Boolean);
  if (query.has('version')) options.version = query.get('version');
  return options;
}
