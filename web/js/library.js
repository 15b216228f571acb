// What the library answers, in the page's own types, and what changes it.

import { call, change } from './api.js';
import { portionsOf } from './arrays.js';
import { choice } from './choices.js';
import { shareWithWindows } from './windows.js';

/** @typedef {import('./types.js').Song} Song */
/** @typedef {import('./types.js').Album} Album */
/** @typedef {import('./types.js').Group} Group */
/** @typedef {import('./types.js').Folder} Folder */
/** @typedef {import('./types.js').Pin} Pin */
/** @typedef {import('./types.js').Link} Link */
/** @typedef {import('./api.js').Params} Params */
/** @template T @typedef {import('./types.js').Source<T>} Source */
/** @typedef {'artist' | 'genre' | 'composer'} GroupKind */

export const ADDITIONAL = 'song_tag,song_audio,song_rating';

/**
 * Tells `rated` (detail: ids and stars), `playlists`, `playlist` (detail: id) and `pins`; and
 * `library` when others have changed songs or playlists.
 */
export const changed = new EventTarget();

/** Stars given in this page; pages that were fetched before do not know them. */
const stars = new Map();

const tellOthers = shareWithWindows('changed', ({ name, detail }) => {
  if (name === 'rated') {
    stars.set(detail.id, detail.rating);
  }
  changed.dispatchEvent(new CustomEvent(name, { detail }));
});

/**
 * @param {string} name
 * @param {unknown} [detail]
 */
export function tell(name, detail) {
  changed.dispatchEvent(new CustomEvent(name, { detail }));
  tellOthers({ name, detail });
}

/** @param {string | undefined} text */
function figure(text) {
  const value = parseFloat(text ?? '');
  return Number.isFinite(value) ? value : undefined;
}

/**
 * @param {any} found a track object of the API
 * @returns {Song}
 */
export function songOf(found) {
  const { song_tag: tag = {}, song_audio: audio = {}, song_rating: rated = {} } =
    found.additional ?? {};
  /** @type {Song} */
  const song = {
    id: found.id,
    title: found.title ?? '',
    path: found.path ?? '',
    isStream: found.type === 'remote',
    artist: tag.artist ?? '',
    album: tag.album ?? '',
    albumArtist: tag.album_artist ?? '',
    composer: tag.composer ?? '',
    genre: tag.genre ?? '',
    comment: tag.comment ?? '',
    disc: tag.disc ?? 0,
    track: tag.track ?? 0,
    year: tag.year ?? 0,
    duration: audio.duration ?? 0,
    rating: stars.get(found.id) ?? rated.rating ?? 0,
    codec: audio.codec ?? '',
    container: audio.container ?? '',
    frequency: audio.frequency ?? 0,
    bitrate: audio.bitrate ?? 0,
    channels: audio.channel ?? 0,
    size: audio.filesize ?? 0,
  };
  if (tag.rg_track_gain || tag.rg_album_gain) {
    song.gain = {
      track: figure(tag.rg_track_gain),
      trackPeak: figure(tag.rg_track_peak),
      album: figure(tag.rg_album_gain),
      albumPeak: figure(tag.rg_album_peak),
    };
  }
  return song;
}

/**
 * @param {string[]} ids of songs that the person may see; the others are left out
 * @param {AbortSignal} [signal]
 */
export async function songsById(ids, signal) {
  /** @type {Song[]} */
  const found = [];
  for (const id of portionsOf(ids)) {
    const { songs } = await call('Song', 'get', { id, additional: ADDITIONAL }, { signal })
      .catch((error) => (error.code === 404 ? { songs: [] } : Promise.reject(error)));
    found.push(...songs.map(songOf));
  }
  return found;
}

/**
 * @param {any} found
 * @returns {Album}
 */
export function albumOf(found) {
  return {
    name: found.name, albumArtist: found.album_artist ?? '', year: found.year, star: found.star,
  };
}

/** Which music the views show. */
export function library() {
  return choice('library') || undefined;
}

/**
 * @template T
 * @param {string} api
 * @param {string} method
 * @param {string} list where the answer has its items
 * @param {(found: any, answer: any) => T} make
 * @param {Params} params
 * @param {number} [pageSize]
 * @returns {Source<T>}
 */
