// What can be done with songs, from any view: play, queue, playlists, stars, sharing.

import { addressOf, isAbort } from './api.js';
import { allOf, changePins, changePlaylist, playlists, randomSongs } from './library.js';
import { player } from './playing.js';
import { may } from './person.js';
import { canBeFavourite, isFavourite } from './favourites.js';
import { toggleHeart } from './parts/heart.js';
import { field, openForm, switchField } from './parts/dialog.js';
import { openMenu } from './parts/menu.js';
import { h } from './dom.js';
import { toast } from './parts/toast.js';
import { albumPath, go, groupPath } from './routes.js';
import { t, wordsFor } from './texts.js';

/** @typedef {import('./types.js').Song} Song */
/** @typedef {import('./parts/menu.js').Choice} Choice */
/** @typedef {() => Promise<Song[]>} Songs songs that are fetched when they are needed */

const RANDOM = 200;
const AT_ONCE = 1000;

/**
 * Does something and says when it fails.
 * @template T
 * @param {() => Promise<T>} run
 * @returns {Promise<T | undefined>}
 */
export async function attempt(run) {
  try {
    return await run();
  } catch (error) {
    if (!isAbort(error)) {
      toast(wordsFor(error));
    }
    return undefined;
  }
}

/** @param {Song} song */
export function titleOf(song) {
  return song.title || t('unknown.title');
}

/**
 * @param {Songs} songs
 * @param {{shuffle?: boolean, first?: number}} how
 */
export function playAll(songs, { shuffle = false, first = 0 } = {}) {
  return attempt(async () => {
    const found = await songs();
    const start = shuffle ? Math.floor(Math.random() * found.length) : first;
    player().playSongs(found, { first: start, shuffle });
  });
}

export function shuffleEverything() {
  return attempt(async () => player().playSongs(await randomSongs(RANDOM), { shuffle: false }));
}

/**
 * @param {Songs} songs
 * @param {boolean} next
 */
export function enqueue(songs, next) {
  return attempt(async () => {
    toast(t('done.queued', { count: await player().addSongs(await songs(), next) }));
  });
}

/**
 * The server takes a thousand at once.
 * @param {string} id of a playlist
 * @param {string[]} songs
 */
async function addIds(id, songs) {
  for (let at = 0; at < songs.length; at += AT_ONCE) {
    await changePlaylist('add', { id, songs: songs.slice(at, at + AT_ONCE) });
  }
}

/**
 * @param {Songs} songs
 * @param {string} id of a playlist
 * @param {string} name
 */
export function addToPlaylist(songs, id, name) {
  return attempt(async () => {
    await addIds(id, (await songs()).map((song) => song.id));
    toast(t('done.added', { name }));
  });
}

/** @param {Songs} [songs] what the new playlist holds */
export function newPlaylist(songs) {
  const name = h('input', { name: 'name', required: true, maxLength: 80, autocomplete: 'off' });
  openForm({
    title: t('playlists.new'),
    send: t('do.create'),
    fields: [
      field(t('field.name'), name),
      may('playlist') && switchField(t('playlists.forAll'), { name: 'shared' }),
    ],
    onSend: async (data) => {
      const ids = songs ? (await songs()).map((song) => song.id) : [];
      const { id } = await changePlaylist('create', {
        name: String(data.get('name')),
        library: data.has('shared') ? 'shared' : 'personal',
      });
      await addIds(id, ids);
      if (ids.length > 0) {
        toast(t('done.added', { name: String(data.get('name')) }));
      }
    },
  });
}

/** @param {import('./types.js').Playlist} playlist */
export function isOwn(playlist) {
  return playlist.library === 'personal' || may('playlist');
}

/** @param {import('./types.js').Playlist} playlist */
export function mayChange(playlist) {
  return playlist.type === 'normal' && isOwn(playlist);
}

/**
 * A menu of the playlists to add songs to.
 * @param {Element | {x: number, y: number}} beside
 * @param {Songs} songs
 */
