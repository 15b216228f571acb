// The server's own player. It is shared: songs are added after those that others have queued.

import { call, change } from './api.js';
import { AT_ONCE, shuffled } from './arrays.js';
import { RESTART } from './decks.js';
import { afterPause } from './dom.js';
import { onEvent } from './events.js';
import { songOf, songsById } from './library.js';
import { attempt, toast } from './parts/toast.js';
import { t } from './texts.js';

/** @typedef {import('./types.js').Song} Song */
/** @typedef {import('./types.js').PlayerEvent} PlayerEvent */

/**
 * @typedef {object} State as Player.info tells it
 * @property {string} state
 * @property {number} index
 * @property {number} position seconds
 * @property {number} total
 * @property {number} volume
 * @property {number} mode
 * @property {any} song
 * @property {string[]} can
 */

const TICK = 500;
const VOLUME_PAUSE = 150;
const AT_ONCE_ELSEWHERE = 100;
const MODES = /** @type {const} */ (['once', 'repeat', 'repeat-one', 'shuffle']);

const events = new EventTarget();

/** @type {State | null} */
let state = null;
let toldAt = 0;
/** @type {Song | undefined} */
let song;
let loudness = 50; // before it was muted
/** @type {number | null} that is still to be sent */
let volumeAsked = null;
let signal = new AbortController().signal;

/** @param {PlayerEvent[]} names */
function tell(...names) {
  names.forEach((name) => events.dispatchEvent(new Event(name)));
}

/**
 * A song of the player's as the page keeps songs: one that the library does not know is like a
 * stream, without stars.
 * @param {any} found
 * @param {Map<string, Song>} known
 * @returns {Song}
 */
function queuedSong(found, known) {
  const { title, artist, album, duration } = found;
  return known.get(found.id) ?? songOf({
    id: '', title, type: 'remote',
    additional: { song_tag: { artist, album }, song_audio: { duration } },
  });
}

/** @param {any[]} found */
async function songsOf(found) {
  const songs = await songsById(found.flatMap(({ id }) => id || []), signal);
  const known = new Map(songs.map((one) => [one.id, one]));
  return found.map((one) => queuedSong(one, known));
}

/** @param {State | null} now */
async function take(now) {
  const before = state;
  state = now && { ...now, volume: volumeAsked ?? now.volume };
  toldAt = performance.now();
  tell('state', 'time');
  if (before?.volume !== state?.volume) {
    tell('volume');
  }
  if (before?.mode !== now?.mode) {
    tell('modes');
  }
  const keyOf = (/** @type {State | null} */ one) => JSON.stringify(
    one?.song && [one.index, one.song.title, one.song.artist, one.song.album, one.song.duration]);
  const isNew = keyOf(before) !== keyOf(now);
  if (isNew || before?.total !== now?.total) {
    tell('order');
  }
  if (isNew) {
    song = now?.song ? queuedSong(now.song, new Map()) : undefined;
    tell('song');
    // An event is the same for all listeners: it does not tell what is in the library of each.
    const whole = now?.song && (now.song.id ? now : await call('Player', 'info', {}, { signal }));
    if (whole?.song?.id && keyOf(whole) === keyOf(state)) {
      [song] = await songsOf([whole.song]);
      tell('song');
    }
  }
}

function refresh() {
  return attempt(async () => take(await call('Player', 'info', {}, { signal })),
    () => take(null));
}

/**
 * Changes something and shows what became of it.
 * @param {string} method
 * @param {import('./api.js').Params} params
 */
async function tellServer(method, params) {
  await attempt(() => change('Player', method, params));
  refresh();
}

/**
 * @param {string} action
 * @param {string | number} [value]
 */
function control(action, value) {
  return tellServer('control', { action, value });
}

/** @param {string} name of a command */
function knows(name) {
  return state?.can?.includes(name) ?? false;
}

function isPlaying() {
  return state?.state === 'play';
}

function time() {
  const since = isPlaying() ? (performance.now() - toldAt) / 1000 : 0;
  const end = state?.song?.duration || Infinity;
  return Math.min((state?.position ?? 0) + since, end);
}

const sendVolume = afterPause(VOLUME_PAUSE, () => {
  const value = volumeAsked ?? 0;
  volumeAsked = null;
  return tellServer('volume', { action: 'set', value });
});

/** @param {number} volume 0 to 100 */
function setVolume(volume) {
  if (state) {
    volumeAsked = Math.round(Math.max(0, Math.min(100, volume)));
    state.volume = volumeAsked;
    tell('volume');
    sendVolume();
  }
}

