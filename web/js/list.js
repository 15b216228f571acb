// Long lists and grids: only what is visible exists in the document, and pages are fetched when they
// come into sight.

import { h, Part, refill, setVars } from './dom.js';
import { icon } from './icons.js';
import { Pages } from './pages.js';
import { t } from './texts.js';

/** @template T @typedef {import('./types.js').Source<T>} Source */

const SPARE_ROWS = 5;
const SCROLL_PAUSE = 70; // milliseconds; places that are scrolled past are not fetched

/**
 * @template T
 * @typedef {object} Look
 * @property {(item: T, index: number) => HTMLElement} make
 * @property {number} [rowHeight] of a list
 * @property {{width: number, below: number, ratio?: number}} [grid] least width of a cell, the
 *   height below its picture, and the picture's height by its width
 * @property {string} label for screen readers
 * @property {() => Node} [empty] what stands in place of no items
 * @property {(total: number) => void} [counted]
 */

/** @template T */
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
  /** @type {HTMLElement | null} */
  #scroller = null;

  start() {
    this.classList.add('long-list');
    this.#scroller = this.closest('.scroller');
    this.replaceChildren(this.#sheet);
    this.listen(/** @type {EventTarget} */ (this.#scroller), 'scroll', () => this.#later());
    this.listen(this, 'keydown', (event) => this.#onKey(event));
    this.listen(this, 'focusin', (event) => this.#onFocus(event));
    const watch = new ResizeObserver(() => this.#measure());
    watch.observe(this);
    watch.observe(/** @type {Element} */ (this.#scroller));
    this.signal.addEventListener('abort', () => watch.disconnect());
    this.#measure();
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
   */
  show(source, look) {
    this.#look = look;
    this.#sheet.setAttribute('aria-label', look.label);
    this.classList.toggle('is-grid', look.grid !== undefined);
    this.#pages?.stop();
    this.#pages = new Pages(source, (total, isNew) => this.#onPage(total, isNew),
      () => this.#onFail());
    this.#forget();
    if (this.isConnected) {
      this.#measure();
      this.#pages.want(0, 1);
    }
  }

  /** Fetches everything anew, and stays where it is. */
  reload() {
    if (this.#pages && this.#look) {
      this.show(this.#pages.source, this.#look);
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
    return this.#pages?.at(index);
  }

  /** The index of the item that an element within the list belongs to; -1: none. */
  indexOf(/** @type {Node | null} */ node) {
    for (const [index, { element }] of this.#shown) {
      if (element.contains(node)) {
        return index;
      }
    }
    return -1;
  }

  #forget() {
    this.#shown.forEach(({ element }) => element.remove());
    this.#shown.clear();
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

  #later() {
    cancelAnimationFrame(this.#frame);
    this.#frame = requestAnimationFrame(() => this.#update());
  }

  /** @returns {[number, number]} the first index that is shown, and the one after the last */
  #range() {
    const view = /** @type {HTMLElement} */ (this.#scroller).getBoundingClientRect();
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
    const rows = Math.ceil(this.total / this.#columns);
    const [from, to] = this.#range();
    setVars(this, { height: `${rows * this.#rowHeight}px` });
    const offset = Math.floor(from / this.#columns) * this.#rowHeight;
    setVars(this.#sheet, { transform: `translateY(${offset}px)` });
    this.#removeOutside(from, to);
    for (let index = to - 1, after = null; index >= from; --index) {
      after = this.#place(index, after);
    }
    this.#loadSoon(from, to);
  }

  /**
   * @param {number} from
   * @param {number} to
   */
  #removeOutside(from, to) {
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
    if (shown && shown.item === item) {
      return shown.element;
    }
    const look = /** @type {Look<T>} */ (this.#look);
    const element = item === undefined ? h('div', { class: 'pending' }) : look.make(item, index);
    element.setAttribute('role', 'listitem');
    element.setAttribute('aria-posinset', `${index + 1}`);
    element.setAttribute('aria-setsize', `${this.total}`);
    const focusable = /** @type {HTMLElement | null} */ (element.querySelector('[data-focus]'));
    if (focusable) {
      focusable.tabIndex = index === this.#focused ? 0 : -1;
    }
    shown?.element.remove();
    this.#sheet.insertBefore(element, after);
    this.#shown.set(index, { element, item });
    return element;
  }

  /**
   * @param {number} from
   * @param {number} to
   */
  #loadSoon(from, to) {
    clearTimeout(this.#timer);
    const load = () => this.#pages?.want(from, to);
    const moved = Math.abs(from - this.#lastTop) > to - from;
    this.#lastTop = from;
    if (moved) {
      this.#timer = setTimeout(load, SCROLL_PAUSE);
    } else {
      load();
    }
  }

  /**
   * @param {number} total
   * @param {boolean} isNew
   */
  #onPage(total, isNew) {
    const look = /** @type {Look<T>} */ (this.#look);
    if (isNew) {
      this.#focused = Math.min(this.#focused, Math.max(0, total - 1));
      look.counted?.(total);
      refill(this, total === 0 && look.empty ? look.empty() : this.#sheet);
      setVars(this, { height: '' });
    }
    if (total > 0 || !look.empty) {
      this.#update();
    }
  }

  #onFail() {
    if ((this.#pages?.total ?? -1) >= 0) {
      return;
    }
    const again = h('button', { class: 'button', onclick: () => this.reload() },
      icon('again'), t('list.again'));
    refill(this, h('div', { class: 'empty', role: 'alert' }, h('p', {}, t('list.failed')), again));
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
   */
  #setStop(index, stop) {
    const element = this.#shown.get(index)?.element.querySelector('[data-focus]');
    if (element) {
      /** @type {HTMLElement} */ (element).tabIndex = stop;
    }
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    if (event.altKey || event.ctrlKey || event.metaKey || event.shiftKey || event.defaultPrevented) {
      return;
    }
    const target = /** @type {HTMLElement} */ (event.target);
    if (target !== this && !target.hasAttribute('data-focus')) {
      return;
    }
    const right = getComputedStyle(this).direction === 'rtl' ? -1 : 1;
    const page = Math.max(1, Math.floor(innerHeight / this.#rowHeight) - 2) * this.#columns;
    /** @type {Record<string, number>} */
    const steps = {
      ArrowDown: this.#columns, ArrowUp: -this.#columns, PageDown: page, PageUp: -page,
      Home: -this.total, End: this.total,
      ...(this.#columns > 1 ? { ArrowRight: right, ArrowLeft: -right } : {}),
    };
    const step = steps[event.key];
    const to = Math.max(0, Math.min(this.total - 1, this.#focused + (step ?? 0)));
    if (step !== undefined && !(Math.abs(step) === this.#columns && to % this.#columns !==
        this.#focused % this.#columns)) {
      event.preventDefault();
      this.focusItem(to);
    }
  }

  /** @param {number} index */
  focusItem(index) {
    const scroller = /** @type {HTMLElement} */ (this.#scroller);
    const row = Math.floor(index / this.#columns);
    const top = this.getBoundingClientRect().top - scroller.getBoundingClientRect().top +
      row * this.#rowHeight;
    const low = scroller.clientHeight - this.#rowHeight - 24;
    if (top < 70 || top > low) {
      scroller.scrollTop += top < 70 ? top - 70 : top - low;
      this.#update();
    }
    this.#setStop(this.#focused, -1);
    this.#focused = index;
    this.#setStop(index, 0);
    const element = this.#shown.get(index)?.element.querySelector('[data-focus]');
    /** @type {HTMLElement | null} */ (element ?? null)?.focus({ preventScroll: true });
  }
}

customElements.define('long-list', LongList);
