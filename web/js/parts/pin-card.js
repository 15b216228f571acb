// What somebody pinned to the start page.

import { shuffleEverything } from '../actions.js';
import { coverAddress } from '../covers.js';
import { icon } from '../icons.js';
import { albumSongs, allOf, groupSongs } from '../library.js';
import { playlistSongs } from '../playlists.js';
import { albumPath, folderPath, groupPath, playlistPath } from '../routes.js';
import { t } from '../texts.js';
import { card, monogram } from './cards.js';
import { cover } from './cover-art.js';

/** @typedef {import('../types.js').Pin} Pin */

/** @param {Pin} pin */
export function pinCard({ type, name, criteria }) {
  const { album = '', album_artist: albumArtist = '', folder = '', playlist = '' } = criteria;
  const drawing = (/** @type {import('../icons.js').IconName} */ picture) =>
    monogram(name, icon(picture));
  switch (type) {
    case 'album': {
      const found = { name: album, albumArtist };
      return card({
        href: albumPath(found), art: cover(coverAddress({ album: found }), name), name,
        below: t('kind.album'), play: () => albumSongs(found),
      });
    }
    case 'artist':
    case 'genre':
    case 'composer': {
      const one = criteria[type] ?? '';
      return card({
        href: groupPath(type, one), art: drawing(`${type}s`), name, below: t(`kind.${type}`),
        kind: type === 'artist' ? 'is-artist' : '', play: () => groupSongs(type, one),
      });
    }
    case 'folder':
      return card({
        href: folderPath(folder), art: drawing('folders'), name, below: t('kind.folder'),
      });
    case 'playlist':
      return card({
        href: playlistPath(playlist), art: drawing('playlists'), name, below: t('kind.playlist'),
        play: () => allOf(playlistSongs(playlist)),
      });
    case 'recently_added':
      return card({ href: '/albums?sort=date', art: drawing('albums'), name });
    default: {
      const made = card({ href: '/songs', art: drawing('shuffle'), name });
      made.querySelector('a')?.addEventListener('click', (event) => {
        event.preventDefault();
        shuffleEverything();
      });
      return made;
    }
  }
}
