// Playlists: lists of them, their songs, and what changes them.

import { call, change } from './api.js';
import { isMissing } from './ids.js';
import { ADDITIONAL, allOf, songOf, sourceOf, tell } from './library.js';

/** @typedef {import('./types.js').Playlist} Playlist */
/** @typedef {import('./types.js').Song} Song */
/** @typedef {import('./api.js').Params} Params */
/** @template T @typedef {import('./types.js').Source<T>} Source */

/** These change which playlists there are; the others what is in one. */
const OF_LISTS = ['create', 'create_smart', 'rename', 'delete'];

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
  return sourceOf('Playlist', 'get', 'songs', songOf, { id, additional: ADDITIONAL });
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
 * Moves entries together. They are put in before they are taken out, so that a failure between
 * loses nothing.
 * @param {string} id
 * @param {Song[]} songs
 * @param {number[]} from their places
 * @param {number} before the entry that they stand before afterwards, by its place now
 */
export async function moveInPlaylist(id, songs, from, before) {
  const ids = songs.map((song) => song.id);
  await change('Playlist', 'replace', { id, position: before, length: 0, songs: ids });
  const position = from.map((place) => String(place >= before ? place + songs.length : place));
  await change('Playlist', 'remove', { id, position });
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
