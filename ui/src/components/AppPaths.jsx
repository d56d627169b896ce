// The keyboard's eight application slots: the programs that keys with the action "start an
// application" start. Each path is edited in place (staged like every other change); a path must
// be empty or absolute, and one that is not is marked and keeps the keyboard from being written.
import { StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { ActionType, appSlotCount } from '../logic/actions.js';
import { isValidAppPath } from '../logic/validation.js';
import { colors, fonts, radius } from '../theme.js';
import { Card, TextField } from './ui.jsx';

// How many keys, on all layers, start the application of each slot.
function keysPerSlot(keyboard) {
  const counts = new Array(appSlotCount).fill(0);
  for (const layer of keyboard.layers ?? []) {
    for (const row of layer?.keys ?? []) {
      for (const key of row ?? []) {
        const slot = key?.action?.type === ActionType.startApplication ? key.action.macros?.[0] : null;
        if (Number.isInteger(slot) && slot >= 0 && slot < appSlotCount) counts[slot] += 1;
      }
    }
  }
  return counts;
}

export default function AppPaths({ keyboard, editedSlots, onChange, locked }) {
  const uses = keysPerSlot(keyboard);
  return (
    <Card title={t('apps.title')} subtitle={t('apps.subtitle')}>
      <View style={styles.list}>
        {Array.from({ length: appSlotCount }, (_, slot) => {
          const path = keyboard.appPaths[slot] ?? '';
          const valid = isValidAppPath(path);
          const edited = editedSlots.includes(slot);
          return (
            <View key={slot} style={styles.slot} testID={`app-slot-row-${slot}`}>
              <View style={[styles.number, path ? styles.numberSet : null]}>
                <Text style={[styles.numberText, path ? styles.numberTextSet : null]}>{slot + 1}</Text>
              </View>
              <View style={styles.field}>
                <TextField
                  testID={`app-path-${slot}`}
                  nativeID={`app-path-${slot}`}
                  accessibilityLabel={t('apps.pathLabel', { number: slot + 1 })}
                  value={path}
                  placeholder={t('apps.empty')}
                  invalid={!valid}
                  mono
                  editable={!locked}
                  onChangeText={(value) => onChange(slot, value)}
                />
                <Text style={[styles.note, !valid && styles.noteInvalid]} testID={!valid ? `app-path-${slot}-invalid` : undefined}>
                  {!valid ? t('apps.invalid') : uses[slot] > 0 ? t('apps.used', { count: uses[slot] }) : t('apps.unused')}
                </Text>
              </View>
              {edited ? <View style={styles.editedMark} testID={`app-path-${slot}-edited`} accessibilityLabel={t('apps.edited')} /> : <View style={styles.editedSpace} />}
            </View>
          );
        })}
      </View>
    </Card>
  );
}

const styles = StyleSheet.create({
  list: { gap: 10 },
  slot: { flexDirection: 'row', alignItems: 'flex-start', gap: 10 },
  number: { width: 32, height: 32, borderRadius: radius.small + 2, alignItems: 'center', justifyContent: 'center', backgroundColor: colors.sunken, borderWidth: 1, borderColor: colors.border },
  numberSet: { backgroundColor: colors.accentSoft, borderColor: colors.accentBorder },
  numberText: { fontFamily: fonts.mono, fontSize: 13, fontWeight: '700', color: colors.textFaint },
  numberTextSet: { color: colors.accent },
  field: { flex: 1, minWidth: 0 },
  note: { fontFamily: fonts.body, fontSize: 11.5, color: colors.textFaint, marginTop: 3 },
  noteInvalid: { color: colors.danger, fontWeight: '600' },
  editedMark: { width: 10, height: 10, borderRadius: 5, backgroundColor: colors.edited, marginTop: 11 },
  editedSpace: { width: 10 },
});
