// Choosing a key's icon among the built-in ones. A custom icon is a picture stored on the
// keyboard: the model carries only its number, so it can be kept or replaced, but not shown or
// changed here, and the picker says so.
import { Image, Pressable, StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { builtinIconList, glyphDataUri, iconDrawing, isBuiltinIcon } from '../logic/icons.js';
import { colors, fonts, radius } from '../theme.js';
import KeyIcon from './KeyIcon.jsx';

export default function IconPicker({ icon, onChange, disabled }) {
  const drawing = iconDrawing(icon);
  const selectedId = isBuiltinIcon(icon) ? Number(icon.id) : null;
  return (
    <View>
      <View style={styles.grid}>
        <Pressable
          testID="icon-none"
          accessibilityRole="button"
          accessibilityLabel={t('icon.none')}
          accessibilityState={{ selected: !icon }}
          disabled={disabled}
          onPress={() => onChange(null)}
          style={({ hovered }) => [styles.cell, !icon && styles.cellActive, hovered && styles.cellHover]}
        >
          <Text style={styles.none}>{t('icon.noneShort')}</Text>
        </Pressable>
        {builtinIconList().map((entry) => {
          const active = selectedId === entry.id;
          return (
            <Pressable
              key={entry.id}
              testID={`icon-choice-${entry.id}`}
              accessibilityRole="button"
              accessibilityLabel={entry.label}
              accessibilityState={{ selected: active }}
              disabled={disabled}
              onPress={() => onChange({ id: entry.id, type: 'builtin' })}
              style={({ hovered }) => [styles.cell, active && styles.cellActive, hovered && styles.cellHover]}
            >
              <Image source={{ uri: glyphDataUri(iconDrawing({ type: 'builtin', id: entry.id }).glyph, active ? colors.accent : colors.text), width: 20, height: 20 }} style={styles.glyph} />
            </Pressable>
          );
        })}
      </View>
      <Text style={styles.caption} testID="icon-caption">
        {drawing?.kind === 'glyph' ? drawing.label : drawing ? '' : t('icon.noneCaption')}
      </Text>
      {drawing && drawing.kind !== 'glyph' ? (
        <View style={styles.custom} testID="icon-custom-note">
          <KeyIcon icon={icon} color={colors.textMuted} size={22} />
          <Text style={styles.customText}>
            {drawing.kind === 'custom' ? t('icon.customNote', { id: drawing.id }) : t('icon.unknownNote', { type: drawing.type, id: drawing.id })}
          </Text>
        </View>
      ) : null}
    </View>
  );
}

const styles = StyleSheet.create({
  grid: { flexDirection: 'row', flexWrap: 'wrap', gap: 4 },
  cell: { width: 34, height: 34, borderRadius: radius.small + 1, alignItems: 'center', justifyContent: 'center', borderWidth: 1, borderColor: colors.border, backgroundColor: colors.surface, cursor: 'pointer' },
  cellHover: { backgroundColor: colors.sunken },
  cellActive: { borderColor: colors.accent, backgroundColor: colors.accentSoft, borderWidth: 2 },
  glyph: { width: 20, height: 20 },
  none: { fontFamily: fonts.body, fontSize: 10, fontWeight: '700', color: colors.textMuted },
  caption: { fontFamily: fonts.body, fontSize: 12, color: colors.textMuted, marginTop: 6 },
  custom: { flexDirection: 'row', alignItems: 'flex-start', gap: 10, marginTop: 8, padding: 10, borderRadius: radius.medium, backgroundColor: colors.warningSoft, borderWidth: 1, borderColor: colors.warningBorder },
  customText: { flex: 1, fontFamily: fonts.body, fontSize: 12, color: colors.text, lineHeight: 17 },
});
