// The window's top bar: product name, app version, and the launch-at-sign-in switch.
import { ActivityIndicator, StyleSheet, Switch, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { colors, fonts } from '../theme.js';

export default function Header({ appVersion, launchAtStartUp, onLaunchAtStartUpChange, serviceStatus }) {
  const serviceLabel = {
    ready: [t('header.connected'), 'success'],
    connecting: [t('header.connecting'), 'dark'],
    waiting: [t('header.waiting'), 'warning'],
    error: [t('header.error'), 'danger'],
    noHost: [t('header.noHost'), 'danger'],
  }[serviceStatus] ?? ['', 'dark'];
  return (
    <View style={styles.bar} accessibilityRole="banner">
      <View style={styles.brand}>
        <View style={styles.logo}>
          {colors.logo.map((tint) => (
            <View key={tint} style={[styles.logoCell, { backgroundColor: tint }]} />
          ))}
        </View>
        <Text style={styles.name}>{t('header.name')}</Text>
        <Text style={styles.product}>{t('header.product')}</Text>
        {appVersion ? <Text style={styles.version} testID="app-version">{t('header.version', { version: appVersion })}</Text> : null}
      </View>
      <View style={styles.right}>
        <View style={styles.status}>
          <View style={[styles.statusDot, styles[`dot_${serviceLabel[1]}`]]} />
          <Text style={styles.statusText}>{serviceLabel[0]}</Text>
        </View>
        <View style={styles.divider} />
        <Text style={styles.switchLabel}>{t('header.launchAtSignIn')}</Text>
        {launchAtStartUp.busy ? <ActivityIndicator size="small" color={colors.headerText} style={styles.spinner} /> : null}
        <Switch
          testID="launch-at-sign-in"
          accessibilityLabel={t('header.launchAtSignIn')}
          value={launchAtStartUp.value === true}
          disabled={launchAtStartUp.busy || launchAtStartUp.value === null}
          onValueChange={onLaunchAtStartUpChange}
          trackColor={{ false: colors.headerSwitchOff, true: colors.accent }}
          thumbColor={colors.surface}
          activeThumbColor={colors.surface}
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
  product: { fontFamily: fonts.body, fontSize: 14, color: colors.headerMuted, marginLeft: 8 },
  version: {
    fontFamily: fonts.mono,
    fontSize: 11.5,
    color: colors.headerSubtle,
    marginLeft: 12,
    paddingHorizontal: 7,
    paddingVertical: 2,
    borderRadius: 999,
    backgroundColor: colors.headerChip,
  },
  right: { flexDirection: 'row', alignItems: 'center' },
  status: { flexDirection: 'row', alignItems: 'center' },
  statusDot: { width: 8, height: 8, borderRadius: 4, marginRight: 7 },
  dot_success: { backgroundColor: colors.status.success },
  dot_dark: { backgroundColor: colors.status.dark },
  dot_warning: { backgroundColor: colors.status.warning },
  dot_danger: { backgroundColor: colors.status.danger },
  statusText: { fontFamily: fonts.body, fontSize: 12.5, color: colors.headerSubtle },
  divider: { width: 1, height: 22, backgroundColor: colors.headerDivider, marginHorizontal: 16 },
  switchLabel: { fontFamily: fonts.body, fontSize: 13, color: colors.headerText, marginRight: 10 },
  spinner: { marginRight: 8 },
});
