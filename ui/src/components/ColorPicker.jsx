// A colour picker: preview, hex field, a slider per channel and a few swatches.
import { useEffect, useState } from 'react';
import { Pressable, StyleSheet, Text, TextInput, View } from 'react-native';
import { clampChannel, hexToRgb, rgbToHex, sameColor } from '../logic/color.js';
import { colors, fonts, radius } from '../theme.js';

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
  { name: 'r', label: 'R', tint: '#E5484D' },
  { name: 'g', label: 'G', tint: '#30A46C' },
  { name: 'b', label: 'B', tint: '#3E63DD' },
];

export default function ColorPicker({ value, onChange }) {
  const [hexText, setHexText] = useState(rgbToHex(value));
  useEffect(() => setHexText(rgbToHex(value)), [value]);
  const hexValid = hexToRgb(hexText) !== null;

  return (
    <View>
      <View style={styles.top}>
        <View style={[styles.preview, { backgroundColor: rgbToHex(value) }]} testID="color-preview" />
        <View style={styles.hexBox}>
          <Text style={styles.hexLabel}>Hex</Text>
          <TextInput
            testID="color-hex"
            accessibilityLabel="Colour as hex"
            value={hexText}
            onChangeText={(text) => {
              setHexText(text);
              const parsed = hexToRgb(text);
              if (parsed) onChange(parsed);
            }}
            onBlur={() => setHexText(rgbToHex(value))}
            style={[styles.hexInput, !hexValid && styles.hexInvalid]}
            maxLength={7}
          />
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
              testID={`swatch-${rgbToHex(swatch).slice(1)}`}
              accessibilityRole="button"
              accessibilityLabel={`Colour ${rgbToHex(swatch)}`}
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
        accessibilityLabel={`${label} channel`}
        accessibilityValue={{ min: 0, max: 255, now: value }}
      >
        <View pointerEvents="none" style={styles.rail} />
        <View pointerEvents="none" style={[styles.trackFill, { width: `${percent}%`, backgroundColor: tint }]} />
        <View pointerEvents="none" style={[styles.thumb, { left: `${percent}%`, borderColor: tint }]} />
      </View>
      <TextInput
        accessibilityLabel={`${label} value`}
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
  preview: { width: 48, height: 48, borderRadius: radius.medium, borderWidth: 1, borderColor: 'rgba(0,0,0,0.12)', marginRight: 12 },
  hexBox: { flex: 1 },
  hexLabel: { fontFamily: fonts.body, fontSize: 11, fontWeight: '700', color: colors.textFaint, letterSpacing: 0.6, textTransform: 'uppercase', marginBottom: 4 },
  hexInput: {
    fontFamily: fonts.mono,
    fontSize: 14,
    color: colors.text,
    height: 32,
    paddingHorizontal: 10,
    borderRadius: radius.small + 2,
    borderWidth: 1,
    borderColor: colors.borderStrong,
    backgroundColor: colors.surface,
    width: 120,
  },
  hexInvalid: { borderColor: colors.danger },
  channel: { flexDirection: 'row', alignItems: 'center', marginBottom: 8 },
  channelLabel: { width: 16, fontFamily: fonts.mono, fontSize: 12, fontWeight: '700', color: colors.textMuted },
  track: { flex: 1, height: 22, justifyContent: 'center', marginHorizontal: 14, cursor: 'pointer' },
  rail: { position: 'absolute', left: 0, right: 0, height: 6, borderRadius: 3, backgroundColor: '#E8EAEF' },
  trackFill: { position: 'absolute', left: 0, height: 6, borderRadius: 3 },
  thumb: { position: 'absolute', width: 16, height: 16, borderRadius: 8, marginLeft: -8, backgroundColor: '#FFFFFF', borderWidth: 3, boxShadow: '0 1px 3px rgba(0,0,0,0.2)' },
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
  swatch: { width: 24, height: 24, borderRadius: 6, borderWidth: 1, borderColor: 'rgba(0,0,0,0.15)', cursor: 'pointer' },
  swatchActive: { boxShadow: `0 0 0 2px ${colors.surface}, 0 0 0 4px ${colors.accent}` },
});
