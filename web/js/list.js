// Long lists and grids: the document has only what is visible, and only its pages are fetched.

import { h, Part, refill, setVars } from './dom.js';
import { changed } from './library.js';
import { placeFor } from './list-keys.js';
import { Pages } from './pages.js';
import { failureNote } from './parts/cards.js';
import { wordsFor } from './texts.js';

/** @template T @typedef {import('./types.js').Source<T>} Source */
/** @template T @typedef {import('./types.js').Look<T>} Look */

/** @typedef {[number, number]} Range the first index, and the one after the last */

const SPARE_ROWS = 5;
const FIRST_ROWS = 4; // that are drawn empty until the first page is there
const SCROLL_PAUSE = 70; // milliseconds; places that are scrolled past are not fetched

const isSame = (/** @type {unknown} */ a, /** @type {unknown} */ b) =>
  a === b || JSON.stringify(a) === JSON.stringify(b);

/**
 * Tells `connected`, and `fetched` when all pages in sight are there or cannot be had.
 * @template T
 */
export class LongList extends Part {
  /** @type {Pages<T> | null} */
  #pages = null;
  /** @type {Look<T> | null} */
  #look = null;
  /** @type {Map<number, {element: HTMLElement, item: T | undefined}>} */
  #shown = new Map();
  #sheet = h('div', { class: 'long-list-sheet', role: 'list' });
  #columns = 1;
  #rowHeight = 56;
  #frame = 0;
  #timer = 0;
  #lastTop = 0;
  #focused = 0;
  /** @type {HTMLElement} */
  #scroller = this;

