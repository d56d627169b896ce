// Firmware of the selected keyboard: version, update with progress and cancel, and the
// maintenance commands (reset, recovery, boot loader).
import { useEffect, useRef, useState } from 'react';
import { ActivityIndicator, StyleSheet, Text, View } from 'react-native';
import { isUpdateActive, operationState, updateConfigText } from '../logic/firmware.js';
import { colors, fonts, radius } from '../theme.js';
import { Button, Card, Pill, ProgressBar, textStyles } from './ui.jsx';

const phaseText = {
  idle: '',
  starting: 'Starting the update…',
  flashing: 'Writing firmware…',
  cancelling: 'Cancelling…',
  done: 'Update complete',
  cancelled: 'Update cancelled',
  stopped: 'The update stopped before it finished',
  failed: "The update didn't start",
};

function FirmwareVersion({ keyboard, keyboardsRevision, actions }) {
  const [version, setVersion] = useState({ value: null, loading: true });
  const load = () => {
    setVersion((current) => ({ ...current, loading: true }));
    return actions.firmwareVersion(keyboard.id).then((value) => setVersion({ value, loading: false }));
  };
  const shownFor = useRef(keyboard.id);
  useEffect(() => {
    let live = true;
    // Another keyboard starts blank; a refresh of the same one keeps the number meanwhile.
    if (shownFor.current !== keyboard.id) setVersion({ value: null, loading: true });
    shownFor.current = keyboard.id;
    actions.firmwareVersion(keyboard.id).then((value) => live && setVersion({ value, loading: false }));
    return () => {
      live = false;
    };
  }, [keyboard.id, keyboardsRevision, actions]);
  return (
    <Card title="Firmware version" subtitle={`${keyboard.name} · model ${keyboard.model}`}>
      <View style={styles.versionRow}>
        {version.loading ? (
          <ActivityIndicator color={colors.accent} />
        ) : (
          <Text style={styles.version} testID="firmware-version">{version.value === null ? 'Unknown' : version.value}</Text>
        )}
        <Button label="Check again" small kind="ghost" onPress={load} disabled={version.loading} />
      </View>
    </Card>
  );
}

function ConfirmButton({ label, confirmLabel, onConfirm, disabled, testID }) {
  const [confirming, setConfirming] = useState(false);
  const [busy, setBusy] = useState(false);
  if (!confirming) return <Button label={label} kind="danger" small testID={testID} disabled={disabled} onPress={() => setConfirming(true)} />;
  return (
    <View style={styles.confirmRow}>
      <Button
        label={confirmLabel}
        kind="primary"
        small
        busy={busy}
        testID={testID && `${testID}-confirm`}
        onPress={async () => {
          setBusy(true);
          try {
            await onConfirm();
          } finally {
            setBusy(false);
            setConfirming(false);
          }
        }}
      />
      <Button label="Cancel" kind="ghost" small onPress={() => setConfirming(false)} disabled={busy} />
    </View>
  );
}

function Maintenance({ title, description, state, children }) {
  return (
    <View style={styles.maintenance}>
      <View style={styles.maintenanceText}>
        <View style={styles.maintenanceTitleRow}>
          <Text style={styles.maintenanceTitle}>{title}</Text>
          {state !== undefined ? <Pill {...operationState(state)} /> : null}
        </View>
        <Text style={styles.maintenanceDescription}>{description}</Text>
      </View>
      {children}
    </View>
  );
}

