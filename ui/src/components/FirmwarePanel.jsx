// Firmware of the selected keyboard: version, update with progress and cancel, and the
// maintenance commands (reset, recovery, boot loader).
import { useEffect, useRef, useState } from 'react';
import { ActivityIndicator, StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { isUpdateActive, operationState } from '../logic/firmware.js';
import { colors, fonts, radius } from '../theme.js';
import { Button, Card, Pill, ProgressBar, textStyles } from './ui.jsx';

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
    <Card title={t('firmware.version')} subtitle={t('firmware.versionSubtitle', { name: keyboard.name, model: keyboard.model })}>
      <View style={styles.versionRow}>
        {version.loading ? (
          <ActivityIndicator color={colors.accent} />
        ) : (
          <Text style={styles.version} testID="firmware-version">{version.value === null ? t('firmware.unknown') : version.value}</Text>
        )}
        <Button label={t('firmware.checkAgain')} small kind="ghost" onPress={load} disabled={version.loading} />
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
      <Button label={t('common.cancel')} kind="ghost" small onPress={() => setConfirming(false)} disabled={busy} />
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

// `update` is the update as this keyboard's page shows it (updateFor), `operations` the reset
// and recovery states that belong to this keyboard, `file` the firmware file chosen for it.
export default function FirmwarePanel({ keyboard, keyboardsRevision, update, operations, file, onFileChange, actions }) {
  const [choosing, setChoosing] = useState(false);
  const active = isUpdateActive(update) || update.isFlashing;
  const finished = !active && update.phase !== 'idle';
  const busy = active || update.elsewhere;
  const writingConfiguration = update.purpose === 'configuration';

  const chooseFile = async () => {
    setChoosing(true);
    const chosen = await actions.selectFile();
    setChoosing(false);
    if (typeof chosen === 'string' && chosen !== '') onFileChange(chosen);
  };

  return (
    <View style={styles.grid}>
      <View style={styles.mainColumn}>
        <Card title={t('firmware.update')} subtitle={t('firmware.updateSubtitle')}>
          <View style={styles.fileRow}>
            <View style={styles.fileText}>
              <Text style={textStyles.label}>{t('firmware.file')}</Text>
              {file ? (
                <Text style={styles.filePath} numberOfLines={1} testID="firmware-file">{file}</Text>
              ) : (
                <Text style={styles.fileNone}>{t('firmware.noFile')}</Text>
              )}
            </View>
            <View style={styles.fileButtons}>
              {file ? <Button label={t('firmware.clearFile')} small kind="ghost" onPress={() => onFileChange('')} disabled={active} /> : null}
              <Button label={t('firmware.chooseFile')} small testID="select-file" busy={choosing} disabled={active} onPress={chooseFile} />
            </View>
          </View>

          {update.elsewhere ? (
            <Text style={styles.elsewhere} testID="update-elsewhere">{t('firmware.elsewhere')}</Text>
          ) : null}

          {update.phase !== 'idle' ? (
            <View style={styles.progressBox} testID="update-progress">
              <View style={styles.progressHeader}>
                <Text style={styles.progressTitle}>{t(`firmware.phase.${writingConfiguration ? 'configuration.' : ''}${update.phase}`)}</Text>
                <Text style={styles.percent} testID="update-percent">{Math.round(update.progress)}%</Text>
              </View>
              <ProgressBar value={update.progress} tone={update.phase === 'done' ? 'success' : 'accent'} testID="update-progress-bar" />
            </View>
          ) : null}

          <View style={styles.actionsRow}>
            <Button
              label={t('firmware.updateButton')}
              kind="primary"
              testID="update-device"
              busy={update.phase === 'starting'}
              disabled={busy || !file}
              onPress={() => actions.updateDevice(keyboard.id, file, 'firmware')}
            />
            {active ? (
              <Button label={t('firmware.cancelUpdate')} kind="danger" testID="cancel-update" disabled={update.phase === 'cancelling'} onPress={actions.cancelUpdate} />
            ) : null}
            {finished ? <Button label={t('firmware.done')} kind="ghost" onPress={actions.dismissUpdate} /> : null}
          </View>
          <Text style={styles.configurationNote}>{t('firmware.configurationNote')}</Text>
        </Card>
      </View>

      <View style={styles.sideColumn}>
        <FirmwareVersion keyboard={keyboard} keyboardsRevision={keyboardsRevision} actions={actions} />
        <Card title={t('maintenance.title')} subtitle={t('maintenance.subtitle')}>
          <Maintenance title={t('maintenance.reset')} description={t('maintenance.resetDescription')} state={operations.reset ?? undefined}>
            <ConfirmButton label={t('maintenance.resetButton')} confirmLabel={t('maintenance.resetConfirm')} testID="reset-firmware" disabled={busy} onConfirm={() => actions.resetFirmware(keyboard.id, keyboard.model)} />
          </Maintenance>
          <Maintenance title={t('maintenance.recover')} description={t('maintenance.recoverDescription', { model: keyboard.model })} state={operations.recover ?? undefined}>
            <ConfirmButton label={t('maintenance.recoverButton')} confirmLabel={t('maintenance.recoverConfirm')} testID="recover-device" disabled={busy} onConfirm={() => actions.recoverDevice(keyboard.id, keyboard.model)} />
          </Maintenance>
          <Maintenance title={t('maintenance.bootloader')} description={t('maintenance.bootloaderDescription')}>
            <ConfirmButton label={t('maintenance.bootloaderButton')} confirmLabel={t('maintenance.bootloaderConfirm')} testID="reset-to-bootloader" disabled={busy} onConfirm={() => actions.resetToBootloader(keyboard.id)} />
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
  elsewhere: { fontFamily: fonts.body, fontSize: 13, color: colors.warning, marginTop: 14, padding: 10, borderRadius: radius.medium, backgroundColor: colors.warningSoft },
  configurationNote: { fontFamily: fonts.body, fontSize: 12, color: colors.textFaint, marginTop: 12 },
});
