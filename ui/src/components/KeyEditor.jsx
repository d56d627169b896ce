// The selected key: its details, its colour and light, and a simulated press into a program.
import { useEffect, useState } from 'react';
import { Pressable, StyleSheet, Text, TextInput, View } from 'react-native';
import { rgbToHex } from '../logic/color.js';
import { colors, fonts, radius } from '../theme.js';
import ColorPicker from './ColorPicker.jsx';
import { Button, Card, Field, textStyles } from './ui.jsx';

// The animation numbers are the keyboard service's; these names are the ones this UI offers.
export const animationPresets = [
  { type: 0, label: 'Static' },
  { type: 1, label: 'Breathe' },
  { type: 2, label: 'Blink' },
  { type: 3, label: 'Cycle' },
];

const white = { r: 255, g: 255, b: 255 };

function ColorValue({ color }) {
  if (!color) return <Text style={styles.valueMuted}>none</Text>;
  return (
    <View style={styles.colorValue}>
      <View style={[styles.colorDot, { backgroundColor: rgbToHex(color) }]} />
      <Text style={styles.valueMono}>{rgbToHex(color)}</Text>
    </View>
  );
}

function Detail({ label, children }) {
  return (
    <View style={styles.detail}>
      <Text style={textStyles.label}>{label}</Text>
      <View style={styles.detailValue}>{typeof children === 'string' ? <Text style={styles.value}>{children}</Text> : children}</View>
    </View>
  );
}

function Chip({ label, active, onPress, testID }) {
  return (
    <Pressable testID={testID} accessibilityRole="button" accessibilityState={{ selected: active }} onPress={onPress} style={({ hovered }) => [styles.chip, active && styles.chipActive, hovered && !active && styles.chipHover]}>
      <Text style={[styles.chipLabel, active && styles.chipLabelActive]} numberOfLines={1}>{label}</Text>
    </Pressable>
  );
}

