// Why a configuration file was not imported: every problem with its place in the file. Nothing
// of such a file is staged.
import { StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { colors, fonts, radius } from '../theme.js';
import { Button } from './ui.jsx';

const shownProblems = 8;

export default function ImportError({ fileName, problems, onDismiss }) {
  return (
    <View style={styles.box} testID="import-error" accessibilityRole="alert">
      <View style={styles.heading}>
        <View style={styles.text}>
          <Text style={styles.title}>{t('import.failed', { name: fileName })}</Text>
          <Text style={styles.detail}>{t('import.nothingStaged', { count: problems.length })}</Text>
        </View>
        <Button label={t('common.dismiss')} small kind="ghost" testID="import-error-dismiss" onPress={onDismiss} />
      </View>
      {problems.slice(0, shownProblems).map((problem, index) => (
        <Text key={index} style={styles.problem} testID={`import-problem-${index}`} selectable>{problem}</Text>
      ))}
      {problems.length > shownProblems ? <Text style={styles.more}>{t('import.more', { count: problems.length - shownProblems })}</Text> : null}
    </View>
  );
}

const styles = StyleSheet.create({
  box: { marginBottom: 16, padding: 14, borderRadius: radius.large, borderWidth: 1, borderColor: colors.dangerBorder, backgroundColor: colors.dangerSoft, gap: 4 },
  heading: { flexDirection: 'row', alignItems: 'flex-start', gap: 10, marginBottom: 6 },
  text: { flex: 1 },
  title: { fontFamily: fonts.body, fontSize: 14, fontWeight: '700', color: colors.danger },
  detail: { fontFamily: fonts.body, fontSize: 12.5, color: colors.textMuted, marginTop: 2 },
  problem: { fontFamily: fonts.mono, fontSize: 12.5, color: colors.text },
  more: { fontFamily: fonts.body, fontSize: 12, color: colors.textMuted },
});