export function sourceOf(api, method, list, make, params, pageSize = 100) {
  return {
    pageSize,
    fetch: async (offset, limit, signal) => {
      const data = await call(api, method, { ...params, offset, limit }, { signal });
      const items = data[list].map((/** @type {any} */ found) => make(found, data));
      return { total: data.total, items };
    },
  };
}

/** @param {Params} [params] */
export function songs(params = {}) {
  const asked = { library: library(), additional: ADDITIONAL, ...params };
  const method = 'keyword' in params ? 'search' : 'list';
  return sourceOf('Song', method, 'songs', songOf, asked);
}

/** @param {Params} [params] */
export function albums(params = {}) {
  return sourceOf('Album', 'list', 'albums', albumOf, { library: library(), ...params }, 60);
}

/**
 * @param {GroupKind} kind
 * @param {Params} [params]
 * @returns {Source<Group>}
 */
export function groups(kind, params = {}) {
  const api = kind[0].toUpperCase() + kind.slice(1);
  const make = (/** @type {any} */ { name, star }) => ({ name, star });
  return sourceOf(api, 'list', `${kind}s`, make, { library: library(), ...params });
}

/**
 * @param {number} limit
 * @param {AbortSignal} [signal]
 */
export async function randomSongs(limit, signal) {
  return (await songs({ sort_by: 'random' }).fetch(0, limit, signal)).items;
}

/**
 * All songs of a source, at most 5000.
 * @param {Source<Song>} source
 * @param {AbortSignal} [signal]
 */
export async function allOf(source, signal) {
  return (await source.fetch(0, 5000, signal)).items;
}

/**
 * The songs of an album in their order.
 * @param {Album} album
 * @param {AbortSignal} [signal]
 */
export async function albumSongs({ name: album, albumArtist }, signal) {
  const found = await allOf(songs({ album, album_artist: albumArtist, sort_by: 'path' }), signal);
  return found.sort((a, b) => a.disc - b.disc || a.track - b.track);
}

/**
 * @param {GroupKind} kind
 * @param {string} name
 */
export function groupSongs(kind, name) {
  return allOf(songs({ [kind]: name, sort_by: 'album' }));
}

/**
 * What a folder holds; the folders come first.
 * @param {string} id empty: the indexed folders
 * @param {(trail: {id: string, name: string}[], hasSongs: boolean) => void} [onTrail] the way to
 *   it, itself last
 * @returns {Source<{folder?: Folder, song?: Song}>}
 */
export function folder(id, onTrail) {
  const asked = { library: library(), additional: ADDITIONAL, id: id || undefined };
  return {
    pageSize: 100,
    fetch: async (offset, limit, signal) => {
      const data = await call('Folder', 'list', { ...asked, offset, limit }, { signal });
      const folders = (data.folders ?? []).map((/** @type {Folder} */ one) => ({ folder: one }));
      const found = (data.songs ?? []).map((/** @type {any} */ song) => ({ song: songOf(song) }));
      onTrail?.(data.trail, found.length > 0 || data.total > offset + folders.length);
      return { total: data.total, items: [...folders, ...found] };
    },
  };
}

/**
 * @param {Song} song
 * @param {number} rating
 */
export async function rate(song, rating) {
  const before = song.rating;
  const show = (/** @type {number} */ value) => {
    stars.set(song.id, value);
    song.rating = value;
    tell('rated', { id: song.id, rating: value });
  };
  show(rating);
  try {
    await change('Song', 'rate', { id: song.id, rating });
  } catch (error) {
    show(before);
    throw error;
  }
}

/**
 * @param {AbortSignal} [signal]
 * @returns {Promise<Pin[]>}
 */
export async function pins(signal) {
  return (await call('Pin', 'list', {}, { signal })).pins;
}

/**
 * @param {string} method
 * @param {Params} params
 */
export async function changePins(method, params) {
  await change('Pin', method, params);
  tell('pins');
}

/**
 * @param {AbortSignal} [signal]
 * @returns {Promise<Link[]>}
 */
export async function links(signal) {
  return (await call('Sharing', 'list', { limit: 5000 }, { signal })).sharings;
}
