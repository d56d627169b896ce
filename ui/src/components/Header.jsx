// The window's top bar: product name, app version, and the launch-at-sign-in switch.
import { ActivityIndicator, StyleSheet, Switch, Text, View } from 'react-native';
import { colors, fonts } from '../theme.js';

export default function Header({ appVersion, launchAtStartUp, onLaunchAtStartUpChange, serviceStatus }) {
  const serviceLabel = {
    ready: ['Service connected', 'success'],
    connecting: ['Connecting…', 'dark'],
    waiting: ['Waiting for service', 'warning'],
    error: ['Service error', 'danger'],
    noHost: ['No host', 'danger'],
  }[serviceStatus] ?? ['', 'dark'];
  return (
    <View style={styles.bar} accessibilityRole="banner">
      <View style={styles.brand}>
        <View style={styles.logo}>
          <View style={[styles.logoCell, { backgroundColor: '#8A93FF' }]} />
          <View style={[styles.logoCell, { backgroundColor: '#5BD6B0' }]} />
          <View style={[styles.logoCell, { backgroundColor: '#FFD166' }]} />
          <View style={[styles.logoCell, { backgroundColor: '#EF476F' }]} />
        </View>
        <Text style={styles.name}>Tessarel</Text>
        <Text style={styles.product}>Keyboard Configurator</Text>
        {appVersion ? <Text style={styles.version} testID="app-version">v{appVersion}</Text> : null}
      </View>
      <View style={styles.right}>
        <View style={styles.status}>
          <View style={[styles.statusDot, styles[`dot_${serviceLabel[1]}`]]} />
          <Text style={styles.statusText}>{serviceLabel[0]}</Text>
        </View>
        <View style={styles.divider} />
        <Text style={styles.switchLabel}>Launch at sign-in</Text>
        {launchAtStartUp.busy ? <ActivityIndicator size="small" color={colors.headerText} style={styles.spinner} /> : null}
        <Switch
          testID="launch-at-sign-in"
          accessibilityLabel="Launch at sign-in"
          value={launchAtStartUp.value === true}
          disabled={launchAtStartUp.busy || launchAtStartUp.value === null}
          onValueChange={onLaunchAtStartUpChange}
          trackColor={{ false: '#4A4E58', true: colors.accent }}
          thumbColor="#FFFFFF"
          activeThumbColor="#FFFFFF"
        />
      </View>
    </View>
  );
}

const styles = StyleSheet.create({
  bar: {
    height: 56,
    flexDirection: 'row',
    alignItems: 'center',
    justifyContent: 'space-between',
    paddingHorizontal: 20,
    backgroundColor: colors.header,
  },
  brand: { flexDirection: 'row', alignItems: 'center' },
  logo: { width: 22, height: 22, flexDirection: 'row', flexWrap: 'wrap', gap: 2, marginRight: 10 },
  logoCell: { width: 10, height: 10, borderRadius: 2.5 },
  name: { fontFamily: fonts.body, fontSize: 17, fontWeight: '700', color: colors.headerText, letterSpacing: 0.2 },
  product: { fontFamily: fonts.body, fontSize: 14, color: '#A3A8B3', marginLeft: 8 },
  version: {
    fontFamily: fonts.mono,
    fontSize: 11.5,
    color: '#C5C9D2',
    marginLeft: 12,
    paddingHorizontal: 7,
    paddingVertical: 2,
    borderRadius: 999,
    backgroundColor: 'rgba(255,255,255,0.10)',
  },
  right: { flexDirection: 'row', alignItems: 'center' },
  status: { flexDirection: 'row', alignItems: 'center' },
  statusDot: { width: 8, height: 8, borderRadius: 4, marginRight: 7 },
  dot_success: { backgroundColor: '#3CCB8A' },
  dot_dark: { backgroundColor: '#8A909C' },
  dot_warning: { backgroundColor: '#F2B23A' },
  dot_danger: { backgroundColor: '#F05A72' },
  statusText: { fontFamily: fonts.body, fontSize: 12.5, color: '#C5C9D2' },
  divider: { width: 1, height: 22, backgroundColor: 'rgba(255,255,255,0.14)', marginHorizontal: 16 },
  switchLabel: { fontFamily: fonts.body, fontSize: 13, color: colors.headerText, marginRight: 10 },
  spinner: { marginRight: 8 },
});
