// The keyboard picker: one entry per keyboard with its name, model and id.
import { Pressable, StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { colors, fonts, radius } from '../theme.js';

export default function KeyboardList({ keyboards, selectedId, onSelect }) {
  return (
    <View style={styles.list} accessibilityRole="list">
      {keyboards.map((keyboard) => {
        const active = keyboard.id === selectedId;
        return (
          <Pressable
            key={keyboard.id}
            testID={`keyboard-${keyboard.id}`}
            accessibilityRole="button"
            accessibilityState={{ selected: active }}
            onPress={() => onSelect(keyboard.id)}
            style={({ hovered }) => [styles.item, active && styles.itemActive, hovered && !active && styles.itemHover]}
          >
            <View style={[styles.icon, active && styles.iconActive]}>
              {[0, 1, 2].map((row) => (
                <View key={row} style={styles.iconRow}>
                  {[0, 1, 2].map((column) => (
                    <View key={column} style={[styles.iconKey, active && styles.iconKeyActive]} />
                  ))}
                </View>
              ))}
            </View>
            <View style={styles.text}>
              <Text style={styles.name} numberOfLines={1}>{keyboard.name}</Text>
              <Text style={styles.meta} numberOfLines={1}>
                {t('keyboard.modelShort', { model: keyboard.model })} · <Text style={styles.id}>{keyboard.id}</Text>
              </Text>
            </View>
          </Pressable>
        );
      })}
    </View>
  );
}

const styles = StyleSheet.create({
  list: { gap: 4 },
  item: { flexDirection: 'row', alignItems: 'center', padding: 10, borderRadius: radius.medium, cursor: 'pointer', borderWidth: 1, borderColor: 'transparent' },
  itemHover: { backgroundColor: colors.sunken },
  itemActive: { backgroundColor: colors.accentSoft, borderColor: colors.accentBorder },
  icon: { width: 34, height: 34, borderRadius: 8, backgroundColor: colors.listIcon, padding: 5, gap: 2, marginRight: 12 },
  iconActive: { backgroundColor: colors.accent },
  iconRow: { flex: 1, flexDirection: 'row', gap: 2 },
  iconKey: { flex: 1, borderRadius: 1.5, backgroundColor: colors.listIconKey },
  iconKeyActive: { backgroundColor: colors.listIconKeyActive },
  text: { flex: 1, minWidth: 0 },
  name: { fontFamily: fonts.body, fontSize: 14, fontWeight: '600', color: colors.text },
  meta: { fontFamily: fonts.body, fontSize: 12, color: colors.textMuted, marginTop: 2 },
  id: { fontFamily: fonts.mono, fontSize: 11.5 },
});
