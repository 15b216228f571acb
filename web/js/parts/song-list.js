// A long list of songs, as the views show it.

import { addToPlaylist, playFetched, titleOf } from '../actions.js';
import { LongList } from '../list.js';
import { t } from '../texts.js';
import { enableDrag } from './drag.js';
import { Selection } from './selection.js';
import { SongRow } from './song-row.js';

/** @typedef {import('../types.js').Song} Song */
/** @template T @typedef {import('../types.js').Source<T>} Source */

const ROW = 60;
const SHORT_ROW = 50;
const MOST = 1000;

/**
 * @typedef {object} SongListLook
 * @property {string} label
 * @property {(song: Song, index: number) => string} [number]
 * @property {boolean} [withAlbum]
 * @property {boolean} [isShort]
 * @property {() => Node} [empty]
 * @property {(total: number) => void} [counted]
 * @property {(places: number[], before: number) => unknown} [onMove] `before`: an entry's place
 *   now. False: not now
 * @property {(places: number[]) => unknown} [onRemove]
 * @property {(index: number) => void} [play]
 * @property {(index: number) => boolean} [isCurrent]
 */

/**
 * Plays a source from one of its songs on: all of it, or of a long one what follows.
 * @param {Source<Song>} source
 * @param {number} index
 * @param {number} total
 */
function playFrom(source, index, total) {
  const from = total > MOST ? index : 0;
  return playFetched(async () => (await source.fetch(from, MOST)).items,
    () => ({ first: index - from }));
}

/**
 * @param {Source<Song>} source
 * @param {SongListLook} look
 */
export function songList(source, look) {
  /** @type {LongList<Song>} */
  const list = new LongList();
  list.classList.add('song-list');
  const selection = new Selection(list, look.onRemove);
  const moves = (/** @type {number} */ index) => look.onMove ? [
    index > 0 && { text: t('do.up'), icon: /** @type {const} */ ('up'), parted: true,
      run: () => look.onMove?.([index], index - 1) },
    index < list.total - 1 && { text: t('do.down'), icon: /** @type {const} */ ('lower'),
      run: () => look.onMove?.([index], index + 2) },
  ] : [];
  list.show(source, {
    label: look.label,
    rowHeight: look.isShort ? SHORT_ROW : ROW,
    empty: look.empty,
    counted: look.counted,
    make: (song, index) => new SongRow(song, {
      number: look.number?.(song, index),
      withAlbum: look.withAlbum,
      isShort: look.isShort,
      withDrag: look.onMove !== undefined,
      isChosen: selection.has(index),
      play: () => look.play ? look.play(index) : playFrom(source, index, list.total),
      more: () => [
        { text: t('do.select'), icon: 'check', run: () => selection.toggle(index) },
        ...moves(index),
        look.onRemove !== undefined && {
          text: t('do.remove'), icon: 'close', parted: true, run: () => look.onRemove?.([index]),
        },
      ],
      isCurrent: look.isCurrent && (() => look.isCurrent?.(index) ?? false),
    }),
  });
  list.addEventListener('connected', () => {
    selection.start();
    enableRows(list, look, selection);
  });
  return list;
}

/**
 * Drag and drop, and Alt with an arrow for the keyboard.
 * @param {LongList<Song>} list
 * @param {SongListLook} look
 * @param {Selection} selection
 */
function enableRows(list, look, selection) {
  enableDrag({
    list,
    signal: list.signal,
    indexOf: (element) => list.indexOf(element),
    label: (index) => {
      const songs = selection.songsFor(index);
      return songs.length > 1 ? t('songs.count', { count: songs.length }) : titleOf(songs[0]);
    },
    onMove: look.onMove && ((from, before) => {
      const places = selection.placesFor(from);
      selection.clear();
      look.onMove?.(places, before);
    }),
    onDrop: (from, { dataset }) => {
      const songs = selection.songsFor(from);
      if (dataset.drop) {
        addToPlaylist(async () => songs, dataset.drop, dataset.name ?? '');
        selection.clear();
      }
    },
  });
  list.addEventListener('keydown', (event) => {
    const step = { ArrowUp: -1, ArrowDown: 1 }[event.key];
    const from = list.indexOf(/** @type {Node} */ (event.target));
    const to = from + (step ?? 0);
    if (event.altKey && step && look.onMove && from >= 0 && to >= 0 && to < list.total) {
      event.preventDefault();
      if (look.onMove([from], step > 0 ? to + 1 : to) !== false) {
        list.focusItem(to);
      }
    }
  }, { signal: list.signal });
}
