// Where the pictures of albums and songs are.

import { addressOf } from './api.js';
import { isMissing } from './ids.js';

/** @typedef {import('./types.js').Album} Album */
/** @typedef {import('./types.js').Song} Song */

const LONGEST_NAME = 1500;
const SIZES = [96, 192, 384, 768];

/**
 * Without a size, which `sized` adds.
 * @param {{id?: string, album?: Album}} of
 */
export function coverAddress({ id, album }) {
  if (album && album.name.length + album.albumArtist.length < LONGEST_NAME) {
    const { name, albumArtist } = album;
    return addressOf('Cover', 'get', { album: name, album_artist: albumArtist });
  }
  return id && !isMissing({ id }) ? addressOf('Cover', 'get', { id }) : '';
}

/**
 * Empty for a stream.
 * @param {Song | undefined} song
 */
export function coverOfSong(song) {
  return song && !song.isStream ? coverAddress({ id: song.id }) : '';
}

/**
 * The address of a copy that is sharp where it is shown. There are few sizes, so that copies serve
 * several places.
 * @param {string} address
 * @param {number} side in pixels of the style sheet
 */
export function sized(address, side) {
  const wanted = side * devicePixelRatio;
  return `${address}&size=${SIZES.find((size) => size >= wanted) ?? SIZES.at(-1)}`;
}
