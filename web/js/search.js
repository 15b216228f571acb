// Searches everything at once. The one place that knows which methods of the API do it.

import { albums, groups, playlists, songs } from './library.js';

/** @typedef {import('./types.js').Album} Album */
/** @typedef {import('./types.js').Group} Group */
/** @typedef {import('./types.js').Playlist} Playlist */

/**
 * @typedef {object} Found
 * @property {Album[]} albums
 * @property {Group[]} artists
 * @property {Group[]} genres
 * @property {Group[]} composers
 * @property {Playlist[]} playlists
 * @property {number} songs how many there are
 * @property {import('./types.js').Source<import('./types.js').Song>} source of the songs
 */

const FEW = 12;

/**
 * @param {string} text
 * @param {AbortSignal} signal
 * @returns {Promise<Found>}
 */
export async function search(text, signal) {
  const keyword = shortened(text);
  const source = songs({ keyword });
  const few = async (/** @type {import('./types.js').Source<any>} */ from) =>
    (await from.fetch(0, FEW, signal)).items.filter(({ name }) => name !== '');
  const [first, ...lists] = await Promise.all([
    source.fetch(0, 1, signal), few(albums({ keyword })), few(groups('artist', { keyword })),
    few(groups('genre', { keyword })), few(groups('composer', { keyword })), playlists(signal),
  ]);
  const lower = text.toLowerCase();
  return {
    albums: lists[0], artists: lists[1], genres: lists[2], composers: lists[3],
    playlists: lists[4].filter(({ name }) => name.toLowerCase().includes(lower)),
    songs: first.total,
    source,
  };
}

/**
 * The server takes 400 bytes.
 * @param {string} text
 */
function shortened(text) {
  let result = text.trim();
  while (new TextEncoder().encode(result).length > 400) {
    result = Array.from(result).slice(0, -1).join('');
  }
  return result;
}
