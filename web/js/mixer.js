// Replay gain by Web Audio. It starts with its first use: without it the browser does less.

import { choice } from './choices.js';
import { gainOf } from './sound.js';

/** @typedef {import('./decks.js').Song} Song */

/** @type {Map<HTMLAudioElement, GainNode>} */
const gains = new Map();
/** @type {AudioContext | null} */
let mixer = null;

/**
 * Sets the gain of each element by the song that it has loaded.
 * @param {Map<HTMLAudioElement, Song | undefined>} loaded
 * @param {boolean} plays
 */
export function applyGain(loaded, plays) {
  if (choice('gain') !== 'off' && mixer === null) {
    mixer = new AudioContext();
    for (const audio of loaded.keys()) {
      const gain = mixer.createGain();
      mixer.createMediaElementSource(audio).connect(gain).connect(mixer.destination);
      gains.set(audio, gain);
    }
  }
  gains.forEach((gain, audio) => {
    gain.gain.value = gainOf(loaded.get(audio));
  });
  if (plays) {
    mixer?.resume();
  }
}
