// A playlist: its songs, which can be moved and removed when it is one's own.

import { attempt, choiceOfZip, isOwn, mayChange, pin } from '../actions.js';
import { h, hueOf, refill } from '../dom.js';
import { icon } from '../icons.js';
import {
  allOf, changed, changePlaylist, coverAddress, moveInPlaylist, playlist, playlistSongs,
} from '../library.js';
import { may } from '../person.js';
import { banner } from '../parts/banner.js';
import { emptyNote } from '../parts/cards.js';
import { cover } from '../parts/cover-art.js';
import { confirmDelete, field, openForm } from '../parts/dialog.js';
import { page } from '../parts/page-view.js';
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
  refill(art, ...four.map((song) => cover(coverAddress({ id: song.id }), song.album)),
    four.length === 0 && icon(found.type === 'smart' ? 'smart' : 'playlists'));
  return art;
}

/** @param {Found} found */
function rename(found) {
  const name = h('input', { name: 'name', required: true, maxLength: 80, value: found.name });
  openForm({
    title: t('playlist.rename'), send: t('do.save'), fields: [field(t('field.name'), name)],
    onSend: async () => {
      const renamed = await changePlaylist('rename', { id: found.id, name: name.value });
      go(playlistPath(renamed.id), { replace: true });
    },
  });
}

/** @param {Found} found */
function choicesFor(found) {
  const own = mayChange(found);
  const isSmart = found.type === 'smart';
  return [
    {
      text: t('do.pin'), icon: /** @type {const} */ ('pin'), parted: true,
      run: () => pin('playlist', found.name, { playlist: found.id }),
    },
    choiceOfZip({ id: found.id }),
    may('sharing') && {
      text: t('do.share'), icon: /** @type {const} */ ('share'),
      run: async () => (await import('../parts/share.js')).sharePlaylist(found),
    },
    isOwn(found) && {
      text: t('do.rename'), icon: /** @type {const} */ ('edit'), parted: true,
      run: () => rename(found),
    },
    own && {
      text: t('do.findMissing'), icon: /** @type {const} */ ('clean'),
      run: async () => (await import('../parts/missing.js')).openMissing(found),
    },
    isSmart && isOwn(found) && {
      text: t('do.rule'), icon: /** @type {const} */ ('smart'),
      run: async () => (await import('../parts/smart-editor.js')).editSmart(found),
    },
    isOwn(found) && {
      text: t('do.delete'), icon: /** @type {const} */ ('trash'),
      run: () => confirmDelete(t('playlist.delete', { name: found.name }), t('playlist.delete.hint'),
        async () => {
          await changePlaylist('delete', { id: found.id });
          toast(t('done.deleted', { name: found.name }));
          go('/playlists', { replace: true });
        }),
    },
  ];
}

/** @param {import('../types.js').Place} place */
export function view({ id }) {
  return page('playlist', t('kind.playlist'), (view) => {
    view.append(h('div', { class: 'banner is-pending' }));
    const source = playlistSongs(id);
    let isMoving = false;
    const get = async (/** @type {AbortSignal} */ signal) =>
      Promise.all([playlist(id, signal), source.fetch(0, 40, signal)]);
    view.fetch(get, ([found, { items }]) => {
      setTitle(found.name);
      const own = mayChange(found);
      const count = h('span');
      const list = songList(source, {
        label: found.name,
        withAlbum: true,
        counted: (total) => {
          count.textContent = t('songs.count', { count: total });
          view.querySelector('.banner')?.classList.toggle('is-empty', total === 0);
        },
        empty: () => emptyNote('playlists', t('playlist.empty'), own ? t('playlist.empty.hint') : ''),
        onMove: own ? (from, before) => {
          const songs = from.flatMap((place) => list.at(place) ?? []);
          if (isMoving || songs.length < from.length) {
            return false;
          }
          isMoving = true; // until the list has its new order: places of the old one are wrong
          return attempt(() => moveInPlaylist(id, songs, from, before).finally(() => {
            list.reload();
            list.addEventListener('fetched', () => {
              isMoving = false;
            }, { once: true });
          }));
        } : undefined,
        onRemove: own ? (places) => attempt(() =>
          changePlaylist('remove', { id, position: places.map(String) })) : undefined,
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
