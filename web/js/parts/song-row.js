// A song in a list: its place, cover, names, stars, length and menu.

import { openSongMenu, titleOf } from '../actions.js';
import { h, Part } from '../dom.js';
import { icon } from '../icons.js';
import { coverAddress } from '../library.js';
import { player, playing } from '../playing.js';
import { albumPath, groupPath } from '../routes.js';
import { clock, t } from '../texts.js';
import { cover } from './cover-art.js';
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
    openSongMenu(beside, this.song, this.look.more?.() ?? []);
  }

  #draw() {
    const { song, look } = this;
    const title = titleOf(song);
    const press = () => (this.#isCurrent() ? player().toggle() : look.play());
    const lead = h('button', { class: 'row-lead', tabindex: '-1', 'aria-hidden': 'true', onclick: press },
      look.number === undefined
        ? cover(song.isStream ? '' : coverAddress({ id: song.id }), song.album || title)
        : h('span', { class: 'row-number' }, look.number),
      icon('play'), bars());
    const name = h('button', {
      class: 'row-title', 'data-focus': '', dir: 'auto', title,
      'aria-label': t('do.play.what', { name: title }), onclick: press,
    }, title);
    const artist = song.artist
      ? h('a', { href: groupPath('artist', song.artist), tabindex: '-1', dir: 'auto' }, song.artist)
      : h('span', {}, song.isStream ? song.path : t('unknown.artist'));
    const album = h('a', {
      class: 'row-album', tabindex: '-1', dir: 'auto',
      href: albumPath({ name: song.album, albumArtist: song.albumArtist }),
    }, song.album);
    const rating = stars(song);
    rating.tabIndex = -1;
    const menu = h('button', {
      class: 'icon-button row-menu', tabindex: '-1', 'aria-haspopup': 'menu',
      'aria-label': t('do.more', { name: title }), onclick: () => this.openMenu(),
    }, icon('more'));
    this.replaceChildren(lead, h('div', { class: 'row-names' }, name,
      look.isShort ? '' : h('div', { class: 'row-artist' }, artist)));
    this.append(look.withAlbum ? album : '', rating,
      h('span', { class: 'row-length' }, song.duration > 0 ? clock(song.duration) : ''), menu);
    if (look.withDrag) {
      this.append(h('span', { class: 'row-grip', 'data-grip': '', 'aria-hidden': 'true' }, icon('grip')));
    }
    this.classList.toggle('has-album', look.withAlbum ?? false);
    this.classList.toggle('is-chosen', look.isChosen ?? false);
    this.classList.toggle('is-short', look.isShort ?? false);
    this.classList.toggle('has-drag', look.withDrag ?? false);
  }

  #isCurrent() {
    return this.look.isCurrent?.() ?? player().current()?.id === this.song.id;
  }

  #mark() {
    const isCurrent = this.#isCurrent();
    this.classList.toggle('is-current', isCurrent);
    this.classList.toggle('is-playing', isCurrent && player().isPlaying());
    this.querySelector('.row-title')?.toggleAttribute('aria-current', isCurrent);
  }
}

customElements.define('song-row', SongRow);

/** Moving bars beside the song that plays. */
export function bars() {
  return h('span', { class: 'bars', 'aria-hidden': 'true' }, h('i'), h('i'), h('i'));
}
