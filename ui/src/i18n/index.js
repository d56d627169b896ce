// Every text the UI shows goes through t(key, params). Catalogues map a key to a text, or to
// plural forms {one, other} chosen by params.count; "{name}" in a text is replaced by
// params.name. A key missing from the active catalogue falls back to English, and a key missing
// there too shows as the key itself, so a gap is visible rather than blank.
import en from './en.js';

const catalogues = { en };
let active = 'en';

// Adds (or replaces) a catalogue, e.g. registerCatalogue('de', de).
export function registerCatalogue(locale, catalogue) {
  catalogues[locale] = catalogue;
}

export function setLocale(locale) {
  active = catalogues[locale] ? locale : 'en';
}

export function locale() {
  return active;
}

function pick(entry, params) {
  if (typeof entry === 'string' || entry === undefined) return entry;
  const count = Number(params?.count);
  const form = new Intl.PluralRules(active).select(Number.isFinite(count) ? count : 0);
  return entry[form] ?? entry.other;
}

export function t(key, params) {
  const text = pick(catalogues[active]?.[key], params) ?? pick(en[key], params) ?? key;
  if (!params) return text;
  return text.replace(/\{(\w+)\}/g, (whole, name) => (params[name] === undefined ? whole : String(params[name])));
}
