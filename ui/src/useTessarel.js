// The app's view of the keyboard service: the native modules' answers and events turned into
// React state, and the actions the screens call. Every rejected call ends up in `errors` (or,
// while the service is not connected yet, in the waiting state), never silently dropped.
import { useCallback, useEffect, useMemo, useReducer, useRef, useState } from 'react';
import { NativeEventEmitter, NativeModules } from 'react-native';
import { t } from './i18n/index.js';
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
  return name ? t('notice.newerFirmware', { name }) : t('notice.newerFirmwareUnnamed');
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
  // The keyboard each reset or recovery was started on: the service's state numbers name none.
  const [operationOwners, setOperationOwners] = useState({ reset: null, recover: null });
  const [keyPresses, setKeyPresses] = useState([]);
  const nextId = useRef(1);
  const keyboardsRequest = useRef(0);
  const keyDownListeners = useRef(new Set());

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
          report(t('error.readKeyboards'), error);
        }
      },
    );
  }, [report]);

  const queryFlashing = useCallback(() => {
    TessarelJs?.isFlashing().then(
      (value) => dispatchFirmware({ type: 'isFlashing', value }),
      (error) => backgroundFailure(t('error.readIsFlashing'), error),
    );
  }, [backgroundFailure]);

  const queryFlashingState = useCallback(() => {
    TessarelJs?.flashingState().then(
      (value) => dispatchFirmware({ type: 'flashingState', value }),
      (error) => backgroundFailure(t('error.readProgress'), error),
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
  const queryResetState = useCallback(() => queryOperation('reset', 'resetFirmwareState', t('error.readReset')), [queryOperation]);
  const queryRecoverState = useCallback(() => queryOperation('recover', 'recoverDeviceState', t('error.readRecovery')), [queryOperation]);

  const refreshAll = useCallback(() => {
    refreshKeyboards();
    queryFlashing();
    queryFlashingState();
    queryResetState();
    queryRecoverState();
  }, [refreshKeyboards, queryFlashing, queryFlashingState, queryResetState, queryRecoverState]);

  // Start-up queries and the native events.
  useEffect(() => {
    SettingsJs?.appVersion().then(setAppVersion, (error) => report(t('error.readVersion'), error));
    TessarelJs?.isLaunchAtStartUpEnabled().then(
      (value) => setLaunchAtStartUp({ value: Boolean(value), busy: false }),
      (error) => report(t('error.readSignIn'), error),
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
          // A listener that takes the press (a shortcut being recorded) keeps it out of the tester.
          let taken = false;
          for (const listener of [...keyDownListeners.current]) taken = listener(code) === true || taken;
          if (taken) return;
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
      refreshKeyboards,
      // listener(code) -> true when it took the press; returns the unsubscribe function.
      subscribeKeyDown: (listener) => {
        keyDownListeners.current.add(listener);
        return () => keyDownListeners.current.delete(listener);
      },

      setLaunchAtStartUp: async (enabled) => {
        setLaunchAtStartUp((current) => ({ ...current, busy: true }));
        await run(t('error.changeSignIn'), () => TessarelJs.setIsLaunchAtStartUpEnabled(enabled));
        // The system may decline; what counts is what it reports now.
        const value = await run(t('error.readSignIn'), () => TessarelJs.isLaunchAtStartUpEnabled(), null);
        setLaunchAtStartUp((current) => ({ value: value === null ? current.value : Boolean(value), busy: false }));
      },

      setLight: (keyboardId, x, y, color, animationType, animationData) =>
        run(
          t('error.light'),
          () => TessarelJs.setLed(keyboardId, x, y, color.r, color.g, color.b, animationType, animationData).then(() => true),
          false,
        ),

      simulateKeyPress: (keyboardId, executablePath, layer, x, y) =>
        run(t('error.simulate'), () => TessarelJs.simulateKeyPress(keyboardId, executablePath, layer, x, y).then(() => true), false),

      firmwareVersion: (keyboardId) => run(t('error.firmwareVersion'), () => TessarelJs.firmwareVersion(keyboardId), null),

      selectFile: () => run(t('error.selectFile'), () => TessarelJs.selectFile(), null),

      // Writes firmware (config: a file's path) or a configuration (config: the keyboard as JSON);
      // resolves with whether the service took it.
      updateDevice: async (keyboardId, config, purpose = 'firmware') => {
        dispatchFirmware({ type: 'updateRequested', keyboardId, purpose });
        let accepted = false;
        try {
          accepted = Boolean(await TessarelJs.updateDevice(keyboardId, config));
          dispatchFirmware({ type: 'updateAnswered', accepted });
          if (!accepted) report(t(purpose === 'configuration' ? 'error.writeDeclined' : 'error.updateDeclined'), new Error(t('error.declinedDetail')));
        } catch (error) {
          dispatchFirmware({ type: 'updateRejected' });
          report(t(purpose === 'configuration' ? 'error.write' : 'error.update'), error);
        }
        queryFlashing();
        queryFlashingState();
        return accepted;
      },

      cancelUpdate: async () => {
        dispatchFirmware({ type: 'cancelRequested' });
        await run(t('error.cancel'), () => TessarelJs.setCancelUpdate(true));
      },

      dismissUpdate: () => dispatchFirmware({ type: 'dismissed' }),

      resetFirmware: async (keyboardId, model) => {
        setOperationOwners((owners) => ({ ...owners, reset: keyboardId }));
        const accepted = await run(t('error.reset'), () => TessarelJs.resetFirmware(keyboardId, model), null);
        if (accepted === false) report(t('error.resetDeclined'), new Error(t('error.resetDeclinedDetail')));
        queryResetState();
      },

      recoverDevice: async (keyboardId, model) => {
        setOperationOwners((owners) => ({ ...owners, recover: keyboardId }));
        const accepted = await run(t('error.recover'), () => TessarelJs.recoverDevice(model), null);
        if (accepted === false) report(t('error.recoverDeclined'), new Error(t('error.recoverDeclinedDetail')));
        queryRecoverState();
      },

      resetToBootloader: (keyboardId) =>
        run(t('error.bootloader'), () => TessarelJs.resetToBootloader(keyboardId).then(() => true), false),
    }),
    [run, report, refreshAll, refreshKeyboards, queryFlashing, queryFlashingState, queryResetState, queryRecoverState],
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
    operationOwners,
    keyPresses,
    actions,
  };
}
