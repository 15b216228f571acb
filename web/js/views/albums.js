// All albums as a grid of covers.

import { choice, choose } from '../choices.js';
import { iconButton } from '../icons.js';
import { albums } from '../library.js';
import { LongList } from '../list.js';
import { albumCard, emptyNote } from '../parts/cards.js';
import { page, pageHead, picker } from '../parts/page-view.js';
import { go } from '../routes.js';
import { t } from '../texts.js';

/** @typedef {import('../types.js').Album} Album */

const SORTS = /** @type {const} */ (['name', 'artist', 'year', 'date', 'star', 'plays', 'played']);
const DOWN = ['year', 'date', 'star', 'plays', 'played']; // newest and best first

export const ALBUM_GRID = { width: 168, below: 74 };

/** @param {import('../types.js').Place} place */
export function view({ query }) {
  return page('albums', t('nav.albums'), (view) => {
    const sort = query.get('sort') ?? choice('albumSort');
    const natural = DOWN.includes(sort);
    const descending = query.has('turned') !== natural;
    const address = (/** @type {string} */ by, /** @type {boolean} */ turned) =>
      `/albums?sort=${by}${turned ? '&turned' : ''}`;
    const turn = iconButton(descending ? 'descending' : 'ascending', t('sort.turn'),
      () => go(address(sort, !query.has('turned')), { replace: true }),
      { 'aria-pressed': String(query.has('turned')) });
    const pick = picker(t('sort.by'), SORTS.map((name) => [name, t(`sort.${name}`)]), sort,
      (by) => {
        choose('albumSort', by);
        go(address(by, false), { replace: true });
      });
    const { head, count } = pageHead(t('nav.albums'), pick, turn);
    /** @type {LongList<Album>} */
    const list = new LongList();
    list.show(albums({ sort_by: sort, sort_direction: descending ? 'DESC' : 'ASC' }), {
      label: t('nav.albums'),
      grid: ALBUM_GRID,
      make: (album) => albumCard(album),
      counted: (total) => {
        count.textContent = t('albums.count', { count: total });
      },
      empty: () => emptyNote('albums', t('home.empty'), t('home.empty.hint')),
    });
    view.append(head, list);
  });
}
