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
 * Reads what the editor can show; anything else of the language throws Unknown.
 * @param {string[]} tokens
 */
function reader(tokens) {
  let at = 0;
  const accept = (/** @type {string[]} */ ...any) =>
    any.includes(tokens[at]) && Boolean(tokens[at++]);
  const take = () => tokens[at++] ?? '';

  /** @returns {Test} */
  function test(isNot = false) {
    const field = take();
    must(fields.includes(field));
    const kind = kindOf(field);
    const spelled = `${isNot ? 'not ' : ''}${take()}`;
    const [operator] =
      Object.entries(operators[kind]).find(([, all]) => all.includes(spelled)) ?? [''];
    must(operator);
    return { field, operator, ...(kind === 'date' ? date() : { value: value(kind) }) };
  }

  /** @param {Kind} kind */
  function value(kind) {
    const token = take();
    must(kind === 'text' ? token.startsWith('"') : /^[\d.]+$/.test(token));
    const text = kind === 'text' ? token.slice(1, -1).replace(/\\(.)/g, (all, letter) =>
      letter === '"' || letter === '\\' ? letter : '\n') : token;
    must(!text.includes('\n')); // a field for one line would lose it
    return text;
  }

  function date() {
    const token = take();
    if (token === 'today' || token === 'yesterday') {
      return { value: '', unit: token };
    }
    if (/-/.test(token)) {
      return { value: token, unit: 'day' };
    }
    const unit = take().replace(/s?$/, 's');
    must(/^\d+$/.test(token) && units.includes(unit) && accept('ago'));
    return { value: token, unit };
  }

  /** @returns {Test | Group} */
  function one() {
    if (accept('not', '!')) {
      return test(true);
    }
    if (accept('(')) {
      const inside = any();
      must(accept(')'));
      return inside;
    }
    return test();
  }

  /**
   * @param {'and' | 'or'} join
   * @param {string} symbol
   * @param {() => Test | Group} part
   */
  function joined(join, symbol, part) {
    const parts = [part()];
    while (accept(join, symbol)) {
      parts.push(part());
    }
    return parts.length === 1 ? parts[0] : { join, parts };
  }

  /** @returns {Test | Group} */
  const all = () => joined('and', '&&', one);
  /** @returns {Test | Group} */
  const any = () => joined('or', '||', all);
  const read = any();
  must(at === tokens.length);
  return read;
}

/**
 * @param {string} text
 * @returns {Group | null} null for a rule that the editor cannot show whole
 */
export function parseRule(text) {
  try {
    const read = reader(tokensOf(text));
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
  return value !== '' || unit === 'today' || unit === 'yesterday' ||
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
      : unit === 'today' || unit === 'yesterday' ? unit : `${value} ${unit} ago`;
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
