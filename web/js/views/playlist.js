// A playlist: its songs, which can be moved and removed when it is one's own.

import { choiceOfPin, choiceOfZip, isOwn, listNameField, mayChange } from '../actions.js';
import { h, hueOf, refill } from '../dom.js';
import { icon } from '../icons.js';
import { allOf, changed } from '../library.js';
import { may } from '../person.js';
import { changePlaylist, moveInPlaylist, playlist, playlistSongs } from '../playlists.js';
import { banner } from '../parts/banner.js';
import { emptyNote } from '../parts/cards.js';
import { songCover } from '../parts/cover-art.js';
import { confirmDelete, openForm } from '../parts/dialog.js';
import { counter, page } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { attempt, toast } from '../parts/toast.js';
import { go, playlistPath, setTitle } from '../routes.js';
import { t } from '../texts.js';
import { kindOf } from './playlists.js';

/** @typedef {import('../types.js').Playlist & {total: number}} Found */
/** @typedef {import('../types.js').Song} Song */
/** @typedef {import('../list.js').LongList<Song>} List */

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
async function deleteList({ id, name }) {
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
      run: () => confirmDelete(name, t('playlist.delete.hint'), () => deleteList(found)),
    },
  ];
}

/**
 * Where a song is that was at a place before: the nearest place that has it, if any has.
 * @param {List} list
 * @param {Song | undefined} song
 * @param {number} before
 */
function placeNow(list, song, before) {
  return Array.from({ length: song ? list.total : 0 }, (_, place) => place)
    .filter((place) => list.at(place)?.id === song?.id)
    .sort((a, b) => Math.abs(a - before) - Math.abs(b - before)).slice(0, 1);
}

/**
 * What changes the entries of a playlist by their places. A change begins when the list shows what
 * the last one did: until then, the places that it shows are those of other songs.
 * @param {string} id
 * @param {() => List} list
 */
function changesByPlace(id, list) {
  /** @type {Promise<void> | null} */
  let underWay = null;
  const make = (/** @type {() => Promise<unknown>} */ change) => {
    underWay = attempt(change).then(() => new Promise((resolve) => {
      list().addEventListener('fetched', resolve, { once: true });
      list().reload();
    })).then(() => {
      underWay = null;
    });
    return underWay;
  };
  return {
    isUnderWay: () => underWay !== null,
    move: (/** @type {number[]} */ from, /** @type {number} */ before) => {
      const songs = from.flatMap((place) => list().at(place) ?? []);
      return !underWay && songs.length === from.length &&
        make(() => moveInPlaylist(id, songs, from, before));
    },
    remove: async (/** @type {number[]} */ places) => {
      const songs = places.map((place) => list().at(place));
      let now = places;
      while (underWay) {
        await underWay;
        now = places.flatMap((place, index) => placeNow(list(), songs[index], place));
      }
      if (now.length > 0) {
        await make(() => changePlaylist('remove', { id, position: now.map(String) }));
      }
    },
  };
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
      const { isUnderWay, move, remove } = changesByPlace(id, () => list);
      /** @type {List} */
      const list = songList(source, {
        label: found.name,
        withAlbum: true,
        counted: (total) => {
          counter(count, 'songs.count')(total);
          view.querySelector('.banner')?.classList.toggle('is-empty', total === 0);
        },
        empty: () => emptyNote('playlists', t('playlist.empty'),
          own ? t('playlist.empty.hint') : ''),
        onMove: own ? move : undefined,
        onRemove: own ? remove : undefined,
      });
      refill(view, banner({
        kind: kindOf(found), name: found.name, art: mosaic(found, items), below: [count],
        songs: () => allOf(source), more: () => choicesFor(found),
        tint: `hsl(${hueOf(found.name)} 45% 50%)`,
      }), list);
      view.listen(changed, 'playlist', ({ detail }) =>
        detail === id && !isUnderWay() && list.reload());
    });
  });
}