/**
 * Songs in the portions that the server takes, each from the library or from one other server.
 * @param {Song[]} songs
 */
function portionsOf(songs) {
  /** @type {Song[][]} */
  const portions = [];
  for (const one of songs) {
    const last = portions.at(-1);
    const most = one.server ? AT_ONCE_ELSEWHERE : AT_ONCE;
    if (last && last.length < most && last[0].server?.url === one.server?.url) {
      last.push(one);
    } else {
      portions.push([one]);
    }
  }
  return portions;
}

/** @param {Song[]} songs */
async function addSongs(songs) {
  let count = 0;
  for (const portion of portionsOf(songs.filter(({ id }) => id))) {
    const { server } = portion[0];
    const answer = await (server
      ? change('Player', 'add_from_server',
        { url: server.url, ids: portion.map((one) => one.server?.id ?? '') })
      : change('Player', 'queue', { action: 'add', songs: portion.map(({ id }) => id) }));
    count += (answer.added ?? portion.length) + (answer.waiting ?? 0);
  }
  refresh();
  return count;
}

/** @type {import('./types.js').Player} */
export const server = {
  name: 'server',
  events,
  start: (until) => {
    signal = until;
    // The last event may be old: the song has gone on since.
    let isOld = true;
    onEvent('player', (now) => isOld || take(now), until);
    isOld = false;
    refresh();
    const timer = setInterval(() => isPlaying() && tell('time'), TICK);
    until.addEventListener('abort', () => clearInterval(timer));
  },
  can: (what) => ({
    toggle: isPlaying() ? knows('pause') || knows('stop') : knows('resume') || knows('play'),
    modes: knows('mode'),
    remove: knows('delete'),
    insert: false,
  })[/** @type {string} */ (what)] ?? knows(what),
  current: () => song,
  upcoming: () => undefined,
  isPlaying,
  isWaiting: () => false,
  time,
  duration: () => song?.duration || state?.song?.duration || 0,
  toggle: () => {
    if (isPlaying()) {
      control(knows('pause') ? 'pause' : 'stop');
    } else if (knows('resume')) {
      control('resume');
    } else if (knows('play')) {
      control('play', Math.max(0, state?.index ?? 0));
    }
  },
  stop: () => knows('stop') && control('stop'),
  next: () => knows('next') && control('next'),
  previous: () => {
    if (time() > RESTART && knows('seek')) {
      server.seek(0);
    } else if (knows('previous')) {
      control('previous');
    }
  },
  seek: (seconds) => {
    if (state && knows('seek')) {
      state.position = Math.max(0, Math.round(seconds));
      toldAt = performance.now();
      tell('time');
      control('seek', state.position);
    }
  },
  volume: () => Math.max(0, state?.volume ?? 0) / 100,
  isMuted: () => state?.volume === 0,
  setVolume: (volume) => knows('volume') && setVolume(volume * 100),
  toggleMuted: () => {
    const now = state?.volume ?? 0;
    loudness = now > 0 ? now : loudness;
    setVolume(now > 0 ? 0 : loudness);
  },
  isShuffled: () => MODES[state?.mode ?? 0] === 'shuffle',
  toggleShuffle: () => control('mode', server.isShuffled() ? 'once' : 'shuffle'),
  repeat: () => /** @type {const} */ (['off', 'all', 'one', 'off'])[state?.mode ?? 0] ?? 'off',
  toggleRepeat: () => control('mode', MODES[((state?.mode ?? 0) + 1) % 3]),
  playSongs: (songs, { first = 0, shuffle = false } = {}) => attempt(async () => {
    const { total } = await call('Player', 'info');
    const wanted = shuffle ? shuffled(songs) : songs.slice(first);
    toast(t('done.queued', { count: await addSongs(wanted) }));
    await control('play', total);
  }),
  addSongs,
  source: () => ({
    pageSize: 200,
    fetch: async (offset, limit) => {
      const data = await call('Player', 'queue', { offset, limit }, { signal });
      return { total: data.total, items: await songsOf(data.songs) };
    },
  }),
  count: () => state?.total ?? 0,
  seconds: () => 0,
  position: () => state?.index ?? -1,
  playAt: (place) => control('play', place),
  remove: async (places) => {
    for (const place of [...places].sort((a, b) => b - a)) {
      await control('delete', place);
    }
    tell('order');
  },
  clear: () => control('clear'),
};
