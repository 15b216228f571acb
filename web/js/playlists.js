// Playlists: lists of them, their songs, and what changes them.

import { call, change, Refusal } from './api.js';
import { isMissing } from './ids.js';
import { ADDITIONAL, allOf, songOf, sourceOf, tell } from './library.js';
import { toast } from './parts/toast.js';
import { t } from './texts.js';

/** @typedef {import('./types.js').Playlist} Playlist */
/** @typedef {import('./types.js').Song} Song */
/** @typedef {import('./api.js').Params} Params */
/** @template T @typedef {import('./types.js').Source<T>} Source */

/** These change which playlists there are; the others what is in one. */
const OF_LISTS = ['create', 'create_smart', 'rename', 'delete'];

/** @type {WeakMap<Song, string>} the state of the playlist that a song was fetched with */
const states = new WeakMap();

/**
 * @param {AbortSignal} [signal]
 * @returns {Promise<Playlist[]>}
 */
export async function playlists(signal) {
  return (await call('Playlist', 'list', { limit: 5000 }, { signal })).playlists;
}

/**
 * @param {string} id
 * @returns {Source<Song>}
 */
export function playlistSongs(id) {
  return sourceOf('Playlist', 'get', 'songs', (found, { state }) => {
    const song = songOf(found);
    states.set(song, state);
    return song;
  }, { id, additional: ADDITIONAL });
}

/**
 * @param {string} id
 * @param {AbortSignal} [signal]
 * @returns {Promise<Playlist & {total: number}>}
 */
export async function playlist(id, signal) {
  const data = await call('Playlist', 'get', { id, limit: 1 }, { signal });
  return { ...data.playlist, total: data.total };
}

/**
 * Changes a playlist and tells it.
 * @param {string} method
 * @param {Params} params
 */
export async function changePlaylist(method, params) {
  const data = await change('Playlist', method, params);
  if (OF_LISTS.includes(method)) {
    tell('playlists');
  } else {
    tell('playlist', params.id);
  }
  return data;
}

/**
 * The state that songs were fetched with; for those of several states a text that is none.
 * @param {(Song | undefined)[]} songs
 */
function stateOf(songs) {
  return [...new Set(songs.flatMap((song) => (song && states.get(song)) ?? []))].join();
}

/**
 * Makes a change by the places of entries. When the playlist was changed elsewhere, it is loaded
 * again, and the change is made only if each song is found there at one place.
 * @param {string} id
 * @param {(Song | undefined)[]} songs
 * @param {number[]} places of these songs
 * @param {(places: number[], seen: string) => Promise<unknown>} make
 */
async function changeEntries(id, songs, places, make) {
  try {
    await make(places, stateOf(songs));
  } catch (error) {
    if (!(error instanceof Refusal && error.code === 409)) {
      throw error;
    }
    toast(t('playlist.changed'));
    const entries = await allOf(playlistSongs(id));
    const now = songs.map((song) =>
      entries.flatMap(({ id: one }, place) => one === song?.id ? place : []));
    if (now.every(({ length }) => length === 1)) {
      await make(now.flat(), stateOf(entries));
    }
  } finally {
    tell('playlist', id);
  }
}

/**
 * @param {string} id
 * @param {(Song | undefined)[]} songs
 * @param {number[]} places
 */
export function removeFromPlaylist(id, songs, places) {
  return changeEntries(id, songs, places, (position, seen) =>
    change('Playlist', 'remove', { id, position: position.map(String), seen }));
}

/**
 * @param {string} id
 * @param {Song} song
 * @param {number} place
 * @param {Song} by what stands there afterwards
 */
export function replaceInPlaylist(id, song, place, by) {
  return changeEntries(id, [song], [place], ([position], seen) =>
    change('Playlist', 'replace', { id, position, songs: [by.id], seen }));
}

/**
 * Moves entries together. They are put in before they are taken out, so that a failure between
 * loses nothing.
 * @param {string} id
 * @param {Song[]} songs
 * @param {number[]} from their places
 * @param {number} before the entry that they stand before afterwards, by its place now
 * @param {Song | undefined} next that entry; undefined at the end
 */
export function moveInPlaylist(id, songs, from, before, next) {
  const ids = songs.map((song) => song.id);
  return changeEntries(id, [next, ...songs], [before, ...from], async ([at, ...places], seen) => {
    const { state } = await change('Playlist', 'replace',
      { id, position: at, length: 0, songs: ids, seen });
    const gone = places.map((place) => String(place >= at ? place + ids.length : place));
    await change('Playlist', 'remove', { id, position: gone, seen: state });
  });
}

/**
 * @typedef {object} Missing
 * @property {Song} song
 * @property {number} place in the playlist
 */

/**
 * The entries of a playlist that have no song, of at most 5000.
 * @param {string} id
 * @param {AbortSignal} [signal]
 * @returns {Promise<Missing[]>}
 */
export async function missingEntries(id, signal) {
  const songs = await allOf(playlistSongs(id), signal);
  return songs.map((song, place) => ({ song, place })).filter(({ song }) => isMissing(song));
}
