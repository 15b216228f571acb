// What can be done with songs, from any view: play, queue, playlists, stars, sharing.

import { addressOf } from './api.js';
import { portionsOf } from './arrays.js';
import { allOf, changePins, randomSongs } from './library.js';
import { changePlaylist, playlists } from './playlists.js';
import { player } from './playing.js';
import { may } from './person.js';
import { canBeFavourite, isFavourite } from './favourites.js';
import { toggleHeart } from './parts/heart.js';
import { openForm, switchField, textField } from './parts/dialog.js';
import { openMenu } from './parts/menu.js';
import { h } from './dom.js';
import { attempt, toast } from './parts/toast.js';
import { albumPath, go, groupPath } from './routes.js';
import { t } from './texts.js';

/** @typedef {import('./types.js').Song} Song */
/** @typedef {import('./parts/menu.js').Choice} Choice */
/** @typedef {() => Promise<Song[]>} Songs songs that are fetched when they are needed */
/** @typedef {Element | {x: number, y: number}} Beside where a menu opens: an element, or a point */

const RANDOM = 200;

/** @param {Song} song */
export function titleOf(song) {
  return song.title || t('unknown.title');
}

let turn = 0;

/**
 * Plays songs when they are there, unless others have been asked for since.
 * @param {Songs} songs
 * @param {(found: Song[]) => {first?: number, shuffle?: boolean}} how
 */
export function playFetched(songs, how) {
  const mine = ++turn;
  return attempt(async () => {
    const found = await songs();
    if (mine === turn) {
      player().playSongs(found, how(found));
    }
  });
}

/**
 * @param {Songs} songs
 * @param {{shuffle?: boolean, first?: number}} how
 */
export function playAll(songs, { shuffle = false, first = 0 } = {}) {
  return playFetched(songs, ({ length }) =>
    ({ first: shuffle ? Math.floor(Math.random() * length) : first, shuffle }));
}

export function shuffleEverything() {
  return playAll(() => randomSongs(RANDOM));
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
 * @param {string} id of a playlist
 * @param {string} name
 * @param {Song[]} songs
 */
async function addSongs(id, name, songs) {
  for (const some of portionsOf(songs)) {
    await changePlaylist('add', { id, songs: some.map((song) => song.id) });
  }
  toast(t('done.added', { name }));
}

/**
 * @param {Songs} songs
 * @param {string} id of a playlist
 * @param {string} name
 */
export function addToPlaylist(songs, id, name) {
  return attempt(async () => addSongs(id, name, await songs()));
}

/** The field of a playlist's name. */
export function listNameField(value = '') {
  return textField(t('field.name'), 'name', { maxLength: 80, value });
}

/** The fields of a new playlist. */
export function newListFields() {
  return [listNameField(),
    may('playlist') && switchField(t('playlists.forAll'), { name: 'shared' })];
}

/**
 * Makes the playlist that those fields describe.
 * @param {Record<string, string>} data
 * @param {string} [rule] of a smart one
 * @returns {Promise<string>} its id
 */
export async function createList({ name, shared }, rule) {
  const library = shared ? 'shared' : 'personal';
  const method = rule === undefined ? 'create' : 'create_smart';
  return (await changePlaylist(method, { name, library, rule })).id;
}

/** @param {Songs} [songs] what the new playlist holds */
export function newPlaylist(songs) {
  openForm({
    title: t('playlists.new'),
    send: t('do.create'),
    fields: newListFields(),
    onSend: async (data) => {
      const found = await songs?.() ?? [];
      const id = await createList(data);
      if (found.length > 0) {
        await addSongs(id, data.name, found);
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
 * @param {Beside} beside
 * @param {Songs} songs
 */
export async function choosePlaylist(beside, songs) {
  const { x, y } = beside instanceof Element ? beside.getBoundingClientRect() : beside;
  const own = (await attempt(() => playlists()) ?? []).filter(mayChange);
  /** @type {Choice[]} */
  const choices = own.map(({ id, name }, index) => ({
    text: name, isName: true, icon: 'playlists', parted: index === 0,
    run: () => addToPlaylist(songs, id, name),
  }));
  openMenu({ x, y }, t('playlist.choose'), [
    { text: t('do.newPlaylist'), icon: 'plus', run: () => newPlaylist(songs) }, ...choices,
  ]);
}

/**
 * @param {Songs} songs
 * @returns {(Choice | false)[]}
 */
export function choicesToQueue(songs) {
  return [
    player().can('insert') &&
      { text: t('do.next'), icon: 'next', run: () => enqueue(songs, true) },
    { text: t('do.queue'), icon: 'queue', run: () => enqueue(songs, false) },
  ];
}

/**
 * The choices for several songs.
 * @param {Beside} beside
 * @param {Songs} songs
 * @returns {(Choice | false)[]}
 */
export function choicesForSongs(beside, songs) {
  return [...choicesToQueue(songs),
    { text: t('do.playlist'), icon: 'playlists', run: () => choosePlaylist(beside, songs) },
  ];
}

/**
 * @param {Beside} beside
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
    song.album !== '' &&
      { text: t('do.album'), icon: 'albums', parted: true, run: () => go(albumPath(album)) },
    song.artist !== '' && {
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
 * The choice that pins something to the start page.
 * @param {string} type
 * @param {string} name
 * @param {Record<string, string>} criteria
 * @returns {Choice}
 */
export function choiceOfPin(type, name, criteria) {
  return { text: t('do.pin'), icon: 'pin', parted: true, run: () => attempt(async () => {
    await changePins('pin', { type, name, criteria: JSON.stringify(criteria) });
    toast(t('done.pinned'));
  }) };
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
    const before = /** @type {HTMLElement | null} */ (document.activeElement);
    const box = h('textarea', { value: text, readOnly: true, class: 'unseen' });
    (document.querySelector('dialog[open]') ?? document.body).append(box);
    box.select();
    document.execCommand('copy');
    box.remove();
    before?.focus();
  }
  toast(t('done.copied'));
}
