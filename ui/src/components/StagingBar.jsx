// The bar under the editor: how many changes are staged, undo, redo, discard, and writing them
// to the keyboard with its progress and its outcome.
import { StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { problemText } from '../logic/validation.js';
import { colors, fonts, radius, shadows } from '../theme.js';
import { Button, ProgressBar } from './ui.jsx';

function WriteState({ write, update, keyboardName, onCancel, onDismiss }) {
  if (write.phase === 'writing' || write.phase === 'reading') {
    const percent = write.phase === 'reading' ? 100 : Math.round(update.progress);
    return (
      <View style={styles.progress} testID="write-progress">
        <View style={styles.progressHeader}>
          <Text style={styles.progressTitle}>{write.phase === 'reading' ? t('write.reading') : t('write.writing', { name: keyboardName })}</Text>
          <Text style={styles.percent} testID="write-percent">{`${percent}%`}</Text>
        </View>
        <ProgressBar value={percent} />
        {write.phase === 'writing' ? (
          <View style={styles.actions}>
            <Button label={t('write.cancel')} small kind="danger" testID="write-cancel" disabled={update.phase === 'cancelling'} onPress={onCancel} />
          </View>
        ) : null}
      </View>
    );
  }
  const succeeded = write.phase === 'succeeded';
  return (
    <View style={[styles.result, succeeded ? styles.resultSuccess : styles.resultFailure]} testID="write-result" accessibilityRole="alert">
      <View style={styles.resultText}>
        <Text style={styles.resultTitle} testID={succeeded ? 'write-succeeded' : 'write-failed'}>
          {succeeded ? t('write.succeeded', { name: keyboardName }) : t('write.failed')}
        </Text>
        <Text style={styles.resultDetail}>{succeeded ? t('write.succeededDetail') : `${write.message} ${t('write.keptStaged')}`}</Text>
      </View>
      <Button label={t('common.dismiss')} small kind="ghost" testID="write-dismiss" onPress={onDismiss} />
    </View>
  );
}

export default function StagingBar({ staging, update, keyboardName, onCancel }) {
  const { differences, problems, write, writing } = staging;
  const count = differences.count;
  if (count === 0 && !write) return null;
  const busyElsewhere = update.elsewhere;
  return (
    <View style={styles.bar} testID="staging-bar">
      {write ? <WriteState write={write} update={update} keyboardName={keyboardName} onCancel={onCancel} onDismiss={staging.dismissWrite} /> : null}
      {count > 0 && !writing ? (
        <>
          {problems.length > 0 ? (
            <View style={styles.problems} testID="staging-problems">
              <Text style={styles.problemsTitle}>{t('staging.problems', { count: problems.length })}</Text>
              {problems.slice(0, 4).map((problem) => (
                <Text key={`${problem.where}${problem.message}`} style={styles.problem}>{problemText(problem)}</Text>
              ))}
            </View>
          ) : null}
          <View style={styles.row}>
            <View style={styles.dot} />
            <Text style={styles.count} testID="staged-count">{t('staging.count', { count })}</Text>
            <View style={styles.spacer} />
            <Button label={t('staging.undo')} small kind="ghost" testID="undo" disabled={!staging.canUndo} onPress={staging.undo} />
            <Button label={t('staging.redo')} small kind="ghost" testID="redo" disabled={!staging.canRedo} onPress={staging.redo} />
            <Button label={t('staging.discard')} small kind="danger" testID="discard" onPress={staging.discard} />
            <Button label={t('staging.write')} kind="primary" testID="write-keyboard" disabled={problems.length > 0 || busyElsewhere} onPress={staging.writeToKeyboard} />
          </View>
          {busyElsewhere ? <Text style={styles.note}>{t('staging.busyElsewhere')}</Text> : null}
        </>
      ) : null}
    </View>
  );
}

const styles = StyleSheet.create({
  bar: { borderTopWidth: 1, borderTopColor: colors.border, backgroundColor: colors.surface, paddingHorizontal: 24, paddingVertical: 12, gap: 10, boxShadow: shadows.bar },
  row: { flexDirection: 'row', alignItems: 'center', gap: 8 },
  dot: { width: 10, height: 10, borderRadius: 5, backgroundColor: colors.edited },
  count: { fontFamily: fonts.body, fontSize: 14, fontWeight: '700', color: colors.text },
  spacer: { flex: 1 },
  note: { fontFamily: fonts.body, fontSize: 12, color: colors.textMuted },
  problems: { padding: 10, borderRadius: radius.medium, backgroundColor: colors.dangerSoft, borderWidth: 1, borderColor: colors.dangerBorder, gap: 2 },
  problemsTitle: { fontFamily: fonts.body, fontSize: 13, fontWeight: '700', color: colors.danger },
  problem: { fontFamily: fonts.body, fontSize: 12.5, color: colors.text },
  progress: { gap: 8 },
  progressHeader: { flexDirection: 'row', justifyContent: 'space-between' },
  progressTitle: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '700', color: colors.text },
  percent: { fontFamily: fonts.mono, fontSize: 13, color: colors.textMuted },
  actions: { flexDirection: 'row', justifyContent: 'flex-end' },
  result: { flexDirection: 'row', alignItems: 'center', gap: 10, padding: 10, borderRadius: radius.medium, borderWidth: 1 },
  resultSuccess: { backgroundColor: colors.successSoft, borderColor: colors.successBorder },
  resultFailure: { backgroundColor: colors.dangerSoft, borderColor: colors.dangerBorder },
  resultText: { flex: 1 },
  resultTitle: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '700', color: colors.text },
  resultDetail: { fontFamily: fonts.body, fontSize: 12.5, color: colors.textMuted, marginTop: 2 },
});
