// The keyboard's eight application slots.
import { StyleSheet, Text, View } from 'react-native';
import { colors, fonts, radius } from '../theme.js';
import { Card } from './ui.jsx';

export default function AppPaths({ keyboard }) {
  return (
    <Card title="Applications" subtitle="The eight programs this keyboard switches between.">
      <View style={styles.grid}>
        {keyboard.appPaths.map((path, slot) => (
          <View key={slot} style={styles.slot} testID={`app-path-${slot}`}>
            <View style={[styles.number, path ? styles.numberSet : null]}>
              <Text style={[styles.numberText, path ? styles.numberTextSet : null]}>{slot + 1}</Text>
            </View>
            <View style={styles.text}>
              {path ? (
                <>
                  <Text style={styles.name} numberOfLines={1}>{path.split('/').pop() || path}</Text>
                  <Text style={styles.path} numberOfLines={1}>{path}</Text>
                </>
              ) : (
                <Text style={styles.empty}>Empty slot</Text>
              )}
            </View>
          </View>
        ))}
      </View>
    </Card>
  );
}

const styles = StyleSheet.create({
  grid: { flexDirection: 'row', flexWrap: 'wrap', marginHorizontal: -6 },
  slot: { width: '50%', flexDirection: 'row', alignItems: 'center', padding: 6 },
  number: { width: 30, height: 30, borderRadius: radius.small + 2, alignItems: 'center', justifyContent: 'center', backgroundColor: colors.sunken, borderWidth: 1, borderColor: colors.border, marginRight: 10 },
  numberSet: { backgroundColor: colors.accentSoft, borderColor: '#D3D7F7' },
  numberText: { fontFamily: fonts.mono, fontSize: 13, fontWeight: '700', color: colors.textFaint },
  numberTextSet: { color: colors.accent },
  text: { flex: 1, minWidth: 0 },
  name: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '600', color: colors.text },
  path: { fontFamily: fonts.mono, fontSize: 11.5, color: colors.textMuted, marginTop: 1 },
  empty: { fontFamily: fonts.body, fontSize: 13, color: colors.textFaint, fontStyle: 'italic' },
});
