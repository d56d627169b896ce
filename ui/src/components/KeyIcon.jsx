// A key's icon: a built-in icon as its glyph, a custom icon (a picture only the keyboard has) as
// a placeholder that says so, anything else by its type and number.
import { Image, StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { glyphDataUri, iconDrawing } from '../logic/icons.js';
import { fonts } from '../theme.js';

export default function KeyIcon({ icon, color, size = 24, compact = false }) {
  const drawing = iconDrawing(icon);
  if (!drawing) return null;
  if (drawing.kind === 'glyph') {
    return (
      <Image
        source={{ uri: glyphDataUri(drawing.glyph, color), width: size, height: size }}
        style={{ width: size, height: size }}
        accessibilityLabel={drawing.label}
        testID="key-icon-glyph"
      />
    );
  }
  const label = drawing.kind === 'custom' ? t('icon.customShort', { id: drawing.id }) : t('icon.unknownShort', { type: drawing.type, id: drawing.id });
  return (
    <View style={[styles.placeholder, { borderColor: color, width: size + 8, height: size }]} accessibilityLabel={label} testID="key-icon-placeholder">
      <Text style={[styles.placeholderText, { color }]} numberOfLines={1}>
        {compact ? '?' : drawing.kind === 'custom' ? t('icon.customMark') : '?'}
      </Text>
    </View>
  );
}

const styles = StyleSheet.create({
  placeholder: { borderWidth: 1.5, borderStyle: 'dashed', borderRadius: 5, alignItems: 'center', justifyContent: 'center', opacity: 0.85 },
  placeholderText: { fontFamily: fonts.body, fontSize: 9, fontWeight: '700', letterSpacing: 0.4, textTransform: 'uppercase' },
});
