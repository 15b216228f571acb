// All playlists.

import { attempt, newPlaylist } from '../actions.js';
import { h, refill } from '../dom.js';
import { icon } from '../icons.js';
import { allOf, changed, playlists, playlistSongs } from '../library.js';
import { card, emptyNote, monogram } from '../parts/cards.js';
import { page, pageHead } from '../parts/page-view.js';
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
    const make = h('button', { class: 'button', onclick: () => newPlaylist() }, icon('plus'),
      t('playlists.new'));
    const makeSmart = h('button', { class: 'button', onclick: async () =>
      (await import('../parts/smart-editor.js')).editSmart() }, icon('smart'),
    t('playlists.newSmart'));
    const { head, count } = pageHead(t('nav.playlists'), make, makeSmart);
    const grid = h('ul', { class: 'card-grid' });
    view.append(head, grid);
    const show = async () => {
      const found = await attempt(() => playlists(view.signal));
      if (found) {
        count.textContent = t('playlists.count', { count: found.length });
        refill(grid, found.map((one) => h('li', { class: 'card-cell' }, playlistCard(one))));
        view.querySelector('.empty')?.remove();
        if (found.length === 0) {
          view.append(emptyNote('playlists', t('playlists.empty'), t('playlists.empty.hint')));
        }
      }
    };
    view.listen(changed, 'playlists', show);
    show();
  });
}
