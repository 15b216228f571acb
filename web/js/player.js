// Plays the queue: one audio element plays, another fetches the next song, for nearly no gap.

import { call, mustAnswer, Refusal, sleep } from './api.js';
import { choice, choices, choose, readOfWindow, writeOfWindow } from './choices.js';
import {
  bring, decks, follow, front, holdBack, load, onFront, placeNow, RESTART, setGains, songIn, unload,
} from './decks.js';
import {
  current, nextPosition, position, previousPosition, queue, queued, setPosition, setQueue,
} from './queue.js';
import { convertFromNowOn } from './sound.js';

/** @typedef {import('./types.js').Song} Song */

const PAUSES = [1, 2, 4, 8, 15];
const TRIES = 12;
const KEY = 'tonvale.time';

/** Tells `state`, `time`, `song`, and `missing` (detail: a song that cannot be played). */
export const player = new EventTarget();

let wanted = false; // playing, as far as the person is concerned
let resumeAt = 0; // where the song goes on when it is loaded
let failures = 0;
/** @type {AbortController | null} */
let recovery = null;

/** @param {string} name */
function tell(name) {
  player.dispatchEvent(new Event(name));
}

export function isPlaying() {
  return wanted;
}

export function isWaiting() {
  return wanted && front.readyState < HTMLMediaElement.HAVE_FUTURE_DATA;
}

export function duration() {
  const known = current()?.duration ?? 0;
  return known || (Number.isFinite(front.duration) ? front.duration : 0);
}

export function time() {
  return songIn(front) === undefined || resumeAt > 0 ? resumeAt : placeNow();
}

/** Radio has no length, and no place to go to. */
export function canSeek() {
  return duration() > 0;
}

/** @param {number} to seconds of the song that the front element has loaded */
function jump(to) {
  const song = songIn(front);
  holdBack();
  if (!song?.isStream) {
    front.currentTime = to;
  } else if (placeNow() !== to) {
    load(song, to);
    if (wanted) {
      start();
    }
  }
}

async function start() {
  setGains(wanted);
  try {
    await front.play();
  } catch (error) {
    // A browser that wants a click first refuses; failures of loading are seen by onError.
    if (error instanceof DOMException && error.name === 'NotAllowedError') {
      wanted = false;
      tell('state');
    }
  }
}

/** Loads the current song into the front element, which may be the one that fetched it ahead. */
function open() {
  recovery?.abort();
  const song = current();
  if (song) {
    bring(song);
  } else {
    front.pause();
    holdBack();
    unload();
    wanted = false;
  }
  tell('song');
  tell('state');
  if (song && wanted) {
    start();
  }
}

export function play() {
  const song = current();
  if (!song) {
    return;
  }
  wanted = true;
  if (songIn(front) !== song || front.error) {
    load(song, resumeAt);
  }
  start();
  tell('state');
}

export function pause() {
  wanted = false;
  recovery?.abort();
  front.pause();
  holdBack();
  tell('state');
}

export function toggle() {
  (wanted ? pause : play)();
}

/** @param {number} seconds */
export function seek(seconds) {
  if (!canSeek()) {
    return;
  }
  const to = Math.max(0, Math.min(seconds, duration() - 0.5));
  if (songIn(front) === undefined || front.readyState === 0) {
    resumeAt = to;
  }
  jump(to);
  tell('time');
}

/** @param {number} place of the queue */
export function playAt(place) {
  failures = 0;
  resumeAt = 0;
  wanted = place >= 0;
  if (place < 0) {
    front.pause();
    jump(0);
    tell('state');
  } else if (place === position() && songIn(front) === current()) {
    jump(0);
    play();
  } else {
    setPosition(place);
  }
}

export function next() {
  const place = nextPosition({ byHand: true });
  if (place >= 0) {
    playAt(place);
  }
}

export function previous() {
  const place = previousPosition();
  if (placeNow() > RESTART || place < 0) {
    seek(0);
  } else {
    playAt(place);
  }
}

/**
 * Plays songs in place of the queue.
 * @param {Song[]} songs
 * @param {{first?: number, shuffle?: boolean}} how
 */
export function playSongs(songs, { first = 0, shuffle } = {}) {
  if (songs.length > 0) {
    failures = 0;
    resumeAt = 0;
    wanted = true;
    setQueue(songs, first, shuffle);
  }
}

function onTime() {
  failures = 0;
  if (wanted) {
    const place = nextPosition();
    const next = place === position() ? undefined : queued()[place]?.song;
    follow(duration() - placeNow(), next);
  }
  tell('time');
}

/** Sound failed: the song is gone, the browser does not play its format, or the server is away. */
async function recover() {
  const song = current();
  if (!song || !wanted) {
    return;
  }
  const from = placeNow() || resumeAt;
  recovery?.abort();
  recovery = new AbortController();
  const { signal } = recovery;
  try {
    if (!song.isStream) {
      await call('Song', 'get', { id: song.id }, { signal });
      await mustAnswer(front.src, signal);
    }
    const isFormat = front.error?.code !== MediaError.MEDIA_ERR_NETWORK && from === 0;
    if (!(isFormat && convertFromNowOn(song))) {
      if (++failures > TRIES || (isFormat && failures > 2)) {
        throw new Refusal('stream', 500);
      }
      await sleep(PAUSES[Math.min(failures, PAUSES.length) - 1] * 1000, signal);
    }
    resumeAt = from;
    load(song, from);
    start();
  } catch (error) {
    if (error instanceof Refusal) {
      player.dispatchEvent(new CustomEvent('missing', { detail: song }));
      const place = nextPosition({ byHand: true });
      const before = failures;
      failures < TRIES && place > position() ? playAt(place) : pause();
      failures = before + 1;
    }
  }
}

/** @param {number} value 0 to 1 */
export function setVolume(value) {
  choose('muted', false);
  choose('volume', Math.max(0, Math.min(1, value)));
}

function applyVolume() {
  for (const audio of decks) {
    audio.volume = choice('volume');
    audio.muted = choice('muted');
  }
}

onFront(['timeupdate', 'seeked'], onTime);
onFront(['playing', 'waiting', 'canplay', 'stalled'], () => tell('state'));
onFront(['loadedmetadata'], () => {
  if (resumeAt > 0 && !songIn(front)?.isStream) {
    front.currentTime = resumeAt;
  }
  resumeAt = 0;
});
onFront(['ended'], () => playAt(nextPosition()));
onFront(['error'], recover);
// Headphones that are pulled out, or another program that takes the sound.
onFront(['pause'], () => {
  if (wanted && !front.ended && !front.error && front.readyState > 1 && !recovery) {
    wanted = false;
    tell('state');
  }
});
for (const audio of decks) {
  audio.addEventListener('loadstart', () => wanted && setGains(true));
  audio.addEventListener('playing', () => {
    recovery = null;
  });
}
applyVolume();
choices.addEventListener('volume', applyVolume);
choices.addEventListener('muted', applyVolume);
choices.addEventListener('gain', () => setGains(wanted));
queue.addEventListener('current', open);
// A reload goes on where the song was.
const kept = /** @type {any} */ (readOfWindow(KEY));
if (kept?.id !== undefined && kept.id === current()?.id) {
  resumeAt = Number(kept.time) || 0;
}
window.addEventListener('pagehide', () => writeOfWindow(KEY, { id: current()?.id, time: time() }));
