// The audio elements: one plays, another fetches the next song. What each has loaded, and how loud.

import { choice, choices } from './choices.js';
import { applyGain } from './mixer.js';
import { soundAddress } from './sound.js';

/** @typedef {import('./types.js').Song} Song */

/** @type {Map<HTMLAudioElement, Song | undefined>} */
const songs = new Map([[new Audio(), undefined], [new Audio(), undefined]]);
/** @type {WeakMap<HTMLAudioElement, number>} seconds of the song that its sound leaves out */
const begins = new WeakMap();

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
