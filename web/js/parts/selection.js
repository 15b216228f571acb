// Several songs of a list at once: chosen with Ctrl, Shift, the key X, a long press of a finger, or
// "Select" of the menu.

import { choicesToQueue, choosePlaylist } from '../actions.js';
import { h, refill } from '../dom.js';
import { iconButton } from '../icons.js';
import { player } from '../playing.js';
import { t } from '../texts.js';

/** @typedef {import('../types.js').Song} Song */

// A browser opens a row's menu after 500 milliseconds.
const PRESS = 400;

export class Selection {
  /** @type {Map<number, Song>} by their places */
  #chosen = new Map();
  #last = 0;
  #total = 0; // of the list, when it was chosen
  #bar = h('div', { class: 'selection', role: 'toolbar' });

  /**
   * @param {import('../list.js').LongList<Song>} list
   * @param {(places: number[]) => unknown} [onRemove]
   */
  constructor(list, onRemove) {
    this.list = list;
    this.onRemove = onRemove;
  }

  get size() {
    return this.#chosen.size;
  }

  /** @param {number} index */
  has(index) {
    return this.#chosen.has(index);
  }

  /**
   * The songs that an action on one row means: all chosen ones if it is one of them.
   * @param {number} index
   * @returns {Song[]}
   */
  songsFor(index) {
    const song = this.list.at(index);
    return this.has(index) ? this.#songs() : song ? [song] : [];
  }

  /**
   * The places of those songs.
   * @param {number} index
   */
  placesFor(index) {
    return this.has(index) ? [...this.#chosen.keys()].sort((a, b) => a - b) : [index];
  }

  #songs() {
    return [...this.#chosen].sort(([a], [b]) => a - b).map(([, song]) => song);
  }

  /** Listens to a list that is in the document. */
  start() {
    const { list } = this;
    const { signal } = list;
    this.#startPress(signal); // before the listener that its click must not reach
    // Shift would also mark the texts of the rows.
    list.addEventListener('mousedown',
      (event) => event.shiftKey && event.preventDefault(), { signal });
    list.addEventListener('click', (event) => {
      const index = list.indexOf(/** @type {Node} */ (event.target));
      const isControl = /** @type {Element} */ (event.target).closest('.row-menu, star-rating');
      const isAsked = event.ctrlKey || event.metaKey || event.shiftKey || this.size > 0;
      if (index >= 0 && isAsked && !isControl) {
        event.preventDefault();
        event.stopPropagation();
        event.shiftKey ? this.#reach(index) : this.toggle(index);
      }
    }, { signal, capture: true });
    list.addEventListener('keydown', (event) => {
      const index = list.indexOf(/** @type {Node} */ (event.target));
      if (event.key === 'x' && index >= 0 && !event.ctrlKey && !event.metaKey) {
        event.preventDefault();
        this.toggle(index);
      } else if (event.key === 'Escape' && this.size > 0) {
        this.clear();
      }
    }, { signal });
    // Rows may have moved: the old places would be those of other songs.
    list.addEventListener('fetched', () => {
      const isOther = (/** @type {[number, Song]} */ [index, { id }]) =>
        (list.at(index)?.id ?? id) !== id;
      if (list.total !== this.#total || [...this.#chosen].some(isOther)) {
        this.clear();
      }
    }, { signal });
    signal.addEventListener('abort', () => this.clear());
  }

  /**
   * A finger that stays on a row chooses it, and the browser's menu does not open.
   * @param {AbortSignal} signal
   */
  #startPress(signal) {
    const { list } = this;
    let timer = 0;
    let isPressed = false;
    list.addEventListener('pointerdown', (event) => {
      const index = list.indexOf(/** @type {Node} */ (event.target));
      isPressed = false;
      if (event.pointerType === 'touch' && index >= 0) {
        timer = setTimeout(() => {
          isPressed = true;
          this.toggle(index);
        }, PRESS);
      }
    }, { signal });
    list.addEventListener('pointermove', (event) => {
      if (Math.hypot(event.movementX, event.movementY) > 4) {
        clearTimeout(timer);
      }
    }, { signal });
    for (const name of ['pointerup', 'pointercancel']) {
      list.addEventListener(name, () => clearTimeout(timer), { signal });
    }
    for (const name of ['contextmenu', 'click']) {
      list.addEventListener(name, (event) => {
        if (isPressed) {
          event.preventDefault();
          event.stopImmediatePropagation();
          isPressed = name === 'contextmenu';
        }
      }, { signal, capture: true });
    }
  }

  /** @param {number} index */
  toggle(index) {
    const song = this.list.at(index);
    if (!this.#chosen.delete(index) && song) {
      this.#chosen.set(index, song);
    }
    this.#total = this.list.total;
    this.#last = index;
    this.#draw();
  }

  /** @param {number} index to where the choice reaches from the last one */
  #reach(index) {
    const [from, to] = [Math.min(index, this.#last), Math.max(index, this.#last)];
    for (let at = from; at <= to; ++at) {
      const song = this.list.at(at);
      if (song) {
        this.#chosen.set(at, song);
      }
    }
    this.#draw();
  }

  clear() {
    if (this.size > 0) {
      this.#chosen.clear();
      this.#draw();
    }
  }

  #draw() {
    this.list.eachShown((element, index) => {
      element.classList.toggle('is-chosen', this.has(index));
    });
    if (this.size === 0) {
      const hadFocus = this.#bar.contains(document.activeElement);
      this.#bar.remove();
      if (hadFocus && this.list.isConnected) {
        this.list.focusItem(this.#last);
      }
      return;
    }
    const tool = (/** @type {import('../icons.js').IconName} */ picture,
      /** @type {string} */ label, /** @type {() => unknown} */ run) =>
      iconButton(picture, label, () => {
        run();
        this.clear();
      });
    const chosen = this.#songs();
    refill(this.#bar, h('span', { role: 'status' }, t('do.selected', { count: this.size })),
      tool('play', t('do.play'), () => player().playSongs(chosen)),
      ...choicesToQueue(async () => chosen).map((one) =>
        one && tool(one.icon ?? 'more', one.text, () => one.run?.())),
      iconButton('playlists', t('do.playlist'),
        () => choosePlaylist(this.#bar, async () => this.#songs())),
      this.onRemove &&
        tool('trash', t('do.remove'), () => this.onRemove?.([...this.#chosen.keys()])),
      tool('close', t('do.close'), () => {}));
    this.#bar.setAttribute('aria-label', t('do.selected', { count: this.size }));
    if (!this.#bar.isConnected) {
      document.body.append(this.#bar);
    }
  }
}
