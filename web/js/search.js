// Searches everything at once. The one place that knows which methods of the API do it.

import { call } from './api.js';
import { albumOf, groups, library, songs } from './library.js';

/** @typedef {import('./types.js').Group} Group */

/**
 * @typedef {object} Found
 * @property {import('./types.js').Album[]} albums
 * @property {Group[]} artists
 * @property {Group[]} genres
 * @property {Group[]} composers
 * @property {import('./types.js').Playlist[]} playlists
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
  const asked = { keyword, limit: FEW, library: library() };
  const [found, genres] = await Promise.all([
    call('Search', 'all', asked, { signal }), groups('genre', { keyword }).fetch(0, FEW, signal),
  ]);
  return {
    ...found, albums: found.albums.map(albumOf), genres: genres.items,
    songs: found.total.songs, source: songs({ keyword }),
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
