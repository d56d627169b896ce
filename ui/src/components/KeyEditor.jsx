// The selected key: what it does (action and macros), its icon and its two colours, all staged
// until written; a light preview on the keyboard; and a simulated press into a program.
import { useEffect, useState } from 'react';
import { StyleSheet, Text, TextInput, View } from 'react-native';
import { t } from '../i18n/index.js';
import { actionTypeName, actionTypes, describeAction, layerName, macrosForType } from '../logic/actions.js';
import { rgbToHex } from '../logic/color.js';
import { colors, fonts, radius } from '../theme.js';
import ColorPicker from './ColorPicker.jsx';
import IconPicker from './IconPicker.jsx';
import MacroEditor from './MacroEditor.jsx';
import { Button, Card, Chip, Field, Pill, textStyles } from './ui.jsx';

// The animation numbers are the keyboard service's; these names are the ones this UI offers.
const animationPresets = [0, 1, 2, 3];

const defaultColor = { r: 255, g: 255, b: 255 };

function Section({ title, hint, children, first = false, testID }) {
  return (
    <View style={[styles.section, first && styles.sectionFirst]} testID={testID}>
      <Text style={styles.sectionTitle}>{title}</Text>
      {hint ? <Text style={styles.sectionHint}>{hint}</Text> : null}
      {children}
    </View>
  );
}

// Which of the key's two colours the picker edits; a colour may also be none.
function Colours({ keyData, onChange, disabled, target, setTarget }) {
  const field = target === 'active' ? 'activeColor' : 'inactiveColor';
  const value = keyData[field];
  return (
    <View>
      <View style={styles.choiceRow}>
        <Chip testID="color-target-inactive" label={t('colors.inactive')} active={target === 'inactive'} onPress={() => setTarget('inactive')} />
        <Chip testID="color-target-active" label={t('colors.active')} active={target === 'active'} onPress={() => setTarget('active')} />
      </View>
      <Text style={styles.colorHint}>{t(target === 'active' ? 'colors.activeHint' : 'colors.inactiveHint')}</Text>
      {value ? (
        <View pointerEvents={disabled ? 'none' : 'auto'}>
          <ColorPicker testID={`${target}-color`} value={value} onChange={(color) => onChange({ [field]: color }, `color:${field}`)} />
          <View style={styles.buttonRow}>
            <Button label={t('colors.clear')} small kind="ghost" testID={`${target}-color-clear`} disabled={disabled} onPress={() => onChange({ [field]: null })} />
          </View>
        </View>
      ) : (
        <View style={styles.noColor}>
          <Text style={textStyles.muted}>{t('colors.none')}</Text>
          <Button label={t('colors.set')} small testID={`${target}-color-set`} disabled={disabled} onPress={() => onChange({ [field]: defaultColor })} />
        </View>
      )}
    </View>
  );
}

