// All songs of the library.

import { shuffleEverything } from '../actions.js';
import { h } from '../dom.js';
import { icon } from '../icons.js';
import { songs } from '../library.js';
import { emptyNote } from '../parts/cards.js';
import { page, pageHead, picker } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { go } from '../routes.js';
import { t } from '../texts.js';

const SORTS = /** @type {const} */ (['title', 'artist', 'album', 'year', 'date', 'duration', 'plays', 'played']);

/** @param {import('../types.js').Place} place */
export function view({ query }) {
  return page('songs', t('nav.songs'), (view) => {
    const sort = query.get('sort') ?? 'title';
    const pick = picker(t('sort.by'), SORTS.map((name) => [name, t(`sort.${name}`)]), sort,
      (by) => go(`/songs?sort=${by}`, { replace: true }));
    const shuffle = h('button', { class: 'button', onclick: shuffleEverything },
      icon('shuffle'), t('do.shuffle'));
    const { head, count } = pageHead(t('nav.songs'), pick, shuffle);
    const order = ['year', 'date', 'duration', 'plays', 'played'].includes(sort) ? 'DESC' : 'ASC';
    view.append(head, songList(songs({ sort_by: sort, sort_direction: order }), {
      label: t('nav.songs'),
      withAlbum: true,
      counted: (total) => {
        count.textContent = t('songs.count', { count: total });
      },
      empty: () => emptyNote('songs', t('home.empty'), t('home.empty.hint')),
    }));
  });
}
