// The app's view of the keyboard service: the native modules' answers and events turned into
// React state, and the actions the screens call. Every rejected call ends up in `errors` (or,
// while the service is not connected yet, in the waiting state), never silently dropped.
import { useCallback, useEffect, useMemo, useReducer, useRef, useState } from 'react';
import { NativeEventEmitter, NativeModules } from 'react-native';
import { addError, errorText, isServiceMissing } from './logic/errors.js';
import { firmwareReducer, initialFirmwareState } from './logic/firmware.js';

const { TessarelJs, SettingsJs, KeyBinderJs } = NativeModules;

const keyHistoryLength = 12;

// "keyboardVersionNewer" is said once, possibly while the app is still mounting, so it is
// listened to from the moment the bundle loads and kept until the app takes it.
const earlyVersionNotices = [];
let versionNoticeSink = null;
if (TessarelJs) {
  new NativeEventEmitter(TessarelJs).addListener('keyboardVersionNewer', (name) => {
    if (versionNoticeSink) versionNoticeSink(name);
    else earlyVersionNotices.push(name);
  });
}

export function versionNoticeText(name) {
  return name ? `A newer firmware version is available for ${name}.` : 'A newer firmware version is available for a keyboard.';
}

export function useTessarel() {
  const [service, setService] = useState(TessarelJs ? { status: 'connecting', detail: '' } : { status: 'noHost', detail: '' });
  const [keyboards, setKeyboards] = useState([]);
  const [keyboardsRevision, setKeyboardsRevision] = useState(0);
  const [errors, setErrors] = useState([]);
  const [notices, setNotices] = useState([]);
  const [appVersion, setAppVersion] = useState(null);
  const [launchAtStartUp, setLaunchAtStartUp] = useState({ value: null, busy: false });
  const [firmware, dispatchFirmware] = useReducer(firmwareReducer, initialFirmwareState);
  const [operationStates, setOperationStates] = useState({ reset: null, recover: null });
  const [keyPresses, setKeyPresses] = useState([]);
  const nextId = useRef(1);
  const keyboardsRequest = useRef(0);

  const report = useCallback((title, error) => {
    const id = nextId.current++;
    setErrors((list) => addError(list, { title, message: errorText(error) }, id));
  }, []);

  // A query the UI makes by itself: while the service is missing this is the waiting state
  // (shown in place of the keyboards), not an error banner per query.
  const backgroundFailure = useCallback(
    (title, error) => {
      if (isServiceMissing(error)) setService({ status: 'waiting', detail: errorText(error) });
      else report(title, error);
    },
    [report],
  );

  const refreshKeyboards = useCallback(() => {
    if (!TessarelJs) return Promise.resolve();
    const request = ++keyboardsRequest.current;
    return TessarelJs.keyboards().then(
      (list) => {
        if (request !== keyboardsRequest.current) return;
        setKeyboards(Array.isArray(list) ? list : []);
        setKeyboardsRevision((revision) => revision + 1);
        setService({ status: 'ready', detail: '' });
      },
      (error) => {
        if (request !== keyboardsRequest.current) return;
        if (isServiceMissing(error)) {
          setService({ status: 'waiting', detail: errorText(error) });
        } else {
          setService({ status: 'error', detail: errorText(error) });
          report("Couldn't read the keyboards", error);
        }
      },
    );
  }, [report]);

  const queryFlashing = useCallback(() => {
    TessarelJs?.isFlashing().then(
      (value) => dispatchFirmware({ type: 'isFlashing', value }),
      (error) => backgroundFailure("Couldn't read whether an update is running", error),
    );
  }, [backgroundFailure]);

  const queryFlashingState = useCallback(() => {
    TessarelJs?.flashingState().then(
      (value) => dispatchFirmware({ type: 'flashingState', value }),
      (error) => backgroundFailure("Couldn't read the update progress", error),
    );
  }, [backgroundFailure]);

  const queryOperation = useCallback(
    (field, method, title) => {
      TessarelJs?.[method]().then(
        (value) => setOperationStates((states) => ({ ...states, [field]: value })),
        (error) => backgroundFailure(title, error),
      );
    },
    [backgroundFailure],
  );
  const queryResetState = useCallback(() => queryOperation('reset', 'resetFirmwareState', "Couldn't read the reset state"), [queryOperation]);
  const queryRecoverState = useCallback(() => queryOperation('recover', 'recoverDeviceState', "Couldn't read the recovery state"), [queryOperation]);

  const refreshAll = useCallback(() => {
    refreshKeyboards();
    queryFlashing();
    queryFlashingState();
    queryResetState();
    queryRecoverState();
  }, [refreshKeyboards, queryFlashing, queryFlashingState, queryResetState, queryRecoverState]);

  // Start-up queries and the native events.
  useEffect(() => {
    SettingsJs?.appVersion().then(setAppVersion, (error) => report("Couldn't read the app version", error));
    TessarelJs?.isLaunchAtStartUpEnabled().then(
      (value) => setLaunchAtStartUp({ value: Boolean(value), busy: false }),
      (error) => report("Couldn't read the sign-in setting", error),
    );
    refreshAll();

    const subscriptions = [];
    if (TessarelJs) {
      const events = new NativeEventEmitter(TessarelJs);
      subscriptions.push(
        events.addListener('keyboardsUpdated', refreshAll),
        events.addListener('isFlashingUpdated', queryFlashing),
        events.addListener('flashingStateUpdated', queryFlashingState),
        events.addListener('resetFirmwareStateUpdated', queryResetState),
        events.addListener('recoverDeviceStateUpdated', queryRecoverState),
      );
    }
    versionNoticeSink = (name) => {
      const id = nextId.current++;
      const text = versionNoticeText(name);
      setNotices((list) => (list.some((notice) => notice.text === text) ? list : [...list, { id, text }]));
    };
    earlyVersionNotices.splice(0).forEach(versionNoticeSink);
    if (KeyBinderJs) {
      const keyEvents = new NativeEventEmitter(KeyBinderJs);
      subscriptions.push(
        keyEvents.addListener('keyDown', (code) => {
          const id = nextId.current++;
          setKeyPresses((list) => [{ id, code }, ...list].slice(0, keyHistoryLength));
        }),
      );
    }
    return () => {
      versionNoticeSink = null;
      subscriptions.forEach((subscription) => subscription.remove());
    };
  }, [refreshAll, queryFlashing, queryFlashingState, queryResetState, queryRecoverState, report]);

  // An action the user asked for: resolves with the answer, or with `failed` after showing why.
  const run = useCallback(
    (title, call, failed = undefined) =>
      call().then(
        (value) => value,
        (error) => {
          report(title, error);
          return failed;
        },
      ),
    [report],
  );

  const actions = useMemo(
    () => ({
      dismissError: (id) => setErrors((list) => list.filter((entry) => entry.id !== id)),
      dismissNotice: (id) => setNotices((list) => list.filter((entry) => entry.id !== id)),
      retry: () => {
        setService((current) => (current.status === 'ready' ? current : { status: 'connecting', detail: current.detail }));
        refreshAll();
      },
      clearKeyPresses: () => setKeyPresses([]),

      setLaunchAtStartUp: async (enabled) => {
        setLaunchAtStartUp((current) => ({ ...current, busy: true }));
        await run("Couldn't change launch at sign-in", () => TessarelJs.setIsLaunchAtStartUpEnabled(enabled));
        // The system may decline; what counts is what it reports now.
        const value = await run("Couldn't read the sign-in setting", () => TessarelJs.isLaunchAtStartUpEnabled(), null);
        setLaunchAtStartUp((current) => ({ value: value === null ? current.value : Boolean(value), busy: false }));
      },

      setActiveColor: (keyboardId, layerType, x, y, color) =>
        run(
          "Couldn't save the key's active colour",
          () => TessarelJs.setLedActiveColor(keyboardId, layerType, x, y, color.r, color.g, color.b).then(() => true),
          false,
        ),

      setLight: (keyboardId, x, y, color, animationType, animationData) =>
        run(
          "Couldn't light the key",
          () => TessarelJs.setLed(keyboardId, x, y, color.r, color.g, color.b, animationType, animationData).then(() => true),
          false,
        ),

      simulateKeyPress: (keyboardId, executablePath, layer, x, y) =>
        run("Couldn't send the key press", () => TessarelJs.simulateKeyPress(keyboardId, executablePath, layer, x, y).then(() => true), false),

      firmwareVersion: (keyboardId) => run("Couldn't read the firmware version", () => TessarelJs.firmwareVersion(keyboardId), null),

      selectFile: () => run("Couldn't choose a file", () => TessarelJs.selectFile(), null),

      updateDevice: async (keyboardId, config) => {
        dispatchFirmware({ type: 'updateRequested' });
        try {
          const accepted = await TessarelJs.updateDevice(keyboardId, config);
          dispatchFirmware({ type: 'updateAnswered', accepted: Boolean(accepted) });
          if (!accepted) report("The update didn't start", new Error('The keyboard service declined the update.'));
        } catch (error) {
          dispatchFirmware({ type: 'updateRejected' });
          report("Couldn't update the firmware", error);
        }
        queryFlashing();
        queryFlashingState();
      },

      cancelUpdate: async () => {
        dispatchFirmware({ type: 'cancelRequested' });
        await run("Couldn't cancel the update", () => TessarelJs.setCancelUpdate(true));
      },

      dismissUpdate: () => dispatchFirmware({ type: 'dismissed' }),

      resetFirmware: async (keyboardId, model) => {
        const accepted = await run("Couldn't reset the firmware", () => TessarelJs.resetFirmware(keyboardId, model), null);
        if (accepted === false) report("The reset didn't start", new Error('The keyboard service declined the reset.'));
        queryResetState();
      },

      recoverDevice: async (model) => {
        const accepted = await run("Couldn't recover the keyboard", () => TessarelJs.recoverDevice(model), null);
        if (accepted === false) report("The recovery didn't start", new Error('The keyboard service declined the recovery.'));
        queryRecoverState();
      },

      resetToBootloader: (keyboardId) =>
        run("Couldn't start the boot loader", () => TessarelJs.resetToBootloader(keyboardId).then(() => true), false),
    }),
    [run, report, refreshAll, queryFlashing, queryFlashingState, queryResetState, queryRecoverState],
  );

  return {
    service,
    keyboards,
    keyboardsRevision,
    errors,
    notices,
    appVersion,
    launchAtStartUp,
    firmware,
    operationStates,
    keyPresses,
    actions,
  };
}
