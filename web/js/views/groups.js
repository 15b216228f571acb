// All artists, genres or composers.

import { h, isPhone } from '../dom.js';
import { groups } from '../library.js';
import { LongList } from '../list.js';
import { emptyNote, groupCard } from '../parts/cards.js';
import { counter, page, pageHead, sorting } from '../parts/page-view.js';
import { t } from '../texts.js';

/** @typedef {import('../library.js').GroupKind} GroupKind */

/** @param {import('../types.js').Place} place */
export function view(place) {
  const plural = /** @type {`${GroupKind}s`} */ (place.path.slice(1).replace(/\/$/, ''));
  const kind = /** @type {GroupKind} */ (plural.slice(0, -1));
  return page('groups', t(`nav.${plural}`), (view) => {
    const { asked, pick, turn } = sorting(place, /** @type {const} */ (['name', 'star']));
    const { head, count } = pageHead(t(`nav.${plural}`), pick, turn);
    /** @type {LongList<import('../types.js').Group>} */
    const list = new LongList();
    list.show(groups(kind, asked), {
      label: t(`nav.${plural}`),
      grid: kind === 'artist' ? { width: isPhone() ? 96 : 150, below: 58 }
        : { width: isPhone() ? 150 : 200, below: 20, ratio: 0.52 },
      make: (group) => groupCard(kind, group),
      counted: counter(count, `${plural}.count`),
      empty: () => emptyNote(plural, t('list.empty'), t('list.empty.hint')),
    });
    view.append(head, h('div', { class: 'grid-frame' }, list));
  });
}