export async function choosePlaylist(beside, songs) {
  const point = beside instanceof Element ? beside.getBoundingClientRect() : beside;
  const all = await attempt(() => playlists());
  const own = (all ?? []).filter(mayChange);
  openMenu({ x: point.x, y: point.y }, t('playlist.choose'), [
    { text: t('do.newPlaylist'), icon: 'plus', run: () => newPlaylist(songs) },
    ...own.map(({ id, name }, index) => ({
      text: name, isName: true, icon: /** @type {const} */ ('playlists'), parted: index === 0,
      run: () => addToPlaylist(songs, id, name),
    })),
  ]);
}

/**
 * The choices for several songs.
 * @param {Element | {x: number, y: number}} beside
 * @param {Songs} songs
 * @returns {Choice[]}
 */
export function choicesForSongs(beside, songs) {
  return [
    ...(player().can('insert') ? [{
      text: t('do.next'), icon: /** @type {const} */ ('next'), run: () => enqueue(songs, true),
    }] : []),
    { text: t('do.queue'), icon: 'queue', run: () => enqueue(songs, false) },
    { text: t('do.playlist'), icon: 'playlists', run: () => choosePlaylist(beside, songs) },
  ];
}

/**
 * @param {Element | {x: number, y: number}} beside
 * @param {Song} song
 * @param {(Choice | false)[]} [more] of the view
 */
export function openSongMenu(beside, song, more = []) {
  const album = { name: song.album, albumArtist: song.albumArtist };
  openMenu(beside, titleOf(song), [
    ...choicesForSongs(beside, async () => [song]),
    canBeFavourite({ song }) && {
      text: t(isFavourite({ song }) ? 'do.noFavourite' : 'do.favourite'), icon: 'favourites',
      run: () => toggleHeart({ song }),
    },
    ...more,
    Boolean(song.album) && {
      text: t('do.album'), icon: 'albums', parted: true,
      run: () => go(albumPath(album)),
    },
    Boolean(song.artist) && {
      text: t('do.artist'), icon: 'artists', run: () => go(groupPath('artist', song.artist)),
    },
    may('sharing') && !song.isStream && {
      text: t('do.share'), icon: 'share', parted: true,
      run: async () => (await import('./parts/share.js')).shareSong(song),
    },
    may('streaming') && !song.isStream && {
      text: t('do.download'), icon: 'download', run: () => download('song', { id: song.id }),
    },
    {
      text: t('do.about'), icon: 'about',
      run: async () => (await import('./parts/about.js')).aboutSong(song),
    },
  ]);
}

/**
 * @param {'song' | 'zip'} method
 * @param {import('./api.js').Params} what
 */
function download(method, what) {
  h('a', { href: addressOf('Download', method, what), download: '' }).click();
}

/**
 * The choice of an archive of many songs.
 * @param {import('./api.js').Params} what parameters of Download.zip
 * @returns {Choice | false}
 */
export function choiceOfZip(what) {
  return may('streaming') && {
    text: t('do.downloadAll'), icon: 'download', run: () => download('zip', what),
  };
}

/**
 * @param {string} type
 * @param {string} name
 * @param {Record<string, string>} criteria
 */
export function pin(type, name, criteria) {
  return attempt(async () => {
    await changePins('pin', { type, name, criteria: JSON.stringify(criteria) });
    toast(t('done.pinned'));
  });
}

/** Makes a playlist of the queue. */
export function saveQueue() {
  newPlaylist(() => allOf(player().source()));
}

/** @param {string} text */
export async function copyText(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    // Without https there is no clipboard for scripts; a selected field can still be copied.
    const box = h('textarea', { value: text, readOnly: true, class: 'unseen' });
    (document.querySelector('dialog[open]') ?? document.body).append(box);
    box.select();
    document.execCommand('copy');
    box.remove();
  }
  toast(t('done.copied'));
}