export default function KeyEditor({ keyboard, layer, position, keyData, edited, problem, onEdit, actions, subscribeKeyDown, onShowApplications, locked }) {
  const [target, setTarget] = useState('active');
  const [animationType, setAnimationType] = useState(0);
  const [animationData, setAnimationData] = useState('0');
  const [busy, setBusy] = useState(null);
  const [done, setDone] = useState(null);
  const apps = keyboard.appPaths.map((path, slot) => ({ path, slot })).filter((app) => app.path);
  const [appSlot, setAppSlot] = useState(apps[0]?.slot ?? null);
  useEffect(() => {
    if (appSlot === null || !keyboard.appPaths[appSlot]) setAppSlot(apps[0]?.slot ?? null);
  }, [keyboard]);

  // Runs an action with its button busy; a success is confirmed next to the button for a moment.
  const withBusy = (name, call) => async () => {
    setBusy(name);
    setDone(null);
    try {
      if (await call()) setDone(name);
    } finally {
      setBusy(null);
    }
  };
  useEffect(() => {
    if (!done) return undefined;
    const timer = setTimeout(() => setDone(null), 2500);
    return () => clearTimeout(timer);
  }, [done]);
  const confirmation = (name, text) => (done === name ? <Text style={styles.done}>{text}</Text> : null);

  const action = keyData.action ?? { type: 0, macros: [] };
  const setAction = (type) => onEdit({ action: { macros: macrosForType(type, keyboard, action), type } });
  const setMacros = (macros) => onEdit({ action: { ...action, macros } });
  const lightColor = (target === 'active' ? keyData.activeColor : keyData.inactiveColor) ?? defaultColor;

  return (
    <Card
      title={t('editor.title', { row: position.y + 1, key: position.x + 1 })}
      subtitle={t('editor.subtitle', { layer: layerName(layer.type), size: `${keyData.size?.x ?? 1} × ${keyData.size?.y ?? 1}`, orientation: t(`orientation.${keyData.orientation ?? 0}`) })}
      right={edited ? <Pill label={t('editor.edited')} tone="warning" /> : null}
      style={styles.card}
    >
      <View style={styles.columns} testID="key-editor">
        <View style={styles.column}>
          <Section title={t('editor.action')} first>
            <View style={styles.choiceRow}>
              {actionTypes.map((type) => (
                <Chip key={type} testID={`action-type-${type}`} label={actionTypeName(type)} active={action.type === type} disabled={locked} onPress={() => setAction(type)} />
              ))}
            </View>
            <View style={styles.summary}>
              <Text style={styles.summaryLabel}>{t('editor.does')}</Text>
              <Text style={styles.summaryText} testID="action-summary" numberOfLines={2}>{describeAction(action, keyboard)}</Text>
            </View>
            {problem ? <Text style={styles.problem} testID="key-problem">{problem}</Text> : null}
            <MacroEditor keyboard={keyboard} action={action} onChange={setMacros} subscribeKeyDown={subscribeKeyDown} onShowApplications={onShowApplications} disabled={locked} />
          </Section>

          <Section title={t('editor.icon')}>
            <IconPicker icon={keyData.icon} onChange={(icon) => onEdit({ icon })} disabled={locked} />
          </Section>
        </View>

        <View style={styles.divider} />

        <View style={styles.column}>
          <Section title={t('editor.colours')} hint={t('editor.coloursHint')} first>
            <Colours keyData={keyData} onChange={onEdit} disabled={locked} target={target} setTarget={setTarget} />
          </Section>

          <Section title={t('light.title')} hint={t('light.hint', { color: rgbToHex(lightColor) })} testID="light-section">
            <Field label={t('light.animation')}>
              <View style={styles.choiceRow}>
                {animationPresets.map((type) => (
                  <Chip key={type} label={t(`light.animation.${type}`)} active={animationType === type} onPress={() => setAnimationType(type)} testID={`animation-${type}`} />
                ))}
              </View>
            </Field>
            <Field label={t('light.data')} hint={t('light.dataHint')}>
              <TextInput testID="animation-data" accessibilityLabel={t('light.data')} value={animationData} onChangeText={(text) => setAnimationData(text.replace(/[^0-9-]/g, ''))} style={styles.numberInput} inputMode="numeric" />
            </Field>
            <View style={styles.buttonRow}>
              <Button
                label={t('light.button')}
                testID="set-led"
                busy={busy === 'light'}
                onPress={withBusy('light', () => actions.setLight(keyboard.id, position.x, position.y, lightColor, animationType, Number(animationData) || 0))}
              />
              {confirmation('light', t('light.done'))}
            </View>
          </Section>

          <Section title={t('simulate.title')} hint={t('simulate.hint')}>
            {apps.length === 0 ? (
              <Text style={textStyles.muted}>{t('simulate.noApps')}</Text>
            ) : (
              <View style={styles.choiceRow}>
                {apps.map((app) => (
                  <Chip key={app.slot} label={t('macros.appSlot', { number: app.slot + 1, name: app.path.split('/').pop() })} active={appSlot === app.slot} onPress={() => setAppSlot(app.slot)} />
                ))}
              </View>
            )}
            <View style={styles.buttonRow}>
              <Button
                label={t('simulate.button')}
                testID="simulate-key-press"
                disabled={appSlot === null}
                busy={busy === 'simulate'}
                onPress={withBusy('simulate', () => actions.simulateKeyPress(keyboard.id, keyboard.appPaths[appSlot], layer.type, position.x, position.y))}
              />
              {confirmation('simulate', t('simulate.done'))}
            </View>
          </Section>
        </View>
      </View>
    </Card>
  );
}

const styles = StyleSheet.create({
  card: { marginTop: 20 },
  columns: { flexDirection: 'row', flexWrap: 'wrap' },
  column: { flex: 1, minWidth: 320 },
  divider: { width: 1, backgroundColor: colors.border, marginHorizontal: 22 },
  section: { marginTop: 20, paddingTop: 16, borderTopWidth: 1, borderTopColor: colors.border, gap: 8 },
  sectionFirst: { marginTop: 0, paddingTop: 0, borderTopWidth: 0 },
  sectionTitle: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '700', color: colors.text },
  sectionHint: { fontFamily: fonts.body, fontSize: 12.5, color: colors.textMuted, lineHeight: 18 },
  choiceRow: { flexDirection: 'row', flexWrap: 'wrap', gap: 6 },
  summary: { flexDirection: 'row', alignItems: 'baseline', gap: 8, paddingVertical: 8, paddingHorizontal: 10, borderRadius: radius.medium, backgroundColor: colors.sunken, borderWidth: 1, borderColor: colors.border },
  summaryLabel: { fontFamily: fonts.body, fontSize: 11, fontWeight: '700', letterSpacing: 0.6, textTransform: 'uppercase', color: colors.textFaint },
  summaryText: { flex: 1, fontFamily: fonts.body, fontSize: 15, fontWeight: '700', color: colors.text },
  problem: { fontFamily: fonts.body, fontSize: 12.5, color: colors.danger, fontWeight: '600' },
  colorHint: { fontFamily: fonts.body, fontSize: 12, color: colors.textMuted, marginVertical: 8 },
  noColor: { flexDirection: 'row', alignItems: 'center', gap: 10 },
  buttonRow: { flexDirection: 'row', alignItems: 'center', marginTop: 8, gap: 10 },
  done: { fontFamily: fonts.body, fontSize: 13, fontWeight: '600', color: colors.success },
  numberInput: {
    width: 100,
    height: 32,
    fontFamily: fonts.mono,
    fontSize: 13.5,
    color: colors.text,
    paddingHorizontal: 10,
    borderRadius: radius.small + 2,
    borderWidth: 1,
    borderColor: colors.borderStrong,
    backgroundColor: colors.surface,
  },
});
