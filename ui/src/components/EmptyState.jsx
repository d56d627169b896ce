// What the main area shows when there is nothing to configure yet.
import { ActivityIndicator, StyleSheet, Text, View } from 'react-native';
import { colors, fonts } from '../theme.js';
import { Button } from './ui.jsx';

export default function EmptyState({ title, detail, busy = false, actionLabel, onAction, testID }) {
  return (
    <View style={styles.box} testID={testID}>
      {busy ? <ActivityIndicator size="large" color={colors.accent} style={styles.spinner} /> : <View style={styles.art}>{[0, 1, 2, 3].map((index) => <View key={index} style={styles.artKey} />)}</View>}
      <Text style={styles.title}>{title}</Text>
      {detail ? <Text style={styles.detail}>{detail}</Text> : null}
      {actionLabel ? (
        <View style={styles.action}>
          <Button label={actionLabel} onPress={onAction} />
        </View>
      ) : null}
    </View>
  );
}

const styles = StyleSheet.create({
  box: { flex: 1, alignItems: 'center', justifyContent: 'center', padding: 40, minHeight: 360 },
  spinner: { marginBottom: 18 },
  art: { width: 56, height: 56, flexDirection: 'row', flexWrap: 'wrap', gap: 6, marginBottom: 18 },
  artKey: { width: 25, height: 25, borderRadius: 6, backgroundColor: colors.emptyArt },
  title: { fontFamily: fonts.body, fontSize: 18, fontWeight: '700', color: colors.text, textAlign: 'center' },
  detail: { fontFamily: fonts.body, fontSize: 13.5, color: colors.textMuted, marginTop: 8, textAlign: 'center', maxWidth: 460, lineHeight: 20 },
  action: { marginTop: 18 },
});
