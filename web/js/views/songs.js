// All songs of the library.

import { shuffleEverything } from '../actions.js';
import { button } from '../icons.js';
import { songs } from '../library.js';
import { noMusic } from '../parts/cards.js';
import { counter, page, pageHead, sorting } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { t } from '../texts.js';

const SORTS = /** @type {const} */ (
  ['title', 'artist', 'album', 'year', 'date', 'duration', 'plays', 'played']);

/** @param {import('../types.js').Place} place */
export function view(place) {
  return page('songs', t('nav.songs'), (view) => {
    const { asked, pick, turn } = sorting(place, SORTS);
    const shuffle = button(t('do.shuffle'), shuffleEverything, { icon: 'shuffle' });
    const { head, count } = pageHead(t('nav.songs'), pick, turn, shuffle);
    view.append(head, songList(songs(asked), {
      label: t('nav.songs'),
      withAlbum: true,
      counted: counter(count, 'songs.count'),
      empty: () => noMusic('songs'),
    }));
  });
}
