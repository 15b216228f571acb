// This browser as a player.

import { choice, choices, choose } from './choices.js';
import * as audio from './player.js';
import {
  addToQueue, clearQueue, current, moveInQueue, position, queue, queued, removeFromQueue,
  toggleShuffle,
} from './queue.js';

const events = new EventTarget();

/**
 * @param {EventTarget} target
 * @param {Record<string, import('./types.js').PlayerEvent>} names
 */
function pass(target, names) {
  for (const [from, to] of Object.entries(names)) {
    target.addEventListener(from, () => events.dispatchEvent(new Event(to)));
  }
}

pass(audio.player, { state: 'state', time: 'time', song: 'song' });
pass(queue, { current: 'song', order: 'order' });
pass(choices, { volume: 'volume', muted: 'volume', shuffle: 'modes', repeat: 'modes' });

const after = /** @type {const} */ ({ off: 'all', all: 'one', one: 'off' });

/** @type {import('./types.js').Player} */
export const here = {
  name: 'here',
  events,
  can: (what) => (what === 'seek' ? audio.canSeek() : what !== 'stop'),
  current,
  upcoming: () => queued()[position() + 1]?.song,
  isPlaying: audio.isPlaying,
  isWaiting: audio.isWaiting,
  time: audio.time,
  duration: audio.duration,
  toggle: audio.toggle,
  stop: audio.pause,
  next: audio.next,
  previous: audio.previous,
  seek: audio.seek,
  volume: () => (choice('muted') ? 0 : choice('volume')),
  isMuted: () => choice('muted'),
  setVolume: audio.setVolume,
  toggleMuted: () => choose('muted', !choice('muted')),
  isShuffled: () => choice('shuffle'),
  toggleShuffle,
  repeat: () => choice('repeat'),
  toggleRepeat: () => choose('repeat', after[choice('repeat')]),
  playSongs: audio.playSongs,
  addSongs: async (songs, next) => addToQueue(songs, next),
  source: () => ({
    pageSize: 500,
    fetch: async (offset, limit) => {
      const songs = queued();
      return {
        total: songs.length,
        items: songs.slice(offset, offset + limit).map(({ song }) => song),
      };
    },
  }),
  count: () => queued().length,
  seconds: () => queued().reduce((sum, { song }) => sum + song.duration, 0),
  position,
  playAt: audio.playAt,
  move: moveInQueue,
  remove: removeFromQueue,
  clear: clearQueue,
};
