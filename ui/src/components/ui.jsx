// Small building blocks shared by the screens.
import { ActivityIndicator, Pressable, StyleSheet, Text, TextInput, View } from 'react-native';
import { colors, fonts, radius, shadows } from '../theme.js';

export function Card({ title, subtitle, right, children, style }) {
  return (
    <View style={[styles.card, style]}>
      {title ? (
        <View style={styles.cardHeader}>
          <View style={styles.cardHeading}>
            <Text style={styles.cardTitle}>{title}</Text>
            {subtitle ? <Text style={styles.cardSubtitle}>{subtitle}</Text> : null}
          </View>
          {right}
        </View>
      ) : null}
      {children}
    </View>
  );
}

export function Button({ label, onPress, kind = 'secondary', disabled = false, busy = false, testID, small = false }) {
  const inactive = disabled || busy;
  return (
    <Pressable
      accessibilityRole="button"
      testID={testID}
      disabled={inactive}
      onPress={onPress}
      style={({ hovered, pressed }) => [
        styles.button,
        small && styles.buttonSmall,
        styles[`button_${kind}`],
        hovered && !inactive && styles[`button_${kind}_hover`],
        pressed && !inactive && styles.buttonPressed,
        inactive && styles.buttonDisabled,
      ]}
    >
      {busy ? <ActivityIndicator size="small" color={kind === 'primary' ? colors.accentText : colors.accent} style={styles.buttonSpinner} /> : null}
      <Text style={[styles.buttonLabel, small && styles.buttonLabelSmall, styles[`buttonLabel_${kind}`]]}>{label}</Text>
    </Pressable>
  );
}

// A row of tabs; `items` are {key, label}.
export function Tabs({ items, selected, onSelect, testID }) {
  return (
    <View style={styles.tabs} testID={testID} accessibilityRole="tablist">
      {items.map((item) => {
        const active = item.key === selected;
        return (
          <Pressable
            key={item.key}
            testID={testID ? `${testID}-${item.key}` : undefined}
            accessibilityRole="tab"
            accessibilityState={{ selected: active }}
            onPress={() => onSelect(item.key)}
            style={({ hovered }) => [styles.tab, active && styles.tabActive, hovered && !active && styles.tabHover]}
          >
            <Text style={[styles.tabLabel, active && styles.tabLabelActive]}>{item.label}</Text>
          </Pressable>
        );
      })}
    </View>
  );
}

export function Pill({ label, tone = 'neutral' }) {
  return (
    <View style={[styles.pill, styles[`pill_${tone}`]]}>
      <Text style={[styles.pillLabel, styles[`pillLabel_${tone}`]]}>{label}</Text>
    </View>
  );
}

export function Field({ label, children, hint }) {
  return (
    <View style={styles.field}>
      <Text style={styles.fieldLabel}>{label}</Text>
      {children}
      {hint ? <Text style={styles.fieldHint}>{hint}</Text> : null}
    </View>
  );
}

// A small toggle button, as in a row of choices.
export function Chip({ label, active = false, onPress, testID, disabled = false, tone = 'accent' }) {
  return (
    <Pressable
      testID={testID}
      accessibilityRole="button"
      accessibilityState={{ selected: active, disabled }}
      disabled={disabled}
      onPress={onPress}
      style={({ hovered }) => [styles.chip, active && styles[`chipActive_${tone}`], hovered && !active && !disabled && styles.chipHover, disabled && styles.buttonDisabled]}
    >
      <Text style={[styles.chipLabel, active && styles[`chipLabelActive_${tone}`]]} numberOfLines={1}>{label}</Text>
    </Pressable>
  );
}

// A one-line text field; `invalid` draws it as holding a bad value.
export function TextField({ value, onChangeText, invalid = false, testID, nativeID, accessibilityLabel, placeholder, style, mono = false, onBlur, onSubmitEditing, maxLength, editable = true }) {
  return (
    <TextInput
      testID={testID}
      nativeID={nativeID}
      accessibilityLabel={accessibilityLabel}
      accessibilityInvalid={invalid}
      value={value}
      onChangeText={onChangeText}
      onBlur={onBlur}
      onSubmitEditing={onSubmitEditing}
      placeholder={placeholder}
      placeholderTextColor={colors.textFaint}
      maxLength={maxLength}
      editable={editable}
      style={[styles.input, mono && styles.inputMono, invalid && styles.inputInvalid, !editable && styles.inputReadOnly, style]}
    />
  );
}

