// A long list of songs, as the views show it.

import { addToPlaylist, playFetched, titleOf } from '../actions.js';
import { LongList } from '../list.js';
import { t } from '../texts.js';
import { enableDrag } from './drag.js';
import { Selection } from './selection.js';
import { SongRow } from './song-row.js';
import { attempt, toast } from './toast.js';

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
 * @property {(places: number[], before: number, songs: Song[], next: Song | undefined) => unknown}
 *   [onMove] `before`: the place now of `next`, which is undefined at the end
 * @property {(places: number[], songs: (Song | undefined)[]) => unknown} [onRemove] undefined: a
 *   song that is not fetched
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
 * Where a song is that was at a place before: the nearest loaded place that has it, if any has.
 * @param {LongList<Song>} list
 * @param {Song | undefined} song
 * @param {number} before
 */
function placeNow(list, song, before) {
  return Array.from({ length: song?.id ? list.total : 0 }, (_, place) => place)
    .filter((place) => list.at(place)?.id === song?.id)
    .sort((a, b) => Math.abs(a - before) - Math.abs(b - before)).slice(0, 1);
}

/**
 * Moves and removes songs by their places. A change begins when the list shows what the last one
 * did: until then, the places that it shows are those of other songs. A removal waits for that,
 * looks for its songs again, and tells when it cannot find one, or when the view was left. A move
 * does nothing until then, and returns false.
 * @param {LongList<Song>} list
 * @param {SongListLook} look
 */
function inTurn(list, { onMove, onRemove }) {
  /** @type {Promise<void> | null} */
  let underWay = null;
  const make = (/** @type {() => unknown} */ change) => {
    underWay = attempt(async () => change()).then(() => new Promise((resolve) => {
      list.addEventListener('fetched', resolve, { once: true });
      list.signal.addEventListener('abort', resolve, { once: true });
      list.isConnected ? list.reload() : resolve(null);
    })).then(() => {
      underWay = null;
    });
    return underWay;
  };
  return {
    move: onMove && ((/** @type {number[]} */ from, /** @type {number} */ before) => {
      const songs = from.flatMap((place) => list.at(place) ?? []);
      return !underWay && songs.length === from.length &&
        make(() => onMove(from, before, songs, list.at(before)));
    }),
    remove: onRemove && (async (/** @type {number[]} */ places) => {
      const songs = places.map((place) => list.at(place));
      let now = places;
      while (underWay) {
        await underWay;
        now = !list.isConnected ? []
          : [...new Set(places.flatMap((place, index) => placeNow(list, songs[index], place)))];
      }
      if (now.length < places.length) {
        toast(t('error.other'));
      }
      if (now.length > 0) {
        await make(() => onRemove(now, now.map((place) => list.at(place))));
      }
    }),
  };
}

/**
 * @param {Source<Song>} source
 * @param {SongListLook} look
 */
export function songList(source, look) {
  /** @type {LongList<Song>} */
  const list = new LongList();
  list.classList.add('song-list');
  const { move, remove } = inTurn(list, look);
  const selection = new Selection(list, remove);
  const moves = (/** @type {number} */ index) => move ? [
    index > 0 && { text: t('do.up'), icon: /** @type {const} */ ('up'), parted: true,
      run: () => move([index], index - 1) },
    index < list.total - 1 && { text: t('do.down'), icon: /** @type {const} */ ('lower'),
      run: () => move([index], index + 2) },
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
      withDrag: move !== undefined,
      isChosen: selection.has(index),
      play: () => look.play ? look.play(index) : playFrom(source, index, list.total),
      more: () => [
        { text: t('do.select'), icon: 'check', run: () => selection.toggle(index) },
        ...moves(index),
        remove !== undefined &&
          { text: t('do.remove'), icon: 'close', parted: true, run: () => remove([index]) },
      ],
      isCurrent: look.isCurrent && (() => look.isCurrent?.(index) ?? false),
    }),
  });
  list.addEventListener('connected', () => {
    selection.start();
    enableRows(list, selection, move);
  });
  return list;
}

/**
 * Drag and drop, and Alt with an arrow for the keyboard.
 * @param {LongList<Song>} list
 * @param {Selection} selection
 * @param {((from: number[], before: number) => unknown) | undefined} move
 */
function enableRows(list, selection, move) {
  enableDrag({
    list,
    signal: list.signal,
    indexOf: (element) => list.indexOf(element),
    label: (index) => {
      const songs = selection.songsFor(index);
      return songs.length > 1 ? t('songs.count', { count: songs.length }) : titleOf(songs[0]);
    },
    onMove: move && ((from, before) => {
      const places = selection.placesFor(from);
      selection.clear();
      move(places, before);
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
    if (event.altKey && step && move && from >= 0 && to >= 0 && to < list.total) {
      event.preventDefault();
      if (move([from], step > 0 ? to + 1 : to) !== false) {
        list.focusItem(to);
      }
    }
  }, { signal: list.signal });
}