export default function FirmwarePanel({ keyboard, keyboardsRevision, firmware, operationStates, actions }) {
  const [file, setFile] = useState('');
  const [choosing, setChoosing] = useState(false);
  const active = isUpdateActive(firmware);
  const finished = !active && firmware.phase !== 'idle';
  const config = updateConfigText(keyboard, file);

  const chooseFile = async () => {
    setChoosing(true);
    const chosen = await actions.selectFile();
    setChoosing(false);
    if (typeof chosen === 'string') setFile(chosen);
  };

  return (
    <View style={styles.grid}>
      <View style={styles.mainColumn}>
        <Card title="Update firmware" subtitle="Writes a firmware file, or this keyboard's current configuration, to the keyboard.">
          <View style={styles.fileRow}>
            <View style={styles.fileText}>
              <Text style={textStyles.label}>Firmware file</Text>
              {file ? (
                <Text style={styles.filePath} numberOfLines={1} testID="firmware-file">{file}</Text>
              ) : (
                <Text style={styles.fileNone}>None chosen: the current configuration is written ({config.length.toLocaleString()} characters of JSON).</Text>
              )}
            </View>
            <View style={styles.fileButtons}>
              {file ? <Button label="Clear" small kind="ghost" onPress={() => setFile('')} disabled={active} /> : null}
              <Button label="Choose file…" small testID="select-file" busy={choosing} disabled={active} onPress={chooseFile} />
            </View>
          </View>

          {firmware.phase !== 'idle' || firmware.isFlashing ? (
            <View style={styles.progressBox} testID="update-progress">
              <View style={styles.progressHeader}>
                <Text style={styles.progressTitle}>{phaseText[firmware.phase] || (firmware.isFlashing ? 'Writing firmware…' : '')}</Text>
                <Text style={styles.percent} testID="update-percent">{Math.round(firmware.progress)}%</Text>
              </View>
              <ProgressBar value={firmware.progress} tone={firmware.phase === 'done' ? 'success' : 'accent'} testID="update-progress-bar" />
            </View>
          ) : null}

          <View style={styles.actionsRow}>
            <Button
              label={file ? 'Update from file' : 'Write configuration'}
              kind="primary"
              testID="update-device"
              busy={firmware.phase === 'starting'}
              disabled={active || firmware.isFlashing}
              onPress={() => actions.updateDevice(keyboard.id, config)}
            />
            {active || firmware.isFlashing ? (
              <Button label="Cancel update" kind="danger" testID="cancel-update" disabled={firmware.phase === 'cancelling'} onPress={actions.cancelUpdate} />
            ) : null}
            {finished ? <Button label="Done" kind="ghost" onPress={actions.dismissUpdate} /> : null}
          </View>
        </Card>
      </View>

      <View style={styles.sideColumn}>
        <FirmwareVersion keyboard={keyboard} keyboardsRevision={keyboardsRevision} actions={actions} />
        <Card title="Maintenance" subtitle="For a keyboard that misbehaves.">
          <Maintenance title="Reset firmware" description="Puts the keyboard's firmware back to its factory state." state={operationStates.reset}>
            <ConfirmButton label="Reset" confirmLabel="Reset now" testID="reset-firmware" disabled={active} onConfirm={() => actions.resetFirmware(keyboard.id, keyboard.model)} />
          </Maintenance>
          <Maintenance title="Recover keyboard" description={`Recovers a model ${keyboard.model} keyboard that no longer starts.`} state={operationStates.recover}>
            <ConfirmButton label="Recover" confirmLabel="Recover now" testID="recover-device" disabled={active} onConfirm={() => actions.recoverDevice(keyboard.model)} />
          </Maintenance>
          <Maintenance title="Boot loader" description="Restarts the keyboard into its boot loader.">
            <ConfirmButton label="Restart" confirmLabel="Restart now" testID="reset-to-bootloader" disabled={active} onConfirm={() => actions.resetToBootloader(keyboard.id)} />
          </Maintenance>
        </Card>
      </View>
    </View>
  );
}

const styles = StyleSheet.create({
  grid: { flexDirection: 'row', flexWrap: 'wrap', gap: 20 },
  mainColumn: { flex: 3, minWidth: 380 },
  sideColumn: { flex: 2, minWidth: 300, gap: 20 },
  versionRow: { flexDirection: 'row', alignItems: 'center', justifyContent: 'space-between' },
  version: { fontFamily: fonts.body, fontSize: 28, fontWeight: '700', color: colors.text },
  fileRow: { flexDirection: 'row', alignItems: 'center', padding: 12, borderRadius: radius.medium, backgroundColor: colors.sunken, borderWidth: 1, borderColor: colors.border },
  fileText: { flex: 1, minWidth: 0, marginRight: 12 },
  filePath: { fontFamily: fonts.mono, fontSize: 13, color: colors.text, marginTop: 4 },
  fileNone: { fontFamily: fonts.body, fontSize: 13, color: colors.textMuted, marginTop: 4 },
  fileButtons: { flexDirection: 'row', gap: 6 },
  progressBox: { marginTop: 16 },
  progressHeader: { flexDirection: 'row', justifyContent: 'space-between', marginBottom: 8 },
  progressTitle: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '600', color: colors.text },
  percent: { fontFamily: fonts.mono, fontSize: 13, color: colors.textMuted },
  actionsRow: { flexDirection: 'row', gap: 10, marginTop: 18, alignItems: 'center' },
  maintenance: { flexDirection: 'row', alignItems: 'center', paddingVertical: 12, borderTopWidth: 1, borderTopColor: colors.border, gap: 12 },
  maintenanceText: { flex: 1 },
  maintenanceTitleRow: { flexDirection: 'row', alignItems: 'center', gap: 8 },
  maintenanceTitle: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '600', color: colors.text },
  maintenanceDescription: { fontFamily: fonts.body, fontSize: 12.5, color: colors.textMuted, marginTop: 2 },
  confirmRow: { flexDirection: 'row', gap: 4 },
});
