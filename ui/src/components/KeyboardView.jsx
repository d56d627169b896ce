// One layer of a keyboard drawn to scale: each key at its size, its inactive colour as the key
// face, its active colour as the light strip, its icon as a label. A gap in a row is left empty.
import { useMemo, useState } from 'react';
import { Pressable, StyleSheet, Text, View, useWindowDimensions } from 'react-native';
import { colorToCss, readableTextColor } from '../logic/color.js';
import { fitScale, layoutLayer } from '../logic/layout.js';
import { colors, fonts, radius } from '../theme.js';

const platePadding = 14;
const keyInset = 3;

// Room the main area leaves for the keyboard before its own size is known: the window less the
// side bar and the margins.
const surroundingWidth = 340;

export default function KeyboardView({ layer, selected, onSelectKey }) {
  const windowWidth = useWindowDimensions().width;
  const [measuredWidth, setMeasuredWidth] = useState(0);
  // Drawn at once with the estimate, so the keys show in the first frame; the measured width
  // takes over as soon as the layout reports it.
  const availableWidth = measuredWidth || Math.max(320, windowWidth - surroundingWidth);
  const layout = useMemo(() => layoutLayer(layer?.keys), [layer]);
  const scale = fitScale(layout, availableWidth - platePadding * 2, 72);
  const plateWidth = layout.width * scale;
  const plateHeight = layout.height * scale;

  return (
    <View style={styles.area} onLayout={(event) => setMeasuredWidth(event.nativeEvent.layout.width)}>
      {availableWidth > 0 ? (
        <View style={[styles.plate, { width: plateWidth + platePadding * 2, height: plateHeight + platePadding * 2 }]} testID="keyboard-plate">
          {layout.cells.map((cell) =>
            cell.key ? (
              <KeyCap
                key={`${cell.y}:${cell.x}`}
                cell={cell}
                scale={scale}
                selected={selected?.x === cell.x && selected?.y === cell.y}
                onPress={() => onSelectKey({ x: cell.x, y: cell.y })}
              />
            ) : null,
          )}
        </View>
      ) : null}
    </View>
  );
}

function iconLabel(icon) {
  if (!icon) return null;
  return { type: String(icon.type ?? ''), id: `#${icon.id}` };
}

function KeyCap({ cell, scale, selected, onPress }) {
  const { key } = cell;
  const face = key.inactiveColor;
  const textColor = readableTextColor(face);
  const icon = iconLabel(key.icon);
  const compact = Math.min(cell.width, cell.height) * scale < 52;
  return (
    <Pressable
      testID={`key-${cell.y}-${cell.x}`}
      accessibilityRole="button"
      accessibilityLabel={`Key row ${cell.y + 1}, position ${cell.x + 1}${icon ? `, ${icon.type} ${icon.id}` : ''}`}
      accessibilityState={{ selected }}
      onPress={onPress}
      style={({ hovered }) => [
        styles.cap,
        {
          left: platePadding + cell.left * scale + keyInset,
          top: platePadding + cell.top * scale + keyInset,
          width: cell.width * scale - keyInset * 2,
          height: cell.height * scale - keyInset * 2,
          backgroundColor: colorToCss(face, colors.keyFallback),
        },
        hovered && styles.capHover,
        selected && styles.capSelected,
      ]}
    >
      <View style={styles.capInner}>
        {icon ? (
          <>
            {!compact ? <Text style={[styles.iconType, { color: textColor }]} numberOfLines={1}>{icon.type}</Text> : null}
            <Text style={[styles.iconId, { color: textColor }]} numberOfLines={1}>{icon.id}</Text>
          </>
        ) : null}
      </View>
      <View style={[styles.light, { backgroundColor: colorToCss(key.activeColor, 'transparent') }]} />
    </Pressable>
  );
}

const styles = StyleSheet.create({
  area: { width: '100%', alignItems: 'center' },
  plate: { backgroundColor: colors.plate, borderRadius: radius.large + 4, boxShadow: '0 6px 18px rgba(20, 24, 33, 0.18), inset 0 1px 0 rgba(255,255,255,0.06)' },
  cap: {
    position: 'absolute',
    borderRadius: 8,
    overflow: 'hidden',
    cursor: 'pointer',
    borderWidth: 1,
    borderColor: 'rgba(255,255,255,0.10)',
    boxShadow: 'inset 0 -3px 0 rgba(0,0,0,0.22), 0 1px 2px rgba(0,0,0,0.35)',
    transitionProperty: 'transform, box-shadow',
    transitionDuration: '100ms',
  },
  capHover: { transform: [{ translateY: -1 }] },
  capSelected: { boxShadow: `0 0 0 3px ${colors.surface}, 0 0 0 5px ${colors.accent}` },
  capInner: { flex: 1, alignItems: 'center', justifyContent: 'center', paddingHorizontal: 4, paddingBottom: 4 },
  iconType: { fontFamily: fonts.body, fontSize: 9.5, fontWeight: '700', letterSpacing: 0.6, textTransform: 'uppercase', opacity: 0.7 },
  iconId: { fontFamily: fonts.body, fontSize: 14, fontWeight: '700', marginTop: 1 },
  light: { position: 'absolute', left: 6, right: 6, bottom: 4, height: 3, borderRadius: 2 },
});
