// Colours, sizes and type used across the screens.
export const colors = {
  canvas: '#F3F4F7',
  surface: '#FFFFFF',
  sunken: '#F7F8FA',
  border: '#E3E5EB',
  borderStrong: '#CDD1DA',
  text: '#1B1D22',
  textMuted: '#5E6573',
  textFaint: '#8A909C',
  header: '#16181D',
  headerText: '#F2F3F5',
  accent: '#4F5BD5',
  accentSoft: '#E9EBFB',
  accentText: '#FFFFFF',
  danger: '#C9364F',
  dangerSoft: '#FCEBEE',
  warning: '#A86A00',
  warningSoft: '#FFF4DB',
  success: '#1E8A5A',
  successSoft: '#E3F5EC',
  keyFallback: '#D8DBE2',
  plate: '#3A3E48',
};

export const radius = { small: 6, medium: 10, large: 14 };

export const fonts = {
  body: 'system-ui, -apple-system, "Segoe UI", Cantarell, "Noto Sans", Ubuntu, sans-serif',
  mono: 'ui-monospace, "DejaVu Sans Mono", "Noto Sans Mono", monospace',
};
