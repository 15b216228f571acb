// A cover: a drawing of its name until the picture is there, or in place of one.

import { connection } from '../api.js';
import { coverOfSong, sized } from '../covers.js';
import { h, hueOf, initialsOf, Part, setVars } from '../dom.js';

const RETRIES = 2;
const RETRY_PAUSE = 2500;

/** Tells covers when they come near what is in sight, and how large they are then. */
const sight = new IntersectionObserver((entries) => {
  for (const { target, isIntersecting, boundingClientRect } of entries) {
    if (isIntersecting && target instanceof CoverArt) {
      sight.unobserve(target);
      target.load(boundingClientRect.width);
    }
  }
}, { rootMargin: '200px' });

export class CoverArt extends Part {
  #address = '';
  #name = '';
  #tries = 0;

  get address() {
    return this.#address;
  }

  get name() {
    return this.#name;
  }

  /**
   * Tells `picture` when it is there, and `changed` when it goes.
   * @param {string} address empty: there is no picture
   * @param {string} name what the picture shows, for the drawing
   */
  show(address, name) {
    if (address === this.#address && name === this.#name) {
      return this;
    }
    this.#address = address;
    this.#name = name;
    this.#tries = 0;
    this.dispatchEvent(new Event('changed'));
    if (this.isConnected) {
      this.start();
    }
    return this;
  }

  start() {
    setVars(this, { '--hue': `${hueOf(this.#name)}` });
    const letters = h('span', { class: 'cover-letters', 'aria-hidden': 'true' });
    letters.textContent = initialsOf(this.#name);
    this.replaceChildren(letters);
    if (this.#address) {
      sight.observe(this);
    } else {
      sight.unobserve(this);
    }
  }

  end() {
    sight.unobserve(this);
    // A picture that is out of sight gives its connection to those in sight.
    this.querySelector('img')?.removeAttribute('src');
  }

  /** @param {number} side */
  load(side) {
    const address = this.#address;
    const again = () => address === this.#address && this.isConnected && this.load(side);
    const picture = h('img', {
      alt: '', decoding: 'async', draggable: false, fetchpriority: 'low',
      onload: () => {
        picture.classList.add('is-loaded');
        this.dispatchEvent(new CustomEvent('picture', { detail: picture, bubbles: true }));
      },
      onerror: () => {
        picture.remove();
        if (++this.#tries <= RETRIES) {
          setTimeout(again, RETRY_PAUSE * this.#tries);
        } else {
          connection.addEventListener('back', again, { once: true, signal: this.signal });
        }
      },
    });
    picture.src = sized(address, side);
    this.querySelector('img')?.remove();
    this.append(picture);
  }
}

customElements.define('cover-art', CoverArt);

/**
 * @param {string} address
 * @param {string} name
 */
export function cover(address, name) {
  return new CoverArt().show(address, name);
}

/** @param {import('../types.js').Song} song */
export function songCover(song) {
  return cover(coverOfSong(song), song.album || song.title);
}

/**
 * Colours an element by the picture of a cover, through the custom property --tint.
 * @param {HTMLElement} element
 * @param {CoverArt} art
 */
export function tintBy(element, art) {
  art.addEventListener('picture', (event) => {
    const tint = colourOf(/** @type {CustomEvent} */ (event).detail);
    if (tint) {
      setVars(element, { '--tint': tint });
    }
  });
}

/**
 * The colour of a picture: the mean of its pixels, by how colourful they are.
 * @param {HTMLImageElement} picture
 */
function colourOf(picture) {
  const side = 16;
  const canvas = h('canvas', { width: side, height: side });
  const context = canvas.getContext('2d', { willReadFrequently: true });
  if (!context) {
    return '';
  }
  context.drawImage(picture, 0, 0, side, side);
  const { data } = context.getImageData(0, 0, side, side);
  const sum = [0, 0, 0];
  let weights = 0.001;
  for (let at = 0; at < data.length; at += 4) {
    const [red, green, blue] = data.subarray(at, at + 3);
    const most = Math.max(red, green, blue);
    const weight = (most - Math.min(red, green, blue)) ** 1.5 + 1;
    weights += weight;
    [red, green, blue].forEach((value, index) => {
      sum[index] += value * weight;
    });
  }
  return `rgb(${sum.map((value) => Math.round(value / weights)).join(' ')})`;
}
