// A colour picker: preview, hex field, a slider per channel and a few swatches. The hex field
// takes #rgb and #rrggbb (with or without "#", typed or pasted); while its text is no colour it
// is drawn as bad and says so, and the colour stays the last good one.
import { useEffect, useState } from 'react';
import { Pressable, StyleSheet, Text, TextInput, View } from 'react-native';
import { t } from '../i18n/index.js';
import { clampChannel, followColor, hexToRgb, rgbToHex, sameColor } from '../logic/color.js';
import { colors, fonts, radius, shadows } from '../theme.js';
import { TextField } from './ui.jsx';

const swatches = [
  { r: 255, g: 255, b: 255 },
  { r: 239, g: 71, b: 111 },
  { r: 255, g: 127, b: 80 },
  { r: 255, g: 209, b: 102 },
  { r: 6, g: 214, b: 160 },
  { r: 17, g: 138, b: 178 },
  { r: 79, g: 91, b: 213 },
  { r: 131, g: 56, b: 236 },
  { r: 0, g: 0, b: 0 },
];

const channels = [
  { name: 'r', label: 'R', tint: colors.channelRed },
  { name: 'g', label: 'G', tint: colors.channelGreen },
  { name: 'b', label: 'B', tint: colors.channelBlue },
];

export default function ColorPicker({ value, onChange, testID = 'color' }) {
  const [hexText, setHexText] = useState(rgbToHex(value));
  // The field follows a colour set elsewhere (a slider, a swatch, undo), but never rewrites what
  // the user is typing: "#ff8" is already a colour and must stay "#ff8" until "#ff8800".
  useEffect(() => {
    setHexText((text) => followColor(text, value));
  }, [value]);
  const hexValid = hexToRgb(hexText) !== null;

  return (
    <View>
      <View style={styles.top}>
        <View style={[styles.preview, { backgroundColor: rgbToHex(value) }]} testID={`${testID}-preview`} />
        <View style={styles.hexBox}>
          <Text style={styles.hexLabel}>{t('color.hex')}</Text>
          <TextField
            testID={`${testID}-hex`}
            nativeID={`${testID}-hex`}
            accessibilityLabel={t('color.hexLabel')}
            value={hexText}
            onChangeText={(text) => {
              setHexText(text);
              const parsed = hexToRgb(text);
              if (parsed && !sameColor(parsed, value)) onChange(parsed);
            }}
            invalid={!hexValid}
            mono
            style={styles.hexInput}
            maxLength={16}
          />
          {!hexValid ? <Text style={styles.hexProblem} testID={`${testID}-hex-invalid`}>{t('color.hexInvalid')}</Text> : null}
        </View>
      </View>
      {channels.map((channel) => (
        <ChannelSlider
          key={channel.name}
          label={channel.label}
          tint={channel.tint}
          value={value[channel.name]}
          onChange={(number) => onChange({ ...value, [channel.name]: number })}
        />
      ))}
      <View style={styles.swatches}>
        {swatches.map((swatch) => {
          const active = sameColor(swatch, value);
          return (
            <Pressable
              key={rgbToHex(swatch)}
              testID={`${testID}-swatch-${rgbToHex(swatch).slice(1)}`}
              accessibilityRole="button"
              accessibilityLabel={t('color.swatch', { hex: rgbToHex(swatch) })}
              onPress={() => onChange(swatch)}
              style={[styles.swatch, { backgroundColor: rgbToHex(swatch) }, active && styles.swatchActive]}
            />
          );
        })}
      </View>
    </View>
  );
}

// A horizontal slider from 0 to 255 built on the responder system, plus a number field.
function ChannelSlider({ label, tint, value, onChange }) {
  const [trackWidth, setTrackWidth] = useState(0);
  const [text, setText] = useState(String(value));
  useEffect(() => setText(String(value)), [value]);
  const fromTouch = (event) => {
    if (trackWidth <= 0) return;
    const x = event.nativeEvent.locationX;
    onChange(clampChannel((x / trackWidth) * 255));
  };
  const percent = (clampChannel(value) / 255) * 100;
  return (
    <View style={styles.channel}>
      <Text style={styles.channelLabel}>{label}</Text>
      <View
        style={styles.track}
        onLayout={(event) => setTrackWidth(event.nativeEvent.layout.width)}
        onStartShouldSetResponder={() => true}
        onMoveShouldSetResponder={() => true}
        onResponderGrant={fromTouch}
        onResponderMove={fromTouch}
        accessibilityRole="adjustable"
        accessibilityLabel={t('color.channel', { channel: label })}
        accessibilityValue={{ min: 0, max: 255, now: value }}
      >
        <View pointerEvents="none" style={styles.rail} />
        <View pointerEvents="none" style={[styles.trackFill, { width: `${percent}%`, backgroundColor: tint }]} />
        <View pointerEvents="none" style={[styles.thumb, { left: `${percent}%`, borderColor: tint }]} />
      </View>
      <TextInput
        accessibilityLabel={t('color.channelValue', { channel: label })}
        value={text}
        onChangeText={(next) => {
          setText(next);
          if (/^\d{1,3}$/.test(next)) onChange(clampChannel(Number(next)));
        }}
        onBlur={() => setText(String(value))}
        style={styles.channelInput}
        maxLength={3}
        inputMode="numeric"
      />
    </View>
  );
}

const styles = StyleSheet.create({
  top: { flexDirection: 'row', alignItems: 'center', marginBottom: 12 },
  preview: { width: 48, height: 48, borderRadius: radius.medium, borderWidth: 1, borderColor: colors.swatchEdge, marginRight: 12 },
  hexBox: { flex: 1 },
  hexLabel: { fontFamily: fonts.body, fontSize: 11, fontWeight: '700', color: colors.textFaint, letterSpacing: 0.6, textTransform: 'uppercase', marginBottom: 4 },
  hexInput: { width: 120 },
  hexProblem: { fontFamily: fonts.body, fontSize: 11.5, color: colors.danger, marginTop: 4 },
  channel: { flexDirection: 'row', alignItems: 'center', marginBottom: 8 },
  channelLabel: { width: 16, fontFamily: fonts.mono, fontSize: 12, fontWeight: '700', color: colors.textMuted },
  track: { flex: 1, height: 22, justifyContent: 'center', marginHorizontal: 14, cursor: 'pointer' },
  rail: { position: 'absolute', left: 0, right: 0, height: 6, borderRadius: 3, backgroundColor: colors.track },
  trackFill: { position: 'absolute', left: 0, height: 6, borderRadius: 3 },
  thumb: { position: 'absolute', width: 16, height: 16, borderRadius: 8, marginLeft: -8, backgroundColor: colors.surface, borderWidth: 3, boxShadow: shadows.thumb },
  channelInput: {
    width: 52,
    height: 28,
    textAlign: 'right',
    fontFamily: fonts.mono,
    fontSize: 13,
    color: colors.text,
    paddingHorizontal: 8,
    borderRadius: radius.small,
    borderWidth: 1,
    borderColor: colors.border,
    backgroundColor: colors.surface,
  },
  swatches: { flexDirection: 'row', flexWrap: 'wrap', gap: 8, marginTop: 6 },
  swatch: { width: 24, height: 24, borderRadius: 6, borderWidth: 1, borderColor: colors.swatchEdge, cursor: 'pointer' },
  swatchActive: { boxShadow: `0 0 0 2px ${colors.surface}, 0 0 0 4px ${colors.accent}` },
});
