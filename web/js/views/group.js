// An artist, a genre or a composer: the albums, then all songs.

import { choiceOfPin } from '../actions.js';
import { h, hueOf, initialsOf, refill } from '../dom.js';
import { icon } from '../icons.js';
import { albums, groupSongs, songs } from '../library.js';
import { albumCard, emptyNote, groupName, monogram, shelf } from '../parts/cards.js';
import { banner } from '../parts/banner.js';
import { counter, page } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { t } from '../texts.js';

/** @typedef {import('../library.js').GroupKind} GroupKind */

const MOST_ALBUMS = 60;

/** @param {import('../types.js').Place} place */
export function view({ path, query }) {
  const kind = /** @type {GroupKind} */ (path.split('/')[1].slice(0, -1));
  const name = query.get('name') ?? '';
  const shown = groupName(kind, name);
  return page('group', shown, (view) => {
    const counts = [h('span'), h('span')];
    const shelves = h('div');
    const art = monogram(shown, kind === 'artist' ? initialsOf(shown) : icon(`${kind}s`),
      `is-${kind}`);
    const list = songList(songs({ [kind]: name, sort_by: 'album' }), {
      label: t('nav.songs'),
      withAlbum: true,
      counted: counter(counts[1], 'songs.count'),
      empty: () => emptyNote(`${kind}s`, t('error.404')),
    });
    view.append(banner({
      kind: t(`kind.${kind}`), name: shown, art, below: counts,
      tint: `hsl(${hueOf(shown)} 45% 50%)`,
      songs: () => groupSongs(kind, name),
      loved: kind === 'artist' && name ? { artist: name } : undefined,
      more: () => [choiceOfPin(kind, shown, { [kind]: name })],
    }), shelves, h('h2', { class: 'disc' }, t('nav.songs')), list);

    const found = albums({ [kind]: name, sort_by: 'year', sort_direction: 'DESC' });
    view.fetch((signal) => found.fetch(0, MOST_ALBUMS, signal), ({ total, items }) => {
      counter(counts[0], 'albums.count')(total);
      refill(shelves, shelf(t('nav.albums'),
        items.map((album) => albumCard(album, kind === 'artist'))));
    });
  });
}
