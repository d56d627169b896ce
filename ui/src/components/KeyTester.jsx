// "Press a key": the HID usage code of every key pressed in the window, as "keyDown" reports
// it, with a text field to type into.
import { Pressable, StyleSheet, Text, TextInput, View } from 'react-native';
import { hidUsageName } from '../logic/hid.js';
import { t } from '../i18n/index.js';
import { colors, fonts, radius } from '../theme.js';

export default function KeyTester({ keyPresses, onClear }) {
  const [latest, ...earlier] = keyPresses;
  return (
    <View style={styles.panel}>
      <View style={styles.heading}>
        <Text style={styles.title}>{t('tester.title')}</Text>
        {keyPresses.length > 0 ? (
          <Pressable onPress={onClear} accessibilityRole="button" style={({ hovered }) => [styles.clear, hovered && styles.clearHover]}>
            <Text style={styles.clearText}>{t('tester.clear')}</Text>
          </Pressable>
        ) : null}
      </View>
      <Text style={styles.hint}>{t('tester.hint')}</Text>
      <TextInput
        testID="key-test-input"
        nativeID="key-test-input"
        accessibilityLabel={t('tester.field')}
        placeholder={t('tester.placeholder')}
        placeholderTextColor={colors.textFaint}
        autoFocus
        style={styles.input}
      />
      <View style={styles.latest} testID="key-test-latest">
        {latest ? (
          <>
            <Text style={styles.latestName} numberOfLines={1}>{hidUsageName(latest.code)}</Text>
            <Text style={styles.latestCode}>{t('tester.code', { code: latest.code })}</Text>
          </>
        ) : (
          <Text style={styles.placeholder}>{t('tester.none')}</Text>
        )}
      </View>
      {earlier.length > 0 ? (
        <View style={styles.history}>
          {earlier.map((press) => (
            <View key={press.id} style={styles.chip}>
              <Text style={styles.chipName} numberOfLines={1}>{hidUsageName(press.code)}</Text>
              <Text style={styles.chipCode}>{press.code}</Text>
            </View>
          ))}
        </View>
      ) : null}
    </View>
  );
}

const styles = StyleSheet.create({
  panel: { padding: 14, borderRadius: radius.large, backgroundColor: colors.surface, borderWidth: 1, borderColor: colors.border },
  heading: { flexDirection: 'row', alignItems: 'center', justifyContent: 'space-between' },
  title: { fontFamily: fonts.body, fontSize: 14, fontWeight: '700', color: colors.text },
  clear: { paddingHorizontal: 8, paddingVertical: 3, borderRadius: 6, cursor: 'pointer' },
  clearHover: { backgroundColor: colors.sunken },
  clearText: { fontFamily: fonts.body, fontSize: 12, color: colors.accent, fontWeight: '600' },
  hint: { fontFamily: fonts.body, fontSize: 12, color: colors.textMuted, marginTop: 4, marginBottom: 10 },
  input: {
    fontFamily: fonts.body,
    fontSize: 13.5,
    color: colors.text,
    height: 34,
    paddingHorizontal: 10,
    borderRadius: radius.small + 2,
    borderWidth: 1,
    borderColor: colors.borderStrong,
    backgroundColor: colors.sunken,
    outlineColor: colors.accent,
  },
  latest: {
    marginTop: 10,
    height: 64,
    borderRadius: radius.medium,
    backgroundColor: colors.header,
    alignItems: 'center',
    justifyContent: 'center',
    paddingHorizontal: 10,
  },
  latestName: { fontFamily: fonts.body, fontSize: 20, fontWeight: '700', color: colors.headerText },
  latestCode: { fontFamily: fonts.mono, fontSize: 12, color: colors.headerMuted, marginTop: 2 },
  placeholder: { fontFamily: fonts.body, fontSize: 13, color: colors.headerMuted },
  history: { flexDirection: 'row', flexWrap: 'wrap', gap: 6, marginTop: 10 },
  chip: { flexDirection: 'row', alignItems: 'center', paddingHorizontal: 8, paddingVertical: 3, borderRadius: 999, backgroundColor: colors.sunken, borderWidth: 1, borderColor: colors.border, maxWidth: 150 },
  chipName: { fontFamily: fonts.body, fontSize: 12, color: colors.text, marginRight: 5 },
  chipCode: { fontFamily: fonts.mono, fontSize: 11, color: colors.textFaint },
});
