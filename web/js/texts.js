// Every text that the page shows, from one table for each language. index.html alone has texts of
// its own: what stands there where scripts do not run.

import { choice } from './choices.js';
import { en } from './texts/en.js';

/** @typedef {keyof typeof en} TextName */

/** The languages there are; another one is one more line and one more file. */
export const languages = { en: 'English' };

/** @type {Record<string, string>} */
let table = en;
let language = 'en';
let plurals = new Intl.PluralRules(language);

/** Loads the chosen language; English has what it lacks. */
export async function startTexts() {
  const chosen = choice('language');
  if (chosen !== 'en' && chosen in languages) {
    const loaded = await import(`./texts/${chosen}.js`);
    table = { ...en, ...loaded[chosen] };
    language = chosen;
    plurals = new Intl.PluralRules(language);
  }
  document.documentElement.lang = language;
}

/**
 * A text with values in its places. With `count`, the form for that number: a text may have a
 * second one under its name and `.one`.
 * @param {TextName} name
 * @param {Record<string, string | number>} [values]
 */
export function t(name, values = {}) {
  const form = 'count' in values ? `${name}.${plurals.select(Number(values.count))}` : name;
  const text = table[form] ?? table[name];
  return text.replace(/\{(\w+)\}/g, (_, value) => {
    const given = values[value] ?? '';
    return typeof given === 'number' ? given.toLocaleString(language) : given;
  });
}

/**
 * A text without the dots that promise a dialog.
 * @param {TextName} name
 */
export function withoutDots(name) {
  return t(name).replace(/[\s…]+$/, '');
}

/** @param {number} seconds since 1970 */
export function dayAndTime(seconds) {
  return new Date(seconds * 1000).toLocaleString(undefined,
    { dateStyle: 'medium', timeStyle: 'short' });
}

/** @param {number} seconds */
export function clock(seconds) {
  const whole = Math.max(0, Math.floor(seconds));
  const parts = [Math.floor(whole / 60) % 60, whole % 60];
  const hours = Math.floor(whole / 3600);
  const [minutes, rest] = parts.map((part) => String(part).padStart(2, '0'));
  return hours > 0 ? `${hours}:${minutes}:${rest}` : `${Number(minutes)}:${rest}`;
}

/**
 * How long songs last together, in words.
 * @param {number} seconds
 */
export function length(seconds) {
  const minutes = Math.max(1, Math.round(seconds / 60));
  const hours = Math.floor(minutes / 60);
  return hours > 0 ? t('time.hours', { hours, minutes: minutes % 60 })
    : t('time.minutes', { minutes });
}

/** @param {string[]} names without empty ones */
export function joined(names) {
  return names.filter(Boolean).join(' · ');
}

/** The server tells more of these refusals, in English, than their code does. */
const SAID = [400, 403, 409];

/**
 * What went wrong, in words.
 * @param {unknown} error
 */
export function wordsFor(error) {
  const { code = -1, said = '' } =
    /** @type {Partial<import('./api.js').Refusal>} */ (error ?? {});
  if (said && language === 'en' && SAID.includes(code)) {
    return `${said[0].toUpperCase()}${said.slice(1)}.`;
  }
  const name = /** @type {TextName} */ (`error.${code}`);
  return name in table ? t(name) : t('error.other');
}