// A question over the whole window; the page behind it cannot be used until it is answered.
export function Dialog({ title, message, children, actions, testID }) {
  return (
    <View style={styles.scrim} testID={testID} accessibilityViewIsModal>
      <View style={styles.dialog} accessibilityRole="alert">
        <Text style={styles.dialogTitle}>{title}</Text>
        {message ? <Text style={styles.dialogMessage}>{message}</Text> : null}
        {children}
        <View style={styles.dialogActions}>{actions}</View>
      </View>
    </View>
  );
}

export function ProgressBar({ value, tone = 'accent', testID }) {
  const percent = Math.max(0, Math.min(100, value));
  return (
    <View style={styles.progressTrack} testID={testID} accessibilityRole="progressbar" accessibilityValue={{ min: 0, max: 100, now: percent }}>
      <View style={[styles.progressFill, { width: `${percent}%`, backgroundColor: tone === 'success' ? colors.success : colors.accent }]} />
    </View>
  );
}

export const textStyles = StyleSheet.create({
  mono: { fontFamily: fonts.mono, fontSize: 12, color: colors.textMuted },
  muted: { fontFamily: fonts.body, fontSize: 13, color: colors.textMuted },
  body: { fontFamily: fonts.body, fontSize: 14, color: colors.text },
  label: { fontFamily: fonts.body, fontSize: 11, fontWeight: '700', letterSpacing: 0.6, textTransform: 'uppercase', color: colors.textFaint },
});

