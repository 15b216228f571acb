// What the server tells while the page is in sight: server-sent events, over one connection of the
// browser. The window that began to listen last tells the others.

import { addressOf, call, connection } from './api.js';
import { changed } from './library.js';
import { shareWithWindows } from './windows.js';

/**
 * `library`: the numbers of its songs and playlists; `scan`: what the indexer does; `player`: what
 * the server's own player does, null without one.
 * @typedef {'library' | 'scan' | 'player'} EventName
 */

const NAMES = /** @type {const} */ (['library', 'scan', 'player']);
const PAUSES = [1000, 2000, 5000, 15000, 60000];
const HIDDEN_FOR = 30000;

const told = new EventTarget();
/** @type {Map<EventName, any>} */
const last = new Map();

/** @type {EventSource | null} */
let source = null;
let isStarted = false;
let tries = 0;
let timer = 0;

/**
 * Calls with what was told last, if anything was, and then with each event of this name.
 * @param {EventName} name
 * @param {(data: any) => void} listen
 * @param {AbortSignal} [signal]
 */
export function onEvent(name, listen, signal) {
  told.addEventListener(name, (event) => listen(/** @type {CustomEvent} */ (event).detail),
    { signal });
  if (last.has(name)) {
    listen(last.get(name));
  }
}

/**
 * @param {EventName} name
 * @param {any} data
 */
function take(name, data) {
  const before = last.get(name);
  last.set(name, data);
  told.dispatchEvent(new CustomEvent(name, { detail: data }));
  if (name === 'library' && before && JSON.stringify(data) !== JSON.stringify(before)) {
    if (data.playlists !== before.playlists) {
      changed.dispatchEvent(new CustomEvent('playlists'));
    }
    changed.dispatchEvent(new CustomEvent('library'));
  }
}

/** Another window tells what it heard, that it listens now, or that it no longer does. */
const tellOthers = shareWithWindows('events', ({ name, data, listens }) => {
  if (name) {
    take(name, data);
  } else if (listens) {
    close();
  } else if (isStarted && !source && !document.hidden) {
    tries = 0;
    openLater();
  }
});

function close() {
  clearTimeout(timer);
  timer = 0;
  source?.close();
  source = null;
}

function leave() {
  if (source) {
    close();
    tellOthers({ listens: false });
  }
}

function openLater() {
  close();
  const pause = PAUSES[Math.min(tries++, PAUSES.length - 1)];
  timer = setTimeout(open, pause * (0.5 + Math.random()));
}

/** @param {'login' | 'replaced'} reason */
async function onBye(reason) {
  close();
  if (reason === 'login') {
    await call('Info', 'get'); // brings the login
    open();
  }
}

function open() {
  close();
  if (!isStarted) {
    return;
  }
  if (document.hidden) {
    tellOthers({ listens: false });
    return;
  }
  source = new EventSource(addressOf('Events', 'listen', {}));
  tellOthers({ listens: true });
  for (const name of NAMES) {
    source.addEventListener(name, ({ data }) => {
      tries = 0;
      const heard = JSON.parse(data);
      take(name, heard);
      tellOthers({ name, data: heard });
    });
  }
  source.addEventListener('bye', ({ data }) => onBye(JSON.parse(data).reason));
  source.addEventListener('error', openLater);
}

/** Listens from now on; after a login at once. */
export function startEvents() {
  isStarted = true;
  tries = 0;
  open();
}

document.addEventListener('visibilitychange', () => {
  clearTimeout(timer);
  if (document.hidden) {
    timer = setTimeout(leave, HIDDEN_FOR);
  } else if (!source) {
    tries = 0;
    open();
  }
});
connection.addEventListener('back', () => {
  tries = 0; // also where a try is under way
  if (!source && timer && !document.hidden) {
    open();
  }
});
window.addEventListener('pagehide', leave);
