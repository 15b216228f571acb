// The person's favourites: songs, albums and artists. All of them are known here, so that each
// heart in any list shows its present state.

import { call, change } from './api.js';
import { isOfLibrary, sharedId } from './ids.js';
import { shareWithWindows } from './windows.js';

/** @typedef {{id: string, isStream?: boolean}} Song */
/** @typedef {{song?: Song, album?: {name: string, albumArtist: string}, artist?: string}} Thing */

/** Tells `changed`, and `kept` once the server has made the change. */
export const favourites = new EventTarget();

/** @type {Set<string>} */
let known = new Set();

/** @param {string} id of a song */
const songKey = (id) => `song ${sharedId(id)}`;

/** @param {Thing} thing */
function keyOf({ song, album, artist }) {
  return song ? songKey(song.id)
    : album ? `album ${album.name}\n${album.albumArtist}` : `artist ${artist?.toLowerCase()}`;
}

/** @param {Thing} thing */
export function isFavourite(thing) {
  return known.has(keyOf(thing));
}

/** @param {Thing} thing whether it is something that can be kept */
export function canBeFavourite({ song, album, artist }) {
  return song ? isOfLibrary(song) : Boolean(album?.name || artist);
}

const tellOthers = shareWithWindows('favourites', () => {
  learnFavourites().then(() => favourites.dispatchEvent(new Event('kept')), () => {});
});

/** Fetches them for the person who is logged in. */
export async function learnFavourites() {
  const { songs, albums, artists } = await call('Favourite', 'list');
  known = new Set([
    ...songs.map(songKey),
    ...albums.map((/** @type {any} */ { name, album_artist: albumArtist }) =>
      keyOf({ album: { name, albumArtist } })),
    ...artists.map((/** @type {any} */ { name }) => keyOf({ artist: name })),
  ]);
  favourites.dispatchEvent(new Event('changed'));
}

/** @param {Thing} thing */
export async function toggleFavourite(thing) {
  const key = keyOf(thing);
  const { song, album, artist } = thing;
  const show = (/** @type {boolean} */ isOne) => {
    known[isOne ? 'add' : 'delete'](key);
    favourites.dispatchEvent(new Event('changed'));
  };
  const wanted = !known.has(key);
  show(wanted);
  try {
    await change('Favourite', wanted ? 'add' : 'remove', {
      songs: song && [song.id], artist, album: album?.name, album_artist: album?.albumArtist,
    });
    favourites.dispatchEvent(new Event('kept'));
    tellOthers(null);
  } catch (error) {
    show(!wanted);
    throw error;
  }
}
