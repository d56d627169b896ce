// Colour helpers for the key model's {r, g, b} colours (each channel 0 to 255).

export function clampChannel(value) {
  const number = Math.round(Number(value));
  if (!Number.isFinite(number)) return 0;
  return Math.min(255, Math.max(0, number));
}

function hexByte(value) {
  return clampChannel(value).toString(16).padStart(2, '0').toUpperCase();
}

// {r: 255, g: 0, b: 128} -> "#FF0080".
export function rgbToHex(color) {
  return `#${hexByte(color.r)}${hexByte(color.g)}${hexByte(color.b)}`;
}

// "#FF0080", "ff0080", "#f08" or " F08 " -> {r, g, b}; anything else -> null.
export function hexToRgb(text) {
  if (typeof text !== 'string') return null;
  let digits = text.trim().replace(/^#/, '');
  if (!/^[0-9a-fA-F]+$/.test(digits)) return null;
  if (digits.length === 3) digits = [...digits].map((digit) => digit + digit).join('');
  if (digits.length !== 6) return null;
  return {
    r: parseInt(digits.slice(0, 2), 16),
    g: parseInt(digits.slice(2, 4), 16),
    b: parseInt(digits.slice(4, 6), 16),
  };
}

// A colour from the model (or null) as CSS; null gives the fallback.
export function colorToCss(color, fallback) {
  return color ? rgbToHex(color) : fallback;
}

// Relative luminance (WCAG 2), 0 for black to 1 for white.
export function luminance(color) {
  const linear = (channel) => {
    const value = clampChannel(channel) / 255;
    return value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  };
  return 0.2126 * linear(color.r) + 0.7152 * linear(color.g) + 0.0722 * linear(color.b);
}

// Dark text on light faces, white text on dark ones: picks whichever contrasts more.
export function readableTextColor(color, dark = '#1B1D22', light = '#FFFFFF') {
  if (!color) return dark;
  const background = luminance(color);
  const contrastWithWhite = 1.05 / (background + 0.05);
  const contrastWithDark = (background + 0.05) / (luminance({ r: 27, g: 29, b: 34 }) + 0.05);
  return contrastWithDark >= contrastWithWhite ? dark : light;
}

export function sameColor(a, b) {
  if (!a || !b) return a === b;
  return a.r === b.r && a.g === b.g && a.b === b.b;
}

// The text a hex field shows when its colour is `value`: what the user typed as long as it means
// that colour ("#ff8" while typing "#ff8800" stays "#ff8"), otherwise the colour written out.
export function followColor(text, value) {
  return sameColor(hexToRgb(text), value) ? text : rgbToHex(value);
}
