// An album: its cover, its songs by discs, and more of its artist.

import { choiceOfPin, choiceOfZip, playFetched } from '../actions.js';
import { coverAddress } from '../covers.js';
import { h, refill } from '../dom.js';
import { albums, albumSongs, changed, library } from '../library.js';
import { albumCard, albumName, emptyNote, shelf } from '../parts/cards.js';
import { banner } from '../parts/banner.js';
import { cover } from '../parts/cover-art.js';
import { page } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { sourceOfItems } from '../pages.js';
import { groupPath } from '../routes.js';
import { length, t } from '../texts.js';

/** @typedef {import('../types.js').Album} Album */
/** @typedef {import('../types.js').Song} Song */

const MORE = 12;

/**
 * @param {Song[]} songs
 * @returns {Map<number, Song[]>}
 */
function byDisc(songs) {
  const discs = new Map();
  for (const song of songs) {
    discs.set(song.disc, [...(discs.get(song.disc) ?? []), song]);
  }
  return discs;
}

/**
 * @param {Song[]} songs
 * @param {string} albumArtist
 */
function facts(songs, albumArtist) {
  const artist = albumArtist || songs[0].artist;
  const years = new Set(songs.map(({ year }) => year).filter(Boolean));
  const genres = [...new Set(songs.map(({ genre }) => genre).filter(Boolean))].slice(0, 2);
  const seconds = songs.reduce((sum, { duration }) => sum + duration, 0);
  return [
    h('a', { class: 'strong', href: groupPath('artist', artist), dir: 'auto' },
      artist || t('unknown.artist')),
    years.size > 0 && h('span', {}, String(Math.max(...years))),
    h('span', {}, t('songs.count', { count: songs.length })),
    h('span', {}, length(seconds)),
    ...genres.map((genre) => h('a', { href: groupPath('genre', genre), dir: 'auto' }, genre)),
  ];
}

/**
 * @param {Album} album
 * @param {Song[]} songs
 */
function head(album, songs) {
  const { name, albumArtist } = album;
  return banner({
    kind: t('kind.album'),
    name: albumName(album),
    art: cover(coverAddress({ album, id: songs[0].id }), albumName(album)),
    below: facts(songs, albumArtist),
    songs: async () => songs,
    loved: name ? { album } : undefined,
    more: () => [
      choiceOfPin('album', albumName(album), { album: name, album_artist: albumArtist }),
      choiceOfZip({ album: name, album_artist: albumArtist || undefined, library: library() }),
    ],
  });
}

/**
 * A list for each disc. Any song of them begins the whole album there.
 * @param {Album} album
 * @param {Song[]} songs
 */
function discLists(album, songs) {
  const discs = byDisc(songs);
  let before = 0;
  return [...discs].flatMap(([disc, those]) => {
    const first = before;
    before += those.length;
    const list = songList(sourceOfItems(those), {
      label: albumName(album),
      isShort: songs.every(({ artist }) => artist === songs[0].artist),
      number: (song) => (song.track > 0 ? String(song.track) : '–'),
      play: (index) => playFetched(async () => songs, () => ({ first: first + index })),
    });
    return discs.size > 1 && disc > 0
      ? [h('h2', { class: 'disc' }, t('album.disc', { disc })), list] : [list];
  });
}

/**
 * Other albums of the same artist.
 * @param {import('../parts/page-view.js').PageView} view
 * @param {Album} album
 */
function others(view, { name, albumArtist: artist }) {
  const place = h('div');
  if (artist) {
    const source = albums({ artist, sort_by: 'year', sort_direction: 'DESC' });
    view.fetch((signal) => source.fetch(0, MORE, signal), ({ items }) =>
      refill(place, shelf(t('album.more', { artist }),
        items.filter((one) => one.name !== name).map((one) => albumCard(one, true)))));
  }
  return place;
}

/** @param {import('../types.js').Place} place */
export function view({ query }) {
  const album = { name: query.get('name') ?? '', albumArtist: query.get('by') ?? '' };
  return page('album', albumName(album), (view) => {
    view.append(h('div', { class: 'banner is-pending' }));
    let shown = '';
    const draw = () => view.fetch((signal) => albumSongs(album, signal), (songs) => {
      const now = JSON.stringify(songs);
      if (now === shown) {
        return;
      }
      shown = now;
      if (songs.length === 0) {
        refill(view, emptyNote('albums', t('error.404')));
      } else {
        refill(view, head(album, songs), ...discLists(album, songs), others(view, album));
      }
    });
    view.listen(changed, 'library', draw);
    draw();
  });
}
