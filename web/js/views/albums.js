// All albums as a grid of covers.

import { albums } from '../library.js';
import { LongList } from '../list.js';
import { albumCard, noMusic } from '../parts/cards.js';
import { counter, page, pageHead, sorting } from '../parts/page-view.js';
import { t } from '../texts.js';

const SORTS = /** @type {const} */ (['name', 'artist', 'year', 'date', 'star', 'plays', 'played']);

/** @param {import('../types.js').Place} place */
export function view(place) {
  return page('albums', t('nav.albums'), (view) => {
    const { asked, pick, turn } = sorting(place, SORTS, 'albumSort');
    const { head, count } = pageHead(t('nav.albums'), pick, turn);
    /** @type {LongList<import('../types.js').Album>} */
    const list = new LongList();
    list.show(albums(asked), {
      label: t('nav.albums'),
      grid: { width: 168, below: 74 },
      make: (album) => albumCard(album),
      counted: counter(count, 'albums.count'),
      empty: () => noMusic('albums'),
    });
    view.append(head, list);
  });
}
