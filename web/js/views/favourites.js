// The favourites: artists and albums, then all songs.

import { h, refill } from '../dom.js';
import { favourites } from '../favourites.js';
import { albums, groups, songs } from '../library.js';
import { albumCard, emptyNote, groupCard, shelf } from '../parts/cards.js';
import { page, pageHead } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { t } from '../texts.js';

const MOST = 60;
const LATEST = { sort_by: 'favourite', sort_direction: 'DESC' };

export function view() {
  return page('favourites', t('nav.favourites'), (view) => {
    const { head, count } = pageHead(t('nav.favourites'));
    const [artists, records, list] = [0, 1, 2].map(() => h('div'));
    view.append(head, artists, records, list);
    const draw = () => {
      view.fetch((signal) => groups('artist', LATEST).fetch(0, MOST, signal), ({ items }) =>
        refill(artists, shelf(t('nav.artists'), items.map((one) => groupCard('artist', one)))));
      view.fetch((signal) => albums(LATEST).fetch(0, MOST, signal), ({ items }) =>
        refill(records, shelf(t('nav.albums'), items.map((one) => albumCard(one)))));
      refill(list, songList(songs(LATEST), {
        label: t('nav.songs'),
        withAlbum: true,
        counted: (total) => {
          count.textContent = total > 0 ? t('songs.count', { count: total }) : '';
        },
        empty: () => emptyNote('favourites', t('favourites.empty'), t('favourites.empty.hint')),
      }));
    };
    draw();
    view.listen(favourites, 'kept', draw);
  });
}
