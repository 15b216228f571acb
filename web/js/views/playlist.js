// A playlist: its songs, which can be moved and removed when it is one's own.

import { choiceOfPin, choiceOfZip, isOwn, listNameField, mayChange } from '../actions.js';
import { h, hueOf, refill } from '../dom.js';
import { icon } from '../icons.js';
import { allOf, changed } from '../library.js';
import { may } from '../person.js';
import { changePlaylist, moveInPlaylist, playlist, playlistSongs, removeFromPlaylist }
  from '../playlists.js';
import { banner } from '../parts/banner.js';
import { emptyNote } from '../parts/cards.js';
import { songCover } from '../parts/cover-art.js';
import { confirmDelete, openForm } from '../parts/dialog.js';
import { counter, page } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { toast } from '../parts/toast.js';
import { go, playlistPath, setTitle } from '../routes.js';
import { t } from '../texts.js';
import { kindOf } from './playlists.js';

/** @typedef {import('../types.js').Playlist & {total: number}} Found */
/** @typedef {import('../types.js').Song} Song */

/**
 * The covers of the first four albums.
 * @param {Found} found
 * @param {Song[]} songs
 */
function mosaic(found, songs) {
  const albums = new Map(songs.filter(({ isStream, album }) => !isStream && album)
    .map((song) => [song.album, song]));
  const vars = { '--hue': `${hueOf(found.name)}` };
  const art = h('span', { class: 'mosaic', 'aria-hidden': 'true', vars });
  const four = [...albums.values()].slice(0, albums.size >= 4 ? 4 : 1);
  art.classList.toggle('is-one', four.length === 1);
  refill(art, ...four.map(songCover),
    four.length === 0 && icon(found.type === 'smart' ? 'smart' : 'playlists'));
  return art;
}

/** @param {Found} found */
function rename(found) {
  openForm({
    title: t('playlist.rename'), send: t('do.save'), fields: [listNameField(found.name)],
    onSend: async ({ name }) => {
      const renamed = await changePlaylist('rename', { id: found.id, name });
      go(playlistPath(renamed.id), { replace: true });
    },
  });
}

/** @param {Found} found */
async function remove({ id, name }) {
  await changePlaylist('delete', { id });
  toast(t('done.deleted', { name }));
  go('/playlists', { replace: true });
}

/**
 * @param {Found} found
 * @returns {(import('../parts/menu.js').Choice | false)[]}
 */
function choicesFor(found) {
  const { id, name, type } = found;
  return [
    choiceOfPin('playlist', name, { playlist: id }),
    choiceOfZip({ id }),
    may('sharing') && {
      text: t('do.share'), icon: 'share',
      run: async () => (await import('../parts/share.js')).sharePlaylist(found),
    },
    isOwn(found) &&
      { text: t('do.rename'), icon: 'edit', parted: true, run: () => rename(found) },
    mayChange(found) && {
      text: t('do.findMissing'), icon: 'clean',
      run: async () => (await import('../parts/missing.js')).openMissing(found),
    },
    type === 'smart' && isOwn(found) && {
      text: t('do.rule'), icon: 'smart',
      run: async () => (await import('../parts/smart-editor.js')).editSmart(found),
    },
    isOwn(found) && {
      text: t('do.delete'), icon: 'trash',
      run: () => confirmDelete(name, t('playlist.delete.hint'), () => remove(found)),
    },
  ];
}

/** @param {import('../types.js').Place} place */
export function view({ id }) {
  return page('playlist', t('kind.playlist'), (view) => {
    view.append(h('div', { class: 'banner is-pending' }));
    const source = playlistSongs(id);
    const get = (/** @type {AbortSignal} */ signal) =>
      Promise.all([playlist(id, signal), source.fetch(0, 40, signal)]);
    view.fetch(get, ([found, { items }]) => {
      setTitle(found.name);
      const own = mayChange(found);
      const count = h('span');
      const list = songList(source, {
        label: found.name,
        withAlbum: true,
        counted: (total) => {
          counter(count, 'songs.count')(total);
          view.querySelector('.banner')?.classList.toggle('is-empty', total === 0);
        },
        empty: () => emptyNote('playlists', t('playlist.empty'),
          own ? t('playlist.empty.hint') : ''),
        ...own && {
          onMove: (from, before, songs, next) => moveInPlaylist(id, songs, from, before, next),
          onRemove: (places, songs) => removeFromPlaylist(id, songs, places),
        },
      });
      refill(view, banner({
        kind: kindOf(found), name: found.name, art: mosaic(found, items), below: [count],
        songs: () => allOf(source), more: () => choicesFor(found),
        tint: `hsl(${hueOf(found.name)} 45% 50%)`,
      }), list);
      view.listen(changed, 'playlist', ({ detail }) => detail === id && list.reload());
    });
  });
}
