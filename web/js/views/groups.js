// All artists, genres or composers.

import { h } from '../dom.js';
import { groups } from '../library.js';
import { LongList } from '../list.js';
import { emptyNote, groupCard } from '../parts/cards.js';
import { page, pageHead, picker } from '../parts/page-view.js';
import { go } from '../routes.js';
import { t } from '../texts.js';

/** @typedef {import('../types.js').Group} Group */
/** @typedef {import('../library.js').GroupKind} GroupKind */

/** @param {import('../types.js').Place} place */
export function view({ path, query }) {
  const plural = /** @type {`${GroupKind}s`} */ (path.slice(1).replace(/\/$/, ''));
  const kind = /** @type {GroupKind} */ (plural.slice(0, -1));
  return page('groups', t(`nav.${plural}`), (view) => {
    const sort = query.get('sort') === 'star' ? 'star' : 'name';
    const pick = picker(t('sort.by'), [['name', t('sort.name')], ['star', t('sort.star')]], sort,
      (by) => go(`${path}?sort=${by}`, { replace: true }));
    const { head, count } = pageHead(t(`nav.${plural}`), pick);
    /** @type {LongList<Group>} */
    const list = new LongList();
    const order = sort === 'star' ? 'DESC' : 'ASC';
    list.show(groups(kind, { sort_by: sort, sort_direction: order }), {
      label: t(`nav.${plural}`),
      grid: kind === 'artist' ? { width: innerWidth > 720 ? 150 : 96, below: 58 }
        : { width: innerWidth > 720 ? 200 : 150, below: 20, ratio: 0.52 },
      make: (group) => groupCard(kind, group),
      counted: (total) => {
        count.textContent = t(`${plural}.count`, { count: total });
      },
      empty: () => emptyNote(plural, t('list.empty')),
    });
    view.append(head, h('div', { class: 'grid-frame' }, list));
  });
}
