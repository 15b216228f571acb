// The entries of a playlist that have no song: seen, replaced by a song that was found, removed.

import { attempt, titleOf } from '../actions.js';
import { call } from '../api.js';
import { h, refill } from '../dom.js';
import { ADDITIONAL, changePlaylist, songOf } from '../library.js';
import { missingEntries } from '../playlists.js';
import { joined, t } from '../texts.js';
import { emptyNote } from './cards.js';
import { openDialog } from './dialog.js';

/** @typedef {import('../types.js').Song} Song */

const MOST = 100;

/**
 * What a file is probably called within.
 * @param {string} path
 */
function nameIn(path) {
  const file = path.slice(path.lastIndexOf('/') + 1).replace(/\.[^.]*$/, '');
  return file.replace(/^\d+[\s._-]+/, '').replace(/[._]+/g, ' ').trim() || file;
}

/**
 * Songs of the same name.
 * @param {Song} song
 * @returns {Promise<Song[]>}
 */
async function alike(song) {
  const file = (/** @type {string} */ path) => path.slice(path.lastIndexOf('/') + 1).toLowerCase();
  const { songs } = await call('Song', 'search',
    { keyword: nameIn(song.path || song.title), field: 'title', limit: 20, additional: ADDITIONAL });
  const found = /** @type {Song[]} */ (songs.map(songOf));
  return found.sort((a, b) =>
    Number(file(b.path) === file(song.path)) - Number(file(a.path) === file(song.path))).slice(0, 5);
}

/**
 * @param {import('../types.js').Playlist} playlist
 */
export async function openMissing({ id, name }) {
  const content = h('div', { class: 'missing', 'aria-live': 'polite' });
  const dialog = openDialog(t('missing.title', { name }), content);
  dialog.classList.add('is-wide');
  /**
   * @param {string} method
   * @param {import('../api.js').Params} params
   */
  const changeList = (method, params) => attempt(async () => {
    await changePlaylist(method, { id, ...params });
    await show();
  });

  const row = (/** @type {import('../playlists.js').Missing} */ { song, place }) => {
    const found = h('ul', { class: 'row-list' });
    const look = () => attempt(async () => {
      const songs = await alike(song);
      refill(found, songs.length === 0 && h('li', { class: 'soft' }, t('missing.none')),
        ...songs.map((one) => h('li', {},
          h('div', { dir: 'auto' }, h('strong', {}, titleOf(one)),
            h('small', { class: 'soft' }, joined([one.artist, one.album, one.path]))),
          h('button', { class: 'button', onclick: () => changeList('replace',
            { position: place, songs: [one.id] }) }, t('missing.use')))));
    });
    return h('li', {},
      h('div', { dir: 'auto' }, h('strong', {}, titleOf(song)),
        h('small', { class: 'soft' }, song.path)),
      h('button', { class: 'button', onclick: look }, t('missing.find')),
      h('button', { class: 'button', onclick: () => changeList('remove',
        { position: [String(place)] }) }, t('do.remove')), found);
  };

  const show = async () => {
    const missing = await missingEntries(id);
    if (missing.length === 0) {
      refill(content, emptyNote('check', t('missing.empty')));
      return;
    }
    refill(content, h('p', { class: 'soft' }, t('missing.count', { count: missing.length })),
      h('ul', { class: 'row-list' }, ...missing.slice(0, MOST).map(row)),
      h('footer', {}, h('button', { class: 'button is-danger',
        onclick: () => changeList('remove_missing', {}) }, t('do.removeMissing'))));
  };
  await attempt(show);
}
