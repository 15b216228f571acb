// What a person chose for this browser. Storage may be missing or full; then a choice lasts as long
// as the page.

const KEY = 'tonvale.choices';

const defaults = {
  theme: /** @type {'system' | 'light' | 'dark'} */ ('system'),
  language: 'en',
  name: '', // who logged in here before
  library: '',
  place: /** @type {'here' | 'server'} */ ('here'), // that plays
  gain: /** @type {'off' | 'track' | 'album'} */ ('off'),
  bitrate: 256000,
  lossless: false,
  alwaysConvert: false,
  volume: 1,
  muted: false,
  shuffle: false,
  repeat: /** @type {'off' | 'all' | 'one'} */ ('off'),
  albumSort: 'name',
  searches: /** @type {string[]} */ ([]),
};

/** @typedef {typeof defaults} Choices */

/**
 * @param {string} key
 * @returns {unknown}
 */
export function readStored(key) {
  try {
    return JSON.parse(localStorage.getItem(key) ?? 'null');
  } catch {
    return null;
  }
}

/**
 * @param {string} key
 * @param {unknown} value
 * @returns {boolean} whether it was kept
 */
export function writeStored(key, value) {
  try {
    localStorage.setItem(key, JSON.stringify(value));
    return true;
  } catch {
    return false;
  }
}

/**
 * What this window has kept over a reload; a new one has what was kept last.
 * @param {string} key
 * @returns {unknown}
 */
export function readOfWindow(key) {
  try {
    return JSON.parse(sessionStorage.getItem(key) ?? '');
  } catch {
    return readStored(key);
  }
}

/**
 * @param {string} key
 * @param {unknown} value
 */
export function writeOfWindow(key, value) {
  writeStored(key, value);
  try {
    sessionStorage.setItem(key, JSON.stringify(value));
  } catch {
    // The other storage may have taken it.
  }
}

/** @type {Choices} */
const chosen = { ...defaults };
const kept = readStored(KEY);
if (kept !== null && typeof kept === 'object') {
  for (const [name, value] of Object.entries(defaults)) {
    const found = /** @type {Record<string, unknown>} */ (kept)[name];
    if (typeof found === typeof value && Array.isArray(found) === Array.isArray(value)) {
      /** @type {Record<string, unknown>} */ (chosen)[name] = found;
    }
  }
}

/** Tells each change by an event with the name of the choice. */
export const choices = new EventTarget();

/**
 * @template {keyof Choices} K
 * @param {K} name
 * @returns {Choices[K]}
 */
export function choice(name) {
  return chosen[name];
}

/**
 * @template {keyof Choices} K
 * @param {K} name
 * @param {Choices[K]} value
 */
export function choose(name, value) {
  chosen[name] = value;
  writeStored(KEY, { .../** @type {any} */ (readStored(KEY)), [name]: value });
  choices.dispatchEvent(new Event(name));
}
