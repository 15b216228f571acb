// The audio elements: one plays, another fetches the next song. What each has loaded, and how loud.

import { choice, choices } from './choices.js';
import { applyGain } from './mixer.js';
import { soundAddress } from './sound.js';

/** @typedef {import('./types.js').Song} Song */

const NEAR = 2; // seconds before the end from which on a timer counts them
const NOW = 0.05; // what a timer may be early, in seconds
const MOST_DELAY = 0.3;

/** Seconds from the call of play() to the first sound, as they were the last time. */
let delay = 0.07;

/** @type {Map<HTMLAudioElement, Song | undefined>} */
const songs = new Map([[new Audio(), undefined], [new Audio(), undefined]]);
/** @type {WeakMap<HTMLAudioElement, number>} seconds of the song that its sound leaves out */
const begins = new WeakMap();

/** @type {number | undefined} */
let turn;

/** The two of them. */
export const decks = [...songs.keys()];

/** @param {HTMLAudioElement} audio */
export function songIn(audio) {
  return songs.get(audio);
}

/** @param {HTMLAudioElement} audio */
export function placeIn(audio) {
  return audio.currentTime + (begins.get(audio) ?? 0);
}

/**
 * A stream cannot be sought in: it is asked for from there on, and one without a length as it is.
 * @param {HTMLAudioElement} audio
 * @param {Song} song
 * @param {number} [from] seconds
 */
export function load(audio, song, from = 0) {
  const begin = song.isStream && song.duration > 0 ? Math.floor(from) : 0;
  songs.set(audio, song);
  begins.set(audio, begin);
  audio.preload = 'auto';
  audio.src = soundAddress(song, begin);
  if (!song.isStream) {
    audio.currentTime = from;
  }
}

/** @param {HTMLAudioElement} audio */
export function unload(audio) {
  songs.set(audio, undefined);
  audio.removeAttribute('src');
  audio.load();
}

/** @param {HTMLAudioElement} audio */
function begin(audio) {
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
 * Starts the next element when this one ends, by the clock of its sound: `ended` comes late.
 * @param {HTMLAudioElement} audio whose time is news
 * @param {HTMLAudioElement} next
 */
export function startAfter(audio, next) {
  const left = () => audio.duration - audio.currentTime - delay;
  clearTimeout(turn);
  if (songs.get(next) && next.paused && left() < NEAR) {
    turn = setTimeout(() => {
      if (!audio.paused && left() < NOW) { // else it was sought in, or waits for its sound
        begin(next);
      }
    }, left() * 1000);
  }
}

/**
 * This one goes on, or stops, before its end: the next waits for its turn.
 * @param {HTMLAudioElement} next
 */
export function holdBack(next) {
  clearTimeout(turn);
  next.ontimeupdate = null;
  if (!next.paused) {
    next.pause();
    next.currentTime = 0;
  }
}

/** @param {boolean} plays */
export function setGains(plays) {
  applyGain(songs, plays);
}

function applyVolume() {
  for (const audio of decks) {
    audio.volume = choice('volume');
    audio.muted = choice('muted');
  }
}

applyVolume();
choices.addEventListener('volume', applyVolume);
choices.addEventListener('muted', applyVolume);
document.body.append(...decks);
