// Stars, given by a click, by arrow keys, or by the keys 0 to 5.

import { h, Part } from '../dom.js';
import { icon } from '../icons.js';
import { changed, rate } from '../library.js';
import { t } from '../texts.js';
import { attempt } from './toast.js';

/** @typedef {import('../types.js').Song} Song */

const MOST = 5;

export class StarRating extends Part {
  /** @type {Song | undefined} */
  #song;

  /** @param {Song | undefined} song */
  show(song) {
    this.#song = song;
    this.#draw();
    return this;
  }

  start() {
    if (this.childElementCount === 0) {
      for (let star = 1; star <= MOST; ++star) {
        this.append(h('span', { class: 'star', 'data-stars': `${star}` }, icon('star')));
      }
      this.setAttribute('role', 'slider');
      this.setAttribute('aria-label', t('player.stars'));
      this.setAttribute('aria-valuemin', '0');
      this.setAttribute('aria-valuemax', `${MOST}`);
    }
    this.listen(this, 'click', (event) => this.#onClick(event));
    this.listen(this, 'keydown', (event) => this.#onKey(event));
    this.listen(changed, 'rated', ({ detail }) => {
      if (this.#song && detail.id === this.#song.id) {
        this.#song.rating = detail.rating;
        this.#draw();
      }
    });
    this.#draw();
  }

  #draw() {
    const rating = this.#song?.rating ?? 0;
    this.setAttribute('aria-valuenow', `${rating}`);
    this.setAttribute('aria-valuetext', t('stars.count', { count: rating }));
    this.classList.toggle('is-rated', rating > 0);
    const fixed = this.#song === undefined || this.#song.isStream;
    this.setAttribute('aria-disabled', String(fixed));
    if (!this.hasAttribute('tabindex')) {
      this.tabIndex = 0;
    }
    Array.from(this.children).forEach((star, index) => {
      star.classList.toggle('is-on', index < rating);
    });
  }

  /** @param {MouseEvent} event */
  #onClick(event) {
    event.stopPropagation();
    const star = /** @type {Element} */ (event.target).closest('[data-stars]');
    const given = Number(star?.getAttribute('data-stars') ?? 0);
    if (given > 0) {
      giveStars(this.#song, given === this.#song?.rating ? 0 : given);
    }
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    /** @type {Record<string, number>} */
    const steps = {
      ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1, Home: -MOST, End: MOST,
    };
    const step = steps[event.key];
    if (step !== undefined && this.#song) {
      event.preventDefault();
      event.stopPropagation();
      giveStars(this.#song, Math.max(0, Math.min(MOST, this.#song.rating + step)));
    }
  }
}

customElements.define('star-rating', StarRating);

/**
 * @param {Song | undefined} song
 * @param {number} rating
 */
export async function giveStars(song, rating) {
  if (song && !song.isStream) {
    await attempt(() => rate(song, rating));
  }
}

/** @param {Song} song */
export function stars(song) {
  return new StarRating().show(song);
}
