// The rules of smart playlists: their text, and the tests that it is made of.

/**
 * @typedef {object} Test
 * @property {string} field
 * @property {string} operator
 * @property {string} value
 * @property {string} [unit] of a date's value: `day`, `today`, `yesterday`, or how it counts back
 */

/**
 * @typedef {object} Group
 * @property {'and' | 'or'} join
 * @property {(Test | Group)[]} parts
 */

/** @typedef {'text' | 'number' | 'date'} Kind */

const NUMBERS = ['year', 'rating', 'duration', 'disc', 'track', 'bitrate', 'frequency', 'channel',
  'filesize'];
const TEXTS = ['title', 'artist', 'album', 'album_artist', 'composer', 'genre', 'comment', 'path',
  'container', 'codec'];
const DATES = ['added', 'modified'];

export const fields = [...TEXTS, ...NUMBERS, ...DATES];

/**
 * @param {string} field
 * @returns {Kind}
 */
export function kindOf(field) {
  return NUMBERS.includes(field) ? 'number' : DATES.includes(field) ? 'date' : 'text';
}

/** Each operator as the language writes it; one of its spellings is the first. */
export const operators = {
  text: {
    includes: ['includes'], excludes: ['not includes'], is: ['is', '='],
    isNot: ['!=', 'not is', 'not ='], starts: ['startswith'], startsNot: ['not startswith'],
    ends: ['endswith'], endsNot: ['not endswith'],
  },
  number: {
    is: ['is', '='], isNot: ['!='], greater: ['>', 'greater'], atLeast: ['>='], less: ['<', 'less'],
    atMost: ['<='],
  },
  date: { after: ['after'], before: ['before'], is: ['is'] },
};

/** What a date is compared with. */
export const units = ['days', 'weeks', 'months', 'years', 'day', 'today', 'yesterday'];

/** @param {string | undefined} unit True for a unit without a value. */
export function isRelativeDay(unit) {
  return unit === 'today' || unit === 'yesterday';
}

const TOKEN = new RegExp([
  '\\s*(?:',
  '("(?:[^"\\\\\\n]|\\\\["\\\\nrt])*")',
  '|(\\d{4}-\\d{2}-\\d{2}|\\d+(?:\\.\\d+)?)', '|([a-z_]\\w*)',
  '|(&&|\\|\\||!=|<=|>=|==|[()!=<>])', ')',
].join(''), 'iy');

class Unknown extends Error {}

/**
 * Throws Unknown where the editor cannot show what a rule has.
 * @param {unknown} isShown
 */
function must(isShown) {
  if (!isShown) {
    throw new Unknown();
  }
}

/**
 * @param {string} text
 * @returns {string[]} words in lower case, texts with their quotes
 */
function tokensOf(text) {
  const tokens = [];
  const whole = text.trimEnd();
  TOKEN.lastIndex = 0;
  while (TOKEN.lastIndex < whole.length) {
    const found = TOKEN.exec(whole);
    must(found);
    const [, quoted, figure, word, symbol] = /** @type {RegExpExecArray} */ (found);
    tokens.push(quoted ?? figure ?? word?.toLowerCase() ?? (symbol === '==' ? '=' : symbol));
  }
  return tokens;
}

/**
 * The value of a test on a text or a number.
 * @param {string} token
 * @param {Kind} kind
 */
function valueOf(token, kind) {
  if (kind === 'number') {
    must(/^[\d.]+$/.test(token));
    return token;
  }
  must(token.startsWith('"'));
  const text = token.slice(1, -1).replace(/\\(.)/g, (all, letter) =>
    letter === '"' || letter === '\\' ? letter : '\n');
  must(!text.includes('\n')); // a field for one line would lose it
  return text;
}

/** Reads what the editor can show; anything else of the language throws Unknown. */
class Reader {
  #tokens;
  #at = 0;

  /** @param {string[]} tokens */
  constructor(tokens) {
    this.#tokens = tokens;
  }

  /** The whole rule. */
  read() {
    const read = this.#any();
    must(this.#at === this.#tokens.length);
    return read;
  }

  /** @param {string[]} any */
  #accept(...any) {
    return any.includes(this.#tokens[this.#at]) && Boolean(this.#take());
  }

  #take() {
    return this.#tokens[this.#at++] ?? '';
  }

  /** @returns {Test | Group} */
  #any() {
    return this.#joined('or', '||', () => this.#joined('and', '&&', () => this.#one()));
  }

  /**
   * @param {'and' | 'or'} join
   * @param {string} symbol
   * @param {() => Test | Group} part
   */
  #joined(join, symbol, part) {
    const parts = [part()];
    while (this.#accept(join, symbol)) {
      parts.push(part());
    }
    return parts.length === 1 ? parts[0] : { join, parts };
  }

  #one() {
    const isNot = this.#accept('not', '!');
    if (isNot || !this.#accept('(')) {
      return this.#test(isNot);
    }
    const inside = this.#any();
    must(this.#accept(')'));
    return inside;
  }

  /**
   * @param {boolean} isNot
   * @returns {Test}
   */
  #test(isNot) {
    const field = this.#take();
    must(fields.includes(field));
    const kind = kindOf(field);
    const spelled = `${isNot ? 'not ' : ''}${this.#take()}`;
    const [operator] =
      Object.entries(operators[kind]).find(([, all]) => all.includes(spelled)) ?? [''];
    must(operator);
    return { field, operator,
      ...(kind === 'date' ? this.#date() : { value: valueOf(this.#take(), kind) }) };
  }

  #date() {
    const token = this.#take();
    if (isRelativeDay(token)) {
      return { value: '', unit: token };
    }
    if (token.includes('-')) {
      return { value: token, unit: 'day' };
    }
    const unit = this.#take().replace(/s?$/, 's');
    must(/^\d+$/.test(token) && units.includes(unit) && this.#accept('ago'));
    return { value: token, unit };
  }
}

/**
 * @param {string} text
 * @returns {Group | null} null for a rule that the editor cannot show whole
 */
export function parseRule(text) {
  try {
    const read = new Reader(tokensOf(text)).read();
    return 'parts' in read ? read : { join: 'and', parts: [read] };
  } catch (error) {
    if (error instanceof Unknown) {
      return null;
    }
    throw error;
  }
}

/** @param {Test} test */
function isWhole({ field, operator, value, unit = '' }) {
  return value !== '' || isRelativeDay(unit) ||
    (kindOf(field) === 'text' && (operator === 'is' || operator === 'isNot'));
}

/** @param {Test} test */
function writeTest({ field, operator, value, unit = '' }) {
  const kind = kindOf(field);
  const table = /** @type {Record<string, string[]>} */ (operators[kind]);
  const [word] = table[operator];
  const [not, plain] = word.startsWith('not ') ? ['not ', word.slice(4)] : ['', word];
  const text = kind === 'text' ? `"${value.replace(/["\\]/g, '\\$&').replace(/\t/g, '\\t')}"`
    : kind === 'number' || unit === 'day' ? value
      : isRelativeDay(unit) ? unit : `${value} ${unit} ago`;
  return `${not}${field} ${plain} ${text}`;
}

/**
 * The text of a rule, without tests that lack a value; "" where none is left.
 * @param {Group} group
 * @returns {string}
 */
export function writeRule({ join, parts }) {
  const texts = parts.map((part) => {
    if (!('parts' in part)) {
      return isWhole(part) ? writeTest(part) : '';
    }
    const inside = writeRule(part);
    return inside && `(${inside})`;
  });
  return texts.filter(Boolean).join(` ${join} `);
}
