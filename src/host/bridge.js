// The page's side of the script bridge. The host injects this into the top
// frame of the bundle's page before any page script runs, as the expression
// "(function (config) {...})(config)" with config = {token, modules}.
//
// It defines globalThis.TessarelNative: NativeModules (one object per native
// module: its constants as properties, each method a function returning a
// Promise), DeviceEventEmitter, NativeEventEmitter, setAppRegistry,
// runApplication, and __emit, through which the host delivers events.
(function (config) {
  'use strict';

  const channel = window.webkit.messageHandlers.tessarel;
  const post = channel.postMessage.bind(channel);
  const token = config.token;

  function reportLater(error) {
    setTimeout(() => {
      throw error;
    }, 0);
  }

  // An Error shaped as React Native rejects a native promise: the native
  // message as `message`, plus `code` and `userInfo`.
  function toError(data) {
    const info = data !== null && typeof data === 'object' ? data : { message: String(data) };
    const error = new Error(info.message);
    error.code = info.code === undefined ? 'EUNSPECIFIED' : info.code;
    error.userInfo = info.userInfo === undefined ? null : info.userInfo;
    return error;
  }

  function settle(replyText) {
    const reply = JSON.parse(replyText);
    if (Array.isArray(reply.resolve)) return reply.resolve[0];
    throw toError(Array.isArray(reply.reject) ? reply.reject[0] : reply.reject);
  }

  function callNative(module, method, args) {
    let text;
    try {
      text = JSON.stringify({ token, kind: 'call', module, method, args });
    } catch (error) {
      return Promise.reject(error);
    }
    return post(text).then(settle);
  }

  const listeners = new Map();

  const DeviceEventEmitter = Object.freeze({
    addListener(eventName, listener, context) {
      if (typeof listener !== 'function') {
        throw new TypeError('DeviceEventEmitter.addListener: the listener must be a function');
      }
      let list = listeners.get(eventName);
      if (list === undefined) {
        list = [];
        listeners.set(eventName, list);
      }
      const entry = { listener, context };
      list.push(entry);
      return {
        remove() {
          const current = listeners.get(eventName);
          if (current === undefined) return;
          const index = current.indexOf(entry);
          if (index >= 0) current.splice(index, 1);
          if (current.length === 0) listeners.delete(eventName);
        },
      };
    },
    removeAllListeners(eventName) {
      if (eventName === undefined) {
        listeners.clear();
      } else {
        listeners.delete(eventName);
      }
    },
    emit(eventName, ...args) {
      const list = listeners.get(eventName);
      if (list === undefined) return;
      // Listeners added or removed by a listener take effect from the next event.
      for (const entry of list.slice()) {
        try {
          entry.listener.apply(entry.context, args);
        } catch (error) {
          reportLater(error);
        }
      }
    },
    listenerCount(eventName) {
      const list = listeners.get(eventName);
      return list === undefined ? 0 : list.length;
    },
  });

  // Every module's events arrive through DeviceEventEmitter, as in React Native.
  class NativeEventEmitter {
    constructor(nativeModule) {
      this.nativeModule = nativeModule;
    }
    addListener(eventName, listener, context) {
      return DeviceEventEmitter.addListener(eventName, listener, context);
    }
    removeAllListeners(eventName) {
      DeviceEventEmitter.removeAllListeners(eventName);
    }
    listenerCount(eventName) {
      return DeviceEventEmitter.listenerCount(eventName);
    }
    emit(eventName, ...args) {
      DeviceEventEmitter.emit(eventName, ...args);
    }
  }

  const NativeModules = {};
  for (const [moduleName, description] of Object.entries(config.modules)) {
    const module = Object.assign({}, description.constants);
    for (const methodName of description.methods) {
      module[methodName] = (...args) => callNative(moduleName, methodName, args);
    }
    NativeModules[moduleName] = Object.freeze(module);
  }
  Object.freeze(NativeModules);

  let appRegistry = null;
  let closeRequestHandler = null;

  // Asked by the host when the window is to close: true lets it close. A page
  // without a handler, or whose handler fails, lets it close.
  function closeRequested() {
    if (closeRequestHandler === null) return Promise.resolve(true);
    try {
      return Promise.resolve(closeRequestHandler()).then((answer) => answer !== false, () => true);
    } catch (error) {
      reportLater(error);
      return Promise.resolve(true);
    }
  }

  function notifyRendered() {
    post(JSON.stringify({ token, kind: 'rendered' })).catch(() => {});
  }

  Object.defineProperty(globalThis, 'TessarelNative', {
    value: Object.freeze({
      NativeModules,
      DeviceEventEmitter,
      NativeEventEmitter,
      setAppRegistry(registry) {
        appRegistry = registry;
      },
      // handler() -> boolean or a promise of one; false keeps the window open.
      setCloseRequestHandler(handler) {
        closeRequestHandler = typeof handler === 'function' ? handler : null;
      },
      __closeRequested: closeRequested,
      runApplication(componentName, initialProps) {
        try {
          if (appRegistry === null) {
            throw new Error(
                'The bundle has not handed over its AppRegistry (TessarelNative.setAppRegistry)');
          }
          appRegistry.runApplication(componentName, {
            rootTag: document.getElementById('root'),
            initialProps,
          });
        } finally {
          // Two frames: the first lays out what the application rendered,
          // the second has it on the screen.
          requestAnimationFrame(() => requestAnimationFrame(notifyRendered));
        }
      },
      __emit(eventName, args) {
        DeviceEventEmitter.emit(eventName, ...(Array.isArray(args) ? args : []));
      },
    }),
    enumerable: false,
    configurable: false,
    writable: false,
  });
})
