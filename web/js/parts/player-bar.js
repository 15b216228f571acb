// The player at the foot of the page.

import { openSongMenu, titleOf } from '../actions.js';
import { coverOfSong } from '../covers.js';
import { h, isPhone, Part, refill } from '../dom.js';
import { iconButton } from '../icons.js';
import { hasServerPlayer, player, playing } from '../playing.js';
import { albumPath, go, groupPath } from '../routes.js';
import { t } from '../texts.js';
import { SeekBar, TransportButtons, VolumeBar } from './controls.js';
import { CoverArt, tintBy } from './cover-art.js';
import { HeartButton } from './heart.js';
import { openNowPlaying } from './now-playing.js';
import { StarRating } from './star-rating.js';

/**
 * The song's title and artist as links.
 * @param {import('../types.js').Song | undefined} song
 */
function songNames(song) {
  if (!song) {
    return [h('span', { class: 'now-title soft' }, t('player.nothing'))];
  }
  const album = { name: song.album, albumArtist: song.albumArtist };
  const title = titleOf(song);
  return [
    song.album
      ? h('a', { class: 'now-title', dir: 'auto', href: albumPath(album), title }, title)
      : h('span', { class: 'now-title', dir: 'auto', title }, title),
    song.artist
      ? h('a', { class: 'now-artist', dir: 'auto', href: groupPath('artist', song.artist) },
        song.artist)
      : h('span', { class: 'now-artist' }, song.isStream ? song.path : t('unknown.artist')),
  ];
}

/** What the bar and the large view show of the song that plays, and what draws it. */
export function songParts() {
  const art = new CoverArt();
  const names = h('div', { class: 'now-names' });
  const rating = new StarRating();
  const heart = new HeartButton();
  const draw = (/** @type {import('../types.js').Song | undefined} */ song) => {
    art.show(coverOfSong(song), song ? song.album || titleOf(song) : '');
    refill(names, songNames(song));
    rating.show(song);
    heart.show({ song });
  };
  return { art, names, rating, heart, draw };
}

/** A button for the menu of the song that plays. */
export function songMenu() {
  const menu = iconButton('more', t('do.more', { name: t('player.open') }), () => {
    const song = player().current();
    if (song?.id) {
      openSongMenu(menu, song);
    }
  }, { 'aria-haspopup': 'menu' });
  return menu;
}

/** A button for the choice of where music plays; hidden where there is none. */
export function placesButton() {
  const button = iconButton('places', t('places.title'), async () =>
    (await import('./places.js')).openPlaces(button),
  { 'aria-haspopup': 'menu', hidden: !hasServerPlayer() });
  return button;
}

export class PlayerBar extends Part {
  start() {
    const { art, names, rating, heart, draw: drawSong } = songParts();
    const menu = songMenu();
    const large = h('button', {
      class: 'now-cover', 'aria-label': t('player.open'), title: t('player.open'),
      onclick: openNowPlaying,
    }, art);
    const list = iconButton('queue', t('nav.queue'),
      () => (location.pathname === '/queue' ? history.back() : go('/queue')));
    const places = placesButton();
    this.setAttribute('role', 'region');
    this.setAttribute('aria-label', t('player.label'));
    tintBy(this, art);
    refill(this,
      h('div', { class: 'bar-song' }, large, names, rating, heart),
      h('div', { class: 'bar-middle' }, new TransportButtons(), new SeekBar()),
      h('div', { class: 'bar-side' }, menu, list, places, new VolumeBar()));
    // On a phone a touch of the bar opens the large view.
    names.addEventListener('click', (event) => {
      if (isPhone() && player().current()) {
        event.preventDefault();
        openNowPlaying();
      }
    });
    const draw = () => {
      const song = player().current();
      drawSong(song);
      this.classList.toggle('is-empty', song === undefined);
      menu.disabled = !song?.id;
    };
    const drawPlaces = () => {
      places.hidden = !hasServerPlayer();
      places.setAttribute('aria-pressed', String(player().name === 'server'));
    };
    this.listen(playing, 'song', draw);
    this.listen(playing, 'places', drawPlaces);
    draw();
    drawPlaces();
  }
}

customElements.define('player-bar', PlayerBar);
