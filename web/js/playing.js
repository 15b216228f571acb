// What plays, as far as the page is concerned: this browser, or the server's own player.

import { choice, choose } from './choices.js';
import { onEvent } from './events.js';
import { here } from './here.js';
import { pause } from './player.js';
import { may, rights } from './person.js';

/** @typedef {import('./types.js').Player} Player */

/** @type {import('./types.js').PlayerEvent[]} */
const NAMES = ['state', 'time', 'song', 'order', 'volume', 'modes'];

/**
 * Tells what the chosen player tells, all of it when another one is chosen, and `places` when the
 * server's player came or went.
 */
export const playing = new EventTarget();

/** @type {Player} */
let chosen = here;
let answers = false; // the server's player
let hasServer = false;
let ends = new AbortController();

export function player() {
  return chosen;
}

/** Whether the server has a player that this person may use. */
export function hasServerPlayer() {
  return hasServer;
}

/** @param {Player} one */
function use(one) {
  ends.abort();
  ends = new AbortController();
  chosen = one;
  for (const name of NAMES) {
    const tell = () => playing.dispatchEvent(new Event(name));
    one.events.addEventListener(name, tell, { signal: ends.signal });
    tell();
  }
  one.start?.(ends.signal);
  playing.dispatchEvent(new Event('places'));
}

/** @param {Player['name']} name */
export async function playOn(name) {
  choose('place', name);
  if (name === chosen.name) {
    return;
  }
  if (name === 'here') {
    use(here);
  } else {
    const { server } = await import('./server-player.js');
    pause();
    use(server);
  }
}

function learnServer() {
  const has = answers && may('usb');
  if (has === hasServer) {
    return;
  }
  hasServer = has;
  if (has && choice('place') === 'server') {
    playOn('server');
  } else if (!has && chosen !== here) {
    use(here);
  }
  playing.dispatchEvent(new Event('places'));
}

use(here);
onEvent('player', (state) => {
  answers = state !== null;
  learnServer();
});
rights.addEventListener('learned', learnServer);