const styles = StyleSheet.create({
  card: {
    backgroundColor: colors.surface,
    borderRadius: radius.large,
    borderWidth: 1,
    borderColor: colors.border,
    padding: 18,
    boxShadow: shadows.card,
  },
  cardHeader: { flexDirection: 'row', alignItems: 'flex-start', justifyContent: 'space-between', marginBottom: 14, gap: 12 },
  cardHeading: { flexShrink: 1 },
  cardTitle: { fontFamily: fonts.body, fontSize: 15, fontWeight: '700', color: colors.text },
  cardSubtitle: { fontFamily: fonts.body, fontSize: 12.5, color: colors.textMuted, marginTop: 3 },
  button: {
    alignSelf: 'flex-start',
    flexDirection: 'row',
    alignItems: 'center',
    justifyContent: 'center',
    paddingHorizontal: 14,
    height: 34,
    borderRadius: radius.small + 2,
    borderWidth: 1,
    cursor: 'pointer',
    transitionProperty: 'background-color, border-color',
    transitionDuration: '120ms',
  },
  buttonSmall: { height: 28, paddingHorizontal: 10 },
  button_primary: { backgroundColor: colors.accent, borderColor: colors.accent },
  button_primary_hover: { backgroundColor: colors.accentHover, borderColor: colors.accentHover },
  button_secondary: { backgroundColor: colors.surface, borderColor: colors.borderStrong },
  button_secondary_hover: { backgroundColor: colors.sunken },
  button_danger: { backgroundColor: colors.surface, borderColor: colors.dangerButtonBorder },
  button_danger_hover: { backgroundColor: colors.dangerSoft },
  button_ghost: { backgroundColor: 'transparent', borderColor: 'transparent' },
  button_ghost_hover: { backgroundColor: colors.sunken },
  buttonPressed: { opacity: 0.85 },
  buttonDisabled: { opacity: 0.5, cursor: 'default' },
  buttonSpinner: { marginRight: 8 },
  buttonLabel: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '600' },
  buttonLabelSmall: { fontSize: 12.5 },
  buttonLabel_primary: { color: colors.accentText },
  buttonLabel_secondary: { color: colors.text },
  buttonLabel_danger: { color: colors.danger },
  buttonLabel_ghost: { color: colors.textMuted },
  tabs: { flexDirection: 'row', gap: 4, backgroundColor: colors.track, borderRadius: radius.medium, padding: 3, alignSelf: 'flex-start' },
  tab: { paddingHorizontal: 14, paddingVertical: 6, borderRadius: radius.small + 1, cursor: 'pointer' },
  tabHover: { backgroundColor: colors.tabHover },
  tabActive: { backgroundColor: colors.surface, boxShadow: shadows.raised },
  tabLabel: { fontFamily: fonts.body, fontSize: 13, fontWeight: '600', color: colors.textMuted },
  tabLabelActive: { color: colors.text },
  pill: { paddingHorizontal: 8, paddingVertical: 2, borderRadius: 999, alignSelf: 'flex-start' },
  pill_neutral: { backgroundColor: colors.pillNeutral },
  pill_accent: { backgroundColor: colors.accentSoft },
  pill_success: { backgroundColor: colors.successSoft },
  pill_warning: { backgroundColor: colors.warningSoft },
  pill_danger: { backgroundColor: colors.dangerSoft },
  pill_dark: { backgroundColor: colors.headerChip },
  pillLabel: { fontFamily: fonts.body, fontSize: 11.5, fontWeight: '600' },
  pillLabel_neutral: { color: colors.textMuted },
  pillLabel_accent: { color: colors.accent },
  pillLabel_success: { color: colors.success },
  pillLabel_warning: { color: colors.warning },
  pillLabel_danger: { color: colors.danger },
  pillLabel_dark: { color: colors.headerText },
  field: { marginBottom: 14 },
  fieldLabel: { fontFamily: fonts.body, fontSize: 12, fontWeight: '600', color: colors.textMuted, marginBottom: 6 },
  fieldHint: { fontFamily: fonts.body, fontSize: 11.5, color: colors.textFaint, marginTop: 5 },
  chip: { paddingHorizontal: 10, paddingVertical: 5, borderRadius: 999, borderWidth: 1, borderColor: colors.borderStrong, backgroundColor: colors.surface, cursor: 'pointer', maxWidth: 220 },
  chipHover: { backgroundColor: colors.sunken },
  chipActive_accent: { backgroundColor: colors.accentSoft, borderColor: colors.accent },
  chipActive_danger: { backgroundColor: colors.dangerSoft, borderColor: colors.danger },
  chipLabel: { fontFamily: fonts.body, fontSize: 12.5, color: colors.text },
  chipLabelActive_accent: { color: colors.accent, fontWeight: '600' },
  chipLabelActive_danger: { color: colors.danger, fontWeight: '600' },
  input: {
    fontFamily: fonts.body,
    fontSize: 13.5,
    color: colors.text,
    height: 32,
    paddingHorizontal: 10,
    borderRadius: radius.small + 2,
    borderWidth: 1,
    borderColor: colors.borderStrong,
    backgroundColor: colors.surface,
  },
  inputMono: { fontFamily: fonts.mono, fontSize: 13 },
  inputInvalid: { borderColor: colors.danger, backgroundColor: colors.dangerSoft },
  inputReadOnly: { backgroundColor: colors.sunken, color: colors.textMuted },
  scrim: { position: 'absolute', left: 0, top: 0, right: 0, bottom: 0, backgroundColor: colors.scrim, alignItems: 'center', justifyContent: 'center', zIndex: 100 },
  dialog: { width: 440, maxWidth: '90%', backgroundColor: colors.surface, borderRadius: radius.large, padding: 22, boxShadow: shadows.dialog },
  dialogTitle: { fontFamily: fonts.body, fontSize: 17, fontWeight: '700', color: colors.text },
  dialogMessage: { fontFamily: fonts.body, fontSize: 13.5, lineHeight: 20, color: colors.textMuted, marginTop: 8 },
  dialogActions: { flexDirection: 'row', justifyContent: 'flex-end', gap: 8, marginTop: 20 },
  progressTrack: { height: 10, borderRadius: 999, backgroundColor: colors.track, overflow: 'hidden' },
  progressFill: { height: '100%', borderRadius: 999, transitionProperty: 'width', transitionDuration: '180ms' },
});
