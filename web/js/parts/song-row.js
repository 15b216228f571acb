// A song in a list: its place, cover, names, stars, length and menu.

import { openSongMenu, titleOf } from '../actions.js';
import { h, Part, refill } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { isMissing } from '../ids.js';
import { player, playing } from '../playing.js';
import { albumPath, groupPath } from '../routes.js';
import { clock, t } from '../texts.js';
import { songCover } from './cover-art.js';
import { stars } from './star-rating.js';

/** @typedef {import('../types.js').Song} Song */

/**
 * @typedef {object} RowLook
 * @property {string} [number] what stands in front; without it the cover
 * @property {boolean} [withAlbum]
 * @property {boolean} [isShort] one line, without the artist
 * @property {boolean} [withDrag]
 * @property {boolean} [isChosen]
 * @property {() => void} play
 * @property {() => (import('./menu.js').Choice | false)[]} [more] of the menu
 * @property {() => boolean} [isCurrent] when the same song may be there twice
 */

export class SongRow extends Part {
  /** @type {Song} */
  song;
  /** @type {RowLook} */
  look;

  /**
   * @param {Song} song
   * @param {RowLook} look
   */
  constructor(song, look) {
    super();
    this.song = song;
    this.look = look;
  }

  start() {
    if (this.childElementCount === 0) {
      this.className = 'song-row';
      this.#draw();
    }
    for (const name of ['song', 'order', 'state']) {
      this.listen(playing, name, () => this.#mark());
    }
    this.listen(this, 'contextmenu', (event) => {
      event.preventDefault();
      this.openMenu(event.clientX > 0 ? { x: event.clientX, y: event.clientY } : undefined);
    });
    this.listen(this, 'dblclick', () => this.look.play());
    this.#mark();
  }

  /** @param {{x: number, y: number}} [point] */
  openMenu(point) {
    const beside = point ?? this.querySelector('.row-menu') ?? this;
    openSongMenu(beside, this.song, this.look.more?.());
  }

  #draw() {
    const { song, look } = this;
    const title = titleOf(song);
    const press = () => (this.#isCurrent() ? player().toggle() : look.play());
    const lead = h('button', {
      class: 'row-lead', tabindex: '-1', 'aria-hidden': 'true', onclick: press,
    }, look.number === undefined ? songCover(song)
      : h('span', { class: 'row-number' }, look.number), icon('play'), bars());
    const name = h('button', {
      class: 'row-title', 'data-focus': '', dir: 'auto', title,
      'aria-label': t('do.play.what', { name: title }), onclick: press,
    }, title);
    const about = song.isStream || isMissing(song) ? song.path : t('unknown.artist');
    const artist = song.artist
      ? h('a', { href: groupPath('artist', song.artist), tabindex: '-1', dir: 'auto' }, song.artist)
      : h('span', { dir: 'auto' }, about);
    const album = h('a', {
      class: 'row-album', tabindex: '-1', dir: 'auto',
      href: albumPath({ name: song.album, albumArtist: song.albumArtist }),
    }, song.album);
    const rating = stars(song);
    rating.tabIndex = -1;
    const menu = iconButton('more', t('do.more', { name: title }), () => this.openMenu(),
      { look: 'row-menu', tabindex: '-1', 'aria-haspopup': 'menu' });
    const grip = look.withDrag &&
      h('span', { class: 'row-grip', 'data-grip': '', 'aria-hidden': 'true' }, icon('grip'));
    refill(this, lead,
      h('div', { class: 'row-names' }, name,
        !look.isShort && h('div', { class: 'row-artist' }, artist)),
      look.withAlbum && album, rating,
      h('span', { class: 'row-length' }, song.duration > 0 && clock(song.duration)), menu, grip);
    const looks = {
      'has-album': look.withAlbum, 'is-chosen': look.isChosen, 'is-short': look.isShort,
      'is-missing': isMissing(song), 'has-drag': look.withDrag,
    };
    for (const [name, isOn] of Object.entries(looks)) {
      this.classList.toggle(name, isOn ?? false);
    }
  }

  #isCurrent() {
    return this.look.isCurrent?.() ?? player().current()?.id === this.song.id;
  }

  #mark() {
    const isCurrent = this.#isCurrent();
    this.classList.toggle('is-current', isCurrent);
    this.classList.toggle('is-playing', isCurrent && player().isPlaying());
    this.querySelector('.row-title')?.setAttribute('aria-current', String(isCurrent));
  }
}

customElements.define('song-row', SongRow);

/** Moving bars beside the song that plays. */
function bars() {
  return h('span', { class: 'bars', 'aria-hidden': 'true' }, h('i'), h('i'), h('i'));
}
