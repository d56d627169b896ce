// Errors and notices above the content, each dismissable.
import { Pressable, StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { colors, fonts, radius } from '../theme.js';

function Banner({ tone, title, message, count, onDismiss, testID }) {
  return (
    <View style={[styles.banner, styles[tone]]} testID={testID} accessibilityRole="alert">
      <View style={[styles.mark, styles[`mark_${tone}`]]}>
        <Text style={styles.markText}>{tone === 'error' ? '!' : 'i'}</Text>
      </View>
      <View style={styles.body}>
        <Text style={styles.title}>
          {title}
          {count > 1 ? <Text style={styles.count}>{`  ×${count}`}</Text> : null}
        </Text>
        {message ? <Text style={styles.message} selectable>{message}</Text> : null}
      </View>
      <Pressable accessibilityRole="button" accessibilityLabel={t('common.dismiss')} testID={`${testID}-dismiss`} onPress={onDismiss} style={({ hovered }) => [styles.close, hovered && styles.closeHover]}>
        <Text style={styles.closeText}>✕</Text>
      </Pressable>
    </View>
  );
}

export default function Banners({ errors, notices, onDismissError, onDismissNotice }) {
  if (errors.length === 0 && notices.length === 0) return null;
  return (
    <View style={styles.stack}>
      {notices.map((notice) => (
        <Banner key={`n${notice.id}`} tone="notice" title={t('notice.title')} message={notice.text} onDismiss={() => onDismissNotice(notice.id)} testID="notice" />
      ))}
      {errors.map((error) => (
        <Banner key={`e${error.id}`} tone="error" title={error.title} message={error.message} count={error.count} onDismiss={() => onDismissError(error.id)} testID="error" />
      ))}
    </View>
  );
}

const styles = StyleSheet.create({
  stack: { gap: 8, paddingHorizontal: 24, paddingTop: 16 },
  banner: { flexDirection: 'row', alignItems: 'flex-start', borderRadius: radius.medium, borderWidth: 1, paddingVertical: 10, paddingHorizontal: 12 },
  error: { backgroundColor: colors.dangerSoft, borderColor: colors.dangerBorder },
  notice: { backgroundColor: colors.accentSoft, borderColor: colors.noticeBorder },
  mark: { width: 20, height: 20, borderRadius: 10, alignItems: 'center', justifyContent: 'center', marginRight: 10, marginTop: 1 },
  mark_error: { backgroundColor: colors.danger },
  mark_notice: { backgroundColor: colors.accent },
  markText: { color: colors.accentText, fontFamily: fonts.body, fontWeight: '800', fontSize: 12 },
  body: { flex: 1 },
  title: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '700', color: colors.text },
  count: { fontWeight: '600', color: colors.textMuted },
  message: { fontFamily: fonts.body, fontSize: 13, color: colors.textMuted, marginTop: 2 },
  close: { width: 26, height: 26, borderRadius: 13, alignItems: 'center', justifyContent: 'center', cursor: 'pointer' },
  closeHover: { backgroundColor: colors.hover },
  closeText: { fontSize: 12, color: colors.textMuted },
});
