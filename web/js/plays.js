// Notes what was played: a song counts after half of it, or four minutes, were heard.

import { change, Refusal } from './api.js';
import { duration, player, time } from './player.js';
import { current } from './queue.js';

const LONGEST = 240; // seconds
const MOST_WAITING = 500;
const STEP = 2; // seconds; a longer one between two looks is a seek

let heard = 0;
let last = 0;
let isNoted = false;
/** @type {{id: string, at: number}[]} that the server does not know yet */
let waiting = [];

async function send() {
  const those = waiting;
  waiting = [];
  try {
    await change('Play', 'note', {
      songs: those.map(({ id }) => id), times: those.map(({ at }) => String(at)),
    });
  } catch (error) {
    // Without an answer they go with the next one. What is refused is gone.
    if (error instanceof Refusal && error.code === 0) {
      waiting = [...those, ...waiting].slice(-MOST_WAITING);
    }
  }
}

function onTime() {
  const now = time();
  if (isNoted && now < last && now < STEP) {
    begin(); // the same song again
  }
  heard += now > last && now - last < STEP ? now - last : 0;
  last = now;
  const song = current();
  const length = duration();
  if (!isNoted && song && !song.isStream && length > 0 && heard >= Math.min(length / 2, LONGEST)) {
    isNoted = true;
    waiting.push({ id: song.id, at: Math.floor(Date.now() / 1000) });
    send();
  }
}

function begin() {
  heard = 0;
  last = time();
  isNoted = false;
}

export function startPlays() {
  player.addEventListener('song', begin);
  player.addEventListener('time', onTime);
}
