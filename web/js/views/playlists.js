// All playlists.

import { newPlaylist } from '../actions.js';
import { h, refill } from '../dom.js';
import { button, icon } from '../icons.js';
import { allOf, changed } from '../library.js';
import { playlists, playlistSongs } from '../playlists.js';
import { card, emptyNote, monogram } from '../parts/cards.js';
import { counter, page, pageHead } from '../parts/page-view.js';
import { playlistPath } from '../routes.js';
import { t } from '../texts.js';

/** @param {import('../types.js').Playlist} playlist */
export function kindOf({ type, library }) {
  const kind = type === 'smart' ? 'smart' : 'playlist';
  return t(library === 'shared' ? `kind.${kind}.shared` : `kind.${kind}`);
}

/** @param {import('../types.js').Playlist} playlist */
export function playlistCard(playlist) {
  const art = monogram(playlist.name, icon(playlist.type === 'smart' ? 'smart' : 'playlists'));
  return card({
    href: playlistPath(playlist.id), art, name: playlist.name, below: kindOf(playlist),
    play: () => allOf(playlistSongs(playlist.id)),
  });
}

export function view() {
  return page('playlists', t('nav.playlists'), (view) => {
    const make = button(t('playlists.new'), () => newPlaylist(), { icon: 'plus' });
    const makeSmart = button(t('playlists.newSmart'), async () =>
      (await import('../parts/smart-editor.js')).editSmart(), { icon: 'smart' });
    const { head, count } = pageHead(t('nav.playlists'), make, makeSmart);
    const grid = h('ul', { class: 'card-grid' });
    const empty = h('div');
    view.append(head, grid, empty);
    const show = () => view.fetch(playlists, (found) => {
      counter(count, 'playlists.count')(found.length);
      refill(grid, found.map((one) => h('li', { class: 'card-cell' }, playlistCard(one))));
      refill(empty, found.length === 0 &&
        emptyNote('playlists', t('playlists.empty'), t('playlists.empty.hint')));
    });
    view.listen(changed, 'playlists', show);
    show();
  });
}
