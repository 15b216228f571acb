// The frame of a view: its heading, its tools, and an end of its requests when it leaves.

import { h, Part } from '../dom.js';
import { setTitle } from '../routes.js';
import { emptyNote } from './cards.js';
import { wordsFor } from '../texts.js';
import { isAbort } from '../api.js';

export class PageView extends Part {
  /** @type {(view: PageView) => unknown} */
  build = () => undefined;

  start() {
    this.replaceChildren();
    this.build(this);
  }

  /**
   * Fetches, and shows what went wrong in place of the view.
   * @template T
   * @param {(signal: AbortSignal) => Promise<T>} get
   * @param {(found: T) => void} show
   */
  async fetch(get, show) {
    const { signal } = this;
    try {
      const found = await get(signal);
      if (!signal.aborted) {
        show(found);
      }
    } catch (error) {
      if (!isAbort(error) && !signal.aborted) {
        this.replaceChildren(emptyNote('about', wordsFor(error)));
      }
    }
  }
}

customElements.define('page-view', PageView);

/**
 * @param {string} name a class
 * @param {string} title of the document
 * @param {(view: PageView) => unknown} build
 */
export function page(name, title, build) {
  const view = new PageView();
  view.className = `view ${name}`;
  view.build = build;
  setTitle(title);
  return view;
}

/**
 * @param {string} title
 * @param {...import('../dom.js').Child} tools
 */
export function pageHead(title, ...tools) {
  const count = h('span', { class: 'count soft' });
  const heading = h('h1', { tabindex: '-1', dir: 'auto' }, title);
  return { count, heading, head: h('header', { class: 'page-head' },
    h('div', {}, heading, count), h('div', { class: 'tools' }, ...tools)) };
}

/**
 * @param {string} label
 * @param {[string, string][]} options value and text
 * @param {string} value
 * @param {(value: string) => void} onPick
 */
export function picker(label, options, value, onPick) {
  const select = h('select', {
    'aria-label': label, class: 'select', onchange: () => onPick(select.value),
  }, ...options.map(([name, text]) =>
    h('option', { value: name, selected: name === value }, text)));
  return select;
}

