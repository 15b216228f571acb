// The one way to the web API: requests, refusals, a session that ends and a server that is away.

const ADDRESS = '/webapi/entry.cgi';
/** What a web server takes in an address. */
export const LONGEST_ADDRESS = 4000;
const PAUSES = [1000, 2000, 4000, 8000];
const BUSY_TRIES = 6;

/** @typedef {Record<string, string | number | boolean | string[] | undefined>} Params */

export class Refusal extends Error {
  /**
   * @param {string} method
   * @param {number} code of the API; 0: no answer
   * @param {{message?: string, parameter?: string}} [said] by the server, for people
   */
  constructor(method, code, said = {}) {
    super(`${method}: ${code}`);
    this.code = code;
    this.said = said.message ?? '';
    this.parameter = said.parameter ?? '';
  }
}

/**
 * Tells `login` when the server wants one, `entered` when the page has logged in by itself, `away`
 * when the server does not answer, and `back` when it does again or somebody has logged in.
 */
export const connection = new EventTarget();

/** @type {Promise<void> | null} */
let login = null;
let endLogin = () => {};
let logins = 0;
let isAway = false;

/** Waits until the person has logged in; other requests wait with it. */
export function needLogin() {
  if (login === null) {
    login = new Promise((resolve) => {
      endLogin = resolve;
    });
    connection.dispatchEvent(new Event('login'));
  }
  return login;
}

/** Lets the requests go on that waited for a login. */
export function goOn() {
  login = null;
  ++logins;
  endLogin();
  connection.dispatchEvent(new Event('back'));
}

/** @param {boolean} away */
function setAway(away) {
  if (away !== isAway) {
    isAway = away;
    connection.dispatchEvent(new Event(away ? 'away' : 'back'));
    if (away) {
      call('Info', 'get').catch(() => {}); // until it answers; what failed may not ask again
    }
  }
}

/**
 * @param {number} pause milliseconds
 * @param {AbortSignal} [signal]
 * @returns {Promise<void>}
 */
export function sleep(pause, signal) {
  return new Promise((resolve, reject) => {
    const stop = () => {
      clearTimeout(timer);
      reject(signal?.reason);
    };
    const timer = setTimeout(() => {
      signal?.removeEventListener('abort', stop);
      resolve();
    }, pause);
    signal?.addEventListener('abort', stop);
  });
}

/**
 * @param {string} api without its prefix
 * @param {string} method
 * @param {Params} params
 */
function formOf(api, method, params) {
  const form = new URLSearchParams({ api: `VARN.Tonvale.${api}`, version: '1', method });
  for (const [name, value] of Object.entries(params)) {
    if (value !== undefined) {
      form.set(name, Array.isArray(value) ? JSON.stringify(value) : String(value));
    }
  }
  return form;
}

/**
 * An address that answers with a picture or sound.
 * @param {string} api
 * @param {string} method
 * @param {Params} params
 */
export function addressOf(api, method, params) {
  return `${ADDRESS}?${formOf(api, method, params)}`;
}

/**
 * One exchange. Null: the server is away, or it is not the API that answers.
 * @param {URLSearchParams} form
 * @param {boolean} byPost
 * @param {AbortSignal} [signal]
 * @returns {Promise<{status: number, body: any} | null>}
 */
async function exchange(form, byPost, signal) {
  try {
    const answer = await (byPost
      ? fetch(ADDRESS, { method: 'POST', body: form, signal })
      : fetch(`${ADDRESS}?${form}`, { signal }));
    const isJson = answer.headers.get('Content-Type')?.startsWith('application/json') ?? false;
    if (answer.status === 401 || isJson) {
      return { status: answer.status, body: isJson ? await answer.json() : null };
    }
  } catch {
    signal?.throwIfAborted();
  }
  return null;
}

/**
 * Asks the API. A read is repeated until the server answers; a change is not, because it may have
 * been made.
 * @param {string} api without its prefix
 * @param {string} method
 * @param {Params} [params]
 * @param {{signal?: AbortSignal, changes?: boolean}} how
 * @returns {Promise<any>} the answer's data
 */
export async function call(api, method, params = {}, { signal, changes = false } = {}) {
  const form = formOf(api, method, params);
  const byPost = changes || form.toString().length > LONGEST_ADDRESS;
  for (let tries = 0; ; ++tries) {
    if (login !== null && !(api === 'Auth' && changes)) {
      await login;
    }
    const before = logins;
    const answer = await exchange(form, byPost, signal);
    signal?.throwIfAborted();
    if (answer === null) {
      setAway(true);
      if (changes) {
        throw new Refusal(method, 0);
      }
      await sleep(PAUSES[Math.min(tries, PAUSES.length - 1)], signal);
      continue;
    }
    setAway(false);
    if (answer.status === 401 && !(api === 'Auth' && changes)) {
      if (before === logins) { // else there was a login since it was asked
        await needLogin();
      }
      continue;
    }
    if (answer.body?.success) {
      return answer.body.data ?? {};
    }
    const code = answer.body?.error?.code ?? answer.status;
    if ((code !== 503 && code !== 504) || changes || tries >= BUSY_TRIES) {
      throw new Refusal(method, code, answer.body?.error);
    }
    await sleep(500 * (tries + 1), signal);
  }
}

/**
 * @param {string} api
 * @param {string} method
 * @param {Params} [params]
 * @returns {Promise<any>}
 */
export function change(api, method, params = {}) {
  return call(api, method, params, { changes: true });
}

/**
 * Throws the refusal of what should answer with a picture or sound.
 * @param {string} address
 * @param {AbortSignal} signal
 */
export async function mustAnswer(address, signal) {
  const answer = await fetch(address, { method: 'HEAD', signal }).catch(() => null);
  signal.throwIfAborted();
  if (answer?.status === 404) {
    throw new Refusal('stream', 404);
  }
}

/** @param {unknown} error */
export function isAbort(error) {
  return error instanceof DOMException && error.name === 'AbortError';
}