export default function KeyEditor({ keyboard, layer, position, keyData, actions }) {
  const [color, setColor] = useState(keyData?.activeColor ?? white);
  const [animationType, setAnimationType] = useState(0);
  const [animationData, setAnimationData] = useState('0');
  const [busy, setBusy] = useState(null);
  const [done, setDone] = useState(null);
  const apps = keyboard.appPaths.map((path, slot) => ({ path, slot })).filter((app) => app.path);
  const [appSlot, setAppSlot] = useState(apps[0]?.slot ?? null);
  const keyIdentity = `${keyboard.id}/${layer.type}/${position.x}/${position.y}`;

  // A newly picked key starts from its own active colour.
  useEffect(() => {
    setColor(keyData?.activeColor ?? white);
  }, [keyIdentity]);
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

  const macros = keyData.action?.macros ?? [];
  const icon = keyData.icon;
  return (
    <Card
      title={`Row ${position.y + 1} · Key ${position.x + 1}`}
      subtitle={`Layer ${layer.type}${keyData.icon ? ` · ${keyData.icon.type} #${keyData.icon.id}` : ""}`}
      style={styles.card}
    >
      <View style={styles.columns}>
        <View style={styles.column}>
          <View style={styles.details}>
            <Detail label="Action">{`Type ${keyData.action?.type ?? '—'}`}</Detail>
            <Detail label="Macros">
              {macros.length === 0 ? (
                <Text style={styles.valueMuted}>none</Text>
              ) : (
                <View style={styles.macroList}>
                  {macros.map((macro, index) => (
                    <View key={index} style={styles.macro}>
                      <Text style={styles.macroText}>{macro === null ? '?' : macro}</Text>
                    </View>
                  ))}
                </View>
              )}
            </Detail>
            <Detail label="Icon">{icon ? `${icon.type} #${icon.id}` : 'none'}</Detail>
            <Detail label="Orientation">{String(keyData.orientation)}</Detail>
            <Detail label="Size">{`${keyData.size?.x} × ${keyData.size?.y}`}</Detail>
            <Detail label="Active colour">
              <ColorValue color={keyData.activeColor} />
            </Detail>
            <Detail label="Key colour">
              <ColorValue color={keyData.inactiveColor} />
            </Detail>
          </View>

          <View style={styles.section}>
            <Text style={styles.sectionTitle}>Simulate a key press</Text>
            <Text style={styles.sectionHint}>Sends this key's stroke to one of the keyboard's applications.</Text>
            {apps.length === 0 ? (
              <Text style={styles.valueMuted}>This keyboard has no applications set.</Text>
            ) : (
              <View style={styles.apps}>
                {apps.map((app) => (
                  <Chip key={app.slot} label={`${app.slot + 1}  ${app.path.split('/').pop()}`} active={appSlot === app.slot} onPress={() => setAppSlot(app.slot)} />
                ))}
              </View>
            )}
            <View style={styles.buttonRow}>
              <Button
                label="Send key press"
                testID="simulate-key-press"
                disabled={appSlot === null}
                busy={busy === 'simulate'}
                onPress={withBusy('simulate', () => actions.simulateKeyPress(keyboard.id, keyboard.appPaths[appSlot], layer.type, position.x, position.y))}
              />
              {confirmation('simulate', 'Sent')}
              {appSlot !== null ? <Text style={[textStyles.mono, styles.appPath]} numberOfLines={1}>{keyboard.appPaths[appSlot]}</Text> : null}
            </View>
          </View>
        </View>

        <View style={styles.divider} />

        <View style={styles.column}>
          <Text style={styles.sectionTitle}>Colour</Text>
          <View style={styles.picker}>
            <ColorPicker value={color} onChange={setColor} />
          </View>
          <View style={styles.buttonRow}>
            <Button
              label="Save as active colour"
              kind="primary"
              testID="save-active-color"
              busy={busy === 'active'}
              onPress={withBusy('active', () => actions.setActiveColor(keyboard.id, layer.type, position.x, position.y, color))}
            />
            {confirmation('active', 'Saved')}
          </View>

          <View style={styles.section}>
            <Text style={styles.sectionTitle}>Light the key now</Text>
            <Text style={styles.sectionHint}>Lights the key in the colour above, with an animation.</Text>
            <Field label="Animation">
              <View style={styles.apps}>
                {animationPresets.map((preset) => (
                  <Chip key={preset.type} label={preset.label} active={animationType === preset.type} onPress={() => setAnimationType(preset.type)} testID={`animation-${preset.type}`} />
                ))}
              </View>
            </Field>
            <Field label="Animation data" hint="A number passed to the keyboard with the animation (for instance its speed).">
              <TextInput
                testID="animation-data"
                value={animationData}
                onChangeText={(text) => setAnimationData(text.replace(/[^0-9-]/g, ''))}
                style={styles.numberInput}
                inputMode="numeric"
              />
            </Field>
            <View style={styles.buttonRow}>
              <Button
                label="Light key"
                testID="set-led"
                busy={busy === 'light'}
                onPress={withBusy('light', () => actions.setLight(keyboard.id, position.x, position.y, color, animationType, Number(animationData) || 0))}
              />
              {confirmation('light', 'Lit')}
            </View>
          </View>
        </View>
      </View>
    </Card>
  );
}

const styles = StyleSheet.create({
  card: { marginTop: 20 },
  columns: { flexDirection: 'row', flexWrap: 'wrap' },
  column: { flex: 1, minWidth: 300 },
  divider: { width: 1, backgroundColor: colors.border, marginHorizontal: 22 },
  details: { flexDirection: 'row', flexWrap: 'wrap', rowGap: 14 },
  detail: { width: '50%', paddingRight: 12 },
  detailValue: { marginTop: 4 },
  value: { fontFamily: fonts.body, fontSize: 14, color: colors.text },
  valueMuted: { fontFamily: fonts.body, fontSize: 13.5, color: colors.textFaint },
  valueMono: { fontFamily: fonts.mono, fontSize: 13, color: colors.text },
  colorValue: { flexDirection: 'row', alignItems: 'center' },
  colorDot: { width: 14, height: 14, borderRadius: 4, marginRight: 6, borderWidth: 1, borderColor: 'rgba(0,0,0,0.15)' },
  macroList: { flexDirection: 'row', flexWrap: 'wrap', gap: 4 },
  macro: { paddingHorizontal: 6, paddingVertical: 1, borderRadius: 5, backgroundColor: colors.sunken, borderWidth: 1, borderColor: colors.border },
  macroText: { fontFamily: fonts.mono, fontSize: 12, color: colors.text },
  section: { marginTop: 22, paddingTop: 18, borderTopWidth: 1, borderTopColor: colors.border },
  sectionTitle: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '700', color: colors.text, marginBottom: 4 },
  sectionHint: { fontFamily: fonts.body, fontSize: 12.5, color: colors.textMuted, marginBottom: 10 },
  picker: { marginTop: 8 },
  apps: { flexDirection: 'row', flexWrap: 'wrap', gap: 6 },
  chip: { paddingHorizontal: 10, paddingVertical: 5, borderRadius: 999, borderWidth: 1, borderColor: colors.borderStrong, backgroundColor: colors.surface, cursor: 'pointer', maxWidth: 180 },
  chipHover: { backgroundColor: colors.sunken },
  chipActive: { backgroundColor: colors.accentSoft, borderColor: colors.accent },
  chipLabel: { fontFamily: fonts.body, fontSize: 12.5, color: colors.text },
  chipLabelActive: { color: colors.accent, fontWeight: '600' },
  buttonRow: { flexDirection: 'row', alignItems: 'center', marginTop: 12, gap: 10 },
  appPath: { flexShrink: 1 },
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
