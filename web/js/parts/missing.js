// The entries of a playlist that have no song: seen, replaced by a song that was found, removed.

import { titleOf } from '../actions.js';
import { h, refill } from '../dom.js';
import { button } from '../icons.js';
import { songs } from '../library.js';
import { changePlaylist, missingEntries, removeFromPlaylist, replaceInPlaylist }
  from '../playlists.js';
import { joined, t } from '../texts.js';
import { emptyNote } from './cards.js';
import { openDialog } from './dialog.js';
import { row } from './rows.js';
import { attempt } from './toast.js';

/** @typedef {import('../types.js').Song} Song */

const MOST = 100;

/** @param {string} path */
function fileOf(path) {
  return path.slice(path.lastIndexOf('/') + 1);
}

/**
 * The title that a file's name suggests.
 * @param {string} path
 */
function nameIn(path) {
  const file = fileOf(path).replace(/\.[^.]*$/, '');
  return file.replace(/^\d+[\s._-]+/, '').replace(/[._]+/g, ' ').trim() || file;
}

/**
 * Songs of the same name.
 * @param {Song} song
 * @returns {Promise<Song[]>}
 */
async function alike(song) {
  const asked = { keyword: nameIn(song.path || song.title), field: 'title', library: undefined };
  const { items } = await songs(asked).fetch(0, 20);
  const isSame = ({ path = '' }) => fileOf(path).toLowerCase() === fileOf(song.path).toLowerCase();
  return items.sort((a, b) => Number(isSame(b)) - Number(isSame(a))).slice(0, 5);
}

/**
 * @param {import('../types.js').Playlist} playlist
 */
export async function openMissing({ id, name }) {
  const content = h('div', { class: 'missing', 'aria-live': 'polite' });
  const dialog = openDialog(t('missing.title', { name }), content);
  dialog.classList.add('is-wide');
  const changeList = async (/** @type {() => Promise<unknown>} */ change) => {
    content.inert = true; // a second change would go by the places of before this one
    await attempt(async () => {
      await change();
      await show();
    });
    content.inert = false;
  };

  const entry = (/** @type {import('../playlists.js').Missing} */ { song, place }) => {
    const found = h('ul', { class: 'row-list' });
    const look = () => attempt(async () => {
      const others = await alike(song);
      refill(found, others.length === 0 && h('li', { class: 'soft' }, t('missing.none')),
        ...others.map((one) => row(titleOf(one), joined([one.artist, one.album, one.path]),
          button(t('missing.use'), () =>
            changeList(() => replaceInPlaylist(id, song, place, one))))));
    });
    return row(titleOf(song), song.path, button(t('missing.find'), look),
      button(t('do.remove'), () => changeList(() => removeFromPlaylist(id, [song], [place]))),
      found);
  };

  const show = async () => {
    const missing = await missingEntries(id);
    if (missing.length === 0) {
      refill(content, emptyNote('check', t('missing.empty')));
      return;
    }
    refill(content, h('p', { class: 'soft' }, t('missing.count', { count: missing.length })),
      h('ul', { class: 'row-list' }, ...missing.slice(0, MOST).map(entry)),
      h('footer', {}, button(t('do.removeMissing'), () =>
        changeList(() => changePlaylist('remove_missing', { id })), { look: 'is-danger' })));
  };
  await attempt(show);
}
