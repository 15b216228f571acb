// The audio elements: one plays, another fetches the next song. What each has loaded, and how loud.

import { applyGain } from './mixer.js';
import { soundAddress } from './sound.js';

/** @typedef {import('./types.js').Song | import('./types.js').SharedSong} Song */

/** Seconds after which "previous" begins the song anew. */
export const RESTART = 4;
const AHEAD = 20; // seconds before the end at which the next song is fetched
const NEAR = 2; // seconds before the end from which on a timer counts them
const NOW = 0.05; // what a timer may be early, in seconds
const MOST_DELAY = 0.3;

/** Seconds from the call of play() to the first sound, as they were the last time. */
let delay = 0.07;

/** The element that plays, and the one that fetches what is next. */
export let [front, back] = [new Audio(), new Audio()];

/** @type {Map<HTMLAudioElement, Song | undefined>} */
const songs = new Map([[front, undefined], [back, undefined]]);
/** @type {WeakMap<HTMLAudioElement, number>} seconds of the song that its sound leaves out */
const begins = new WeakMap();

/** @type {number | undefined} */
let turn;

/** Both. */
export const decks = [front, back];

/** @param {HTMLAudioElement} audio */
export function songIn(audio) {
  return songs.get(audio);
}

/** The place in the song that plays. */
export function placeNow() {
  return front.currentTime + (begins.get(front) ?? 0);
}

/**
 * Loads a song, to be played from a second on. No browser can seek in a stream: the server sends it
 * from there on, and one without a length as it is.
 * @param {Song} song
 * @param {number} [from] seconds
 * @param {HTMLAudioElement} [audio]
 */
export function load(song, from = 0, audio = front) {
  const begin = song.isStream && song.duration > 0 ? Math.floor(from) : 0;
  songs.set(audio, song);
  begins.set(audio, begin);
  audio.preload = 'auto';
  audio.src = 'address' in song ? song.address : soundAddress(song, begin);
  if (!song.isStream) {
    audio.currentTime = from;
  }
}

/** @param {HTMLAudioElement} [audio] */
export function unload(audio = front) {
  songs.set(audio, undefined);
  audio.removeAttribute('src');
  audio.load();
}

/**
 * Puts a song in front. It may have been fetched ahead, or have begun at the end of the last one.
 * @param {Song} song
 */
export function bring(song) {
  front.pause();
  if (songIn(back) !== song || back.error) {
    holdBack();
    load(song);
    return;
  }
  [front, back] = [back, front];
  unload(back);
  if (front.paused) { // else it has begun
    front.currentTime &&= 0; // a seek to where it is would be heard as a gap
  }
}

function begin() {
  const audio = back;
  const called = performance.now();
  audio.ontimeupdate = () => {
    if (audio.currentTime > 0.1) {
      audio.ontimeupdate = null;
      const late = (performance.now() - called) / 1000 - audio.currentTime;
      delay = Math.max(0, Math.min(late, MOST_DELAY));
    }
  };
  audio.play().catch(() => {}); // `ended` tries again
}

/**
 * Near the end of the song that plays: fetches the next one and starts it when this one ends, by
 * the clock of its sound, because `ended` comes late. To be called whenever its time is news.
 * @param {number} left seconds
 * @param {Song | undefined} next
 */
export function follow(left, next) {
  if (left >= AHEAD || front.currentTime <= 0.5) {
    return;
  }
  if (songIn(back) !== next) {
    next ? load(next, 0, back) : unload(back);
  }
  const untilTurn = () => front.duration - front.currentTime - delay;
  clearTimeout(turn);
  if (next && back.paused && untilTurn() < NEAR) {
    turn = setTimeout(() => {
      if (!front.paused && untilTurn() < NOW) { // else it was sought in, or waits for its sound
        begin();
      }
    }, untilTurn() * 1000);
  }
}

/** Stops the next song if it has begun: the one in front goes on, or stops before its end. */
export function holdBack() {
  clearTimeout(turn);
  back.ontimeupdate = null;
  if (!back.paused) {
    back.pause();
    back.currentTime = 0;
  }
}

/**
 * Listens to the one that plays.
 * @param {string[]} names of events
 * @param {() => void} handle
 */
export function onFront(names, handle) {
  for (const audio of decks) {
    names.forEach((name) => audio.addEventListener(name, () => audio === front && handle()));
  }
}

/** @param {boolean} plays */
export function setGains(plays) {
  applyGain(songs, plays);
}

document.body.append(...decks);