  start() {
    this.classList.add('long-list');
    this.#scroller = this.closest('.scroller') ?? this;
    this.replaceChildren(this.#sheet);
    this.listen(this.#scroller, 'scroll', () => {
      cancelAnimationFrame(this.#frame);
      this.#frame = requestAnimationFrame(() => this.#update());
    });
    this.listen(changed, 'library', () => this.reload());
    this.listen(this, 'keydown', (event) => this.#onKey(event));
    this.listen(this, 'focusin', (event) => this.#onFocus(event));
    const watch = new ResizeObserver(() => this.#measure());
    watch.observe(this);
    watch.observe(this.#scroller);
    this.signal.addEventListener('abort', () => watch.disconnect());
    this.#measure();
    if (this.#pages && this.#pages.total < 0) {
      this.#sheet.replaceChildren(...Array.from({ length: FIRST_ROWS * this.#columns },
        () => h('div', { class: 'pending is-first', role: 'listitem' })));
    }
    this.dispatchEvent(new Event('connected'));
    this.#pages?.want(0, 1);
  }

  end() {
    cancelAnimationFrame(this.#frame);
    clearTimeout(this.#timer);
    this.#pages?.stop();
  }

  /**
   * @param {Source<T>} source
   * @param {Look<T>} look
   * @param {Range} [range] what is fetched first
   * @param {number} [total] as far as it is known
   */
  show(source, look, range = [0, 1], total = -1) {
    this.#look = look;
    this.#sheet.setAttribute('aria-label', look.label);
    this.classList.toggle('is-grid', look.grid !== undefined);
    this.#pages?.stop();
    this.#pages = new Pages(source, (total, isNew) => this.#onPage(total, isNew),
      (error) => this.#onFail(error), total);
    if (this.isConnected) {
      this.#measure();
      this.#pages.want(...range);
    }
  }

  /** Fetches everything anew, stays where it is, and shows what was there until then. */
  reload() {
    if (this.#pages && this.#look) {
      this.show(this.#pages.source, this.#look, this.#range(), this.#pages.total);
    }
  }

  get total() {
    return Math.max(0, this.#pages?.total ?? 0);
  }

  /**
   * @param {number} index
   * @returns {T | undefined}
   */
  at(index) {
    return this.#pages?.at(index) ?? this.#shown.get(index)?.item;
  }

  /**
   * @param {Node | null} node
   * @returns {number} the index of the item that it belongs to; -1: none
   */
  indexOf(node) {
    for (const [index, { element }] of this.#shown) {
      if (element.contains(node)) {
        return index;
      }
    }
    return -1;
  }

  /** @param {(element: HTMLElement, index: number) => void} call */
  eachShown(call) {
    this.#shown.forEach(({ element }, index) => call(element, index));
  }

  #measure() {
    if (!this.#look) {
      return;
    }
    const { grid, rowHeight = 56 } = this.#look;
    const width = this.clientWidth;
    if (grid && width > 0) {
      const gap = parseFloat(getComputedStyle(this.#sheet).columnGap) || 0;
      this.#columns = Math.max(2, Math.floor((width + gap) / (grid.width + gap)));
      const cell = (width - gap * (this.#columns - 1)) / this.#columns;
      this.#rowHeight = Math.floor(cell * (grid.ratio ?? 1)) + grid.below;
    } else {
      this.#columns = 1;
      this.#rowHeight = rowHeight;
    }
    setVars(this, { '--columns': `${this.#columns}`, '--row': `${this.#rowHeight}px` });
    this.#update();
  }

  /** @returns {Range} what is shown */
  #range() {
    const view = this.#scroller.getBoundingClientRect();
    const above = view.top - this.getBoundingClientRect().top;
    const first = Math.max(0, Math.floor(above / this.#rowHeight) - SPARE_ROWS);
    const rows = Math.ceil(view.height / this.#rowHeight) + 2 * SPARE_ROWS;
    const from = Math.min(first * this.#columns, this.total);
    return [from, Math.min(from + rows * this.#columns, this.total)];
  }

  #update() {
    if (!this.#look || !this.isConnected || (this.#pages?.total ?? -1) < 0) {
      return;
    }
    const [from, to] = this.#range();
    setVars(this, { height: `${Math.ceil(this.total / this.#columns) * this.#rowHeight}px` });
    const offset = Math.floor(from / this.#columns) * this.#rowHeight;
    setVars(this.#sheet, { transform: `translateY(${offset}px)` });
    this.#removeOutside([from, to]);
    for (let index = to - 1, after = null; index >= from; --index) {
      after = this.#place(index, after);
    }
    this.#loadSoon([from, to]);
  }

  /** @param {Range} range */
  #removeOutside([from, to]) {
    for (const [index, { element }] of this.#shown) {
      if (index < from || index >= to) {
        if (element.contains(document.activeElement)) {
          this.tabIndex = -1;
          this.focus({ preventScroll: true });
        }
        element.remove();
        this.#shown.delete(index);
      }
    }
  }

  /**
   * @param {number} index
   * @param {HTMLElement | null} after
   * @returns {HTMLElement} the element of this index, in its place
   */
  #place(index, after) {
    const item = this.at(index);
    const shown = this.#shown.get(index);
    if (shown && (item === undefined || isSame(shown.item, item))) {
      return shown.element;
    }
    const look = /** @type {Look<T>} */ (this.#look);
    const element = item === undefined ? h('div', { class: 'pending' }) : look.make(item, index);
    element.setAttribute('role', 'listitem');
    element.setAttribute('aria-posinset', `${index + 1}`);
    element.setAttribute('aria-setsize', `${this.total}`);
    const active = document.activeElement;
    const hadFocus = active === this ? index === this.#focused : shown?.element.contains(active);
    shown?.element.remove();
    this.#sheet.insertBefore(element, after);
    this.#shown.set(index, { element, item });
    this.#setStop(index, index === this.#focused ? 0 : -1, hadFocus);
    return element;
  }

  /** @param {Range} range */
  #loadSoon([from, to]) {
    clearTimeout(this.#timer);
    const load = () => this.#pages?.want(from, to);
    if (Math.abs(from - this.#lastTop) > to - from) {
      this.#timer = setTimeout(load, SCROLL_PAUSE);
    } else {
      load();
    }
    this.#lastTop = from;
  }

  /**
   * @param {number} total
   * @param {boolean} isNew
   */
  #onPage(total, isNew) {
    const look = /** @type {Look<T>} */ (this.#look);
    if (isNew) {
      this.#sheet.querySelectorAll('.is-first').forEach((one) => one.remove());
      this.#focused = Math.min(this.#focused, Math.max(0, total - 1));
      look.counted?.(total);
      if (total === 0 && look.empty) {
        refill(this, look.empty());
        setVars(this, { height: '' });
        this.#sheet.replaceChildren();
        this.#shown.clear();
      } else if (!this.#sheet.isConnected) {
        refill(this, this.#sheet);
      }
    }
    if (total > 0 || !look.empty) {
      this.#update();
    }
    this.#tellFetched();
  }

  #tellFetched() {
    if (!this.#pages?.isFetching) {
      this.dispatchEvent(new Event('fetched'));
    }
  }

  /** @param {unknown} error */
  #onFail(error) {
    this.#tellFetched();
    if ((this.#pages?.total ?? -1) >= 0) {
      return;
    }
    refill(this, failureNote(wordsFor(error), () => this.reload()));
  }

  /** @param {FocusEvent} event */
  #onFocus(event) {
    const index = this.indexOf(/** @type {Node} */ (event.target));
    if (index >= 0 && index !== this.#focused) {
      this.#setStop(this.#focused, -1);
      this.#focused = index;
      this.#setStop(index, 0);
    }
  }

  /**
   * @param {number} index
   * @param {number} stop
   * @param {boolean} [focus]
   */
  #setStop(index, stop, focus = false) {
    const element = this.#shown.get(index)?.element.querySelector('[data-focus]');
    if (element instanceof HTMLElement) {
      element.tabIndex = stop;
      focus && element.focus({ preventScroll: true });
    }
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    const place = placeFor(event, this, { at: this.#focused, total: this.total,
      columns: this.#columns, rowHeight: this.#rowHeight });
    if (place >= 0) {
      event.preventDefault();
      this.focusItem(place);
    }
  }

  /** @param {number} index */
  focusItem(index) {
    const row = Math.floor(index / this.#columns);
    const top = this.getBoundingClientRect().top - this.#scroller.getBoundingClientRect().top +
      row * this.#rowHeight;
    const low = this.#scroller.clientHeight - this.#rowHeight - 24;
    if (top < 70 || top > low) {
      this.#scroller.scrollTop += top < 70 ? top - 70 : top - low;
      this.#update();
    }
    this.#setStop(this.#focused, -1);
    this.#focused = index;
    this.#setStop(index, 0, true);
  }
}

customElements.define('long-list', LongList);
