// One layer of a keyboard drawn to scale: each key at its size, its content turned as its
// orientation says, its inactive colour as the key face, its active colour as the light strip,
// its icon as a glyph and a few words of what it does. A gap in a row is left empty. Keys with
// staged changes carry a mark; keys whose action cannot be written are outlined in red.
import { useMemo, useState } from 'react';
import { Pressable, StyleSheet, Text, View, useWindowDimensions } from 'react-native';
import { t } from '../i18n/index.js';
import { actionCaption } from '../logic/actions.js';
import { colorToCss, readableTextColor } from '../logic/color.js';
import { iconDrawing } from '../logic/icons.js';
import { fitScale, layoutLayer } from '../logic/layout.js';
import { colors, fonts, radius, shadows } from '../theme.js';
import KeyIcon from './KeyIcon.jsx';

const platePadding = 14;
const keyInset = 3;

// Room the main area leaves for the keyboard before its own size is known: the window less the
// side bar and the margins.
const surroundingWidth = 340;

export default function KeyboardView({ keyboard, layer, selected, onSelectKey, edited, invalid }) {
  const windowWidth = useWindowDimensions().width;
  const [measuredWidth, setMeasuredWidth] = useState(0);
  // Drawn at once with the estimate, so the keys show in the first frame; the measured width
  // takes over as soon as the layout reports it.
  const availableWidth = measuredWidth || Math.max(320, windowWidth - surroundingWidth);
  const layout = useMemo(() => layoutLayer(layer?.keys), [layer]);
  const scale = fitScale(layout, availableWidth - platePadding * 2, 84);
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
                keyboard={keyboard}
                cell={cell}
                scale={scale}
                selected={selected?.x === cell.x && selected?.y === cell.y}
                edited={edited?.has(`${cell.y}:${cell.x}`)}
                invalid={invalid?.has(`${cell.y}:${cell.x}`)}
                onPress={() => onSelectKey({ x: cell.x, y: cell.y })}
              />
            ) : null,
          )}
        </View>
      ) : null}
    </View>
  );
}

function KeyCap({ keyboard, cell, scale, selected, edited, invalid, onPress }) {
  const { key } = cell;
  const face = key.inactiveColor;
  const textColor = readableTextColor(face, colors.keyLegendDark, colors.keyLegendLight);
  const width = cell.width * scale - keyInset * 2;
  const height = cell.height * scale - keyInset * 2;
  const turned = key.orientation === 1 || key.orientation === 3;
  const compact = Math.min(width, height) < 56;
  const caption = actionCaption(key.action, keyboard);
  const icon = iconDrawing(key.icon);
  const label = t('key.label', { row: cell.y + 1, key: cell.x + 1, what: [icon?.label, caption].filter(Boolean).join(', ') || t('key.nothing') });
  return (
    <Pressable
      testID={`key-${cell.y}-${cell.x}`}
      accessibilityRole="button"
      accessibilityLabel={edited ? `${label} ${t('key.editedSuffix')}` : label}
      accessibilityState={{ selected }}
      onPress={onPress}
      style={({ hovered }) => [
        styles.cap,
        { left: platePadding + cell.left * scale + keyInset, top: platePadding + cell.top * scale + keyInset, width, height, backgroundColor: colorToCss(face, colors.keyFallback) },
        hovered && styles.capHover,
        invalid && styles.capInvalid,
        selected && styles.capSelected,
      ]}
    >
      <View
        style={[
          styles.capInner,
          turned ? { width: height, height: width, left: (width - height) / 2, top: (height - width) / 2 } : { width, height },
          { transform: [{ rotate: `${(key.orientation ?? 0) * 90}deg` }] },
        ]}
      >
        <KeyIcon icon={key.icon} color={textColor} size={compact ? 18 : 24} compact={compact} />
        {caption && !(compact && icon) ? (
          <Text style={[styles.caption, { color: textColor }]} numberOfLines={2}>{caption}</Text>
        ) : null}
      </View>
      <View style={[styles.light, { backgroundColor: colorToCss(key.activeColor, 'transparent') }]} testID={`key-light-${cell.y}-${cell.x}`} />
      {edited ? <View style={styles.editedMark} testID={`key-edited-${cell.y}-${cell.x}`} /> : null}
    </Pressable>
  );
}

const styles = StyleSheet.create({
  area: { width: '100%', alignItems: 'center' },
  plate: { backgroundColor: colors.plate, borderRadius: radius.large + 4, boxShadow: shadows.plate },
  cap: {
    position: 'absolute',
    borderRadius: 8,
    overflow: 'hidden',
    cursor: 'pointer',
    borderWidth: 1,
    borderColor: colors.keyEdge,
    boxShadow: shadows.key,
    transitionProperty: 'transform, box-shadow',
    transitionDuration: '100ms',
  },
  capHover: { transform: [{ translateY: -1 }] },
  capInvalid: { borderColor: colors.danger, borderWidth: 2 },
  capSelected: { boxShadow: `0 0 0 3px ${colors.surface}, 0 0 0 5px ${colors.accent}` },
  capInner: { position: 'absolute', alignItems: 'center', justifyContent: 'center', paddingHorizontal: 4, paddingBottom: 6, gap: 3 },
  caption: { fontFamily: fonts.body, fontSize: 10.5, fontWeight: '600', textAlign: 'center', opacity: 0.85 },
  light: { position: 'absolute', left: 6, right: 6, bottom: 4, height: 3, borderRadius: 2 },
  editedMark: { position: 'absolute', top: 5, right: 5, width: 9, height: 9, borderRadius: 5, backgroundColor: colors.edited, borderWidth: 1.5, borderColor: colors.surface },
});
