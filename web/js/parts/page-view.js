// The frame of a view: its heading, its tools, and an end of its requests when it leaves.

import { choice, choose } from '../choices.js';
import { h, Part } from '../dom.js';
import { iconButton } from '../icons.js';
import { go, setTitle, showAgain } from '../routes.js';
import { t } from '../texts.js';
import { failureNote } from './cards.js';
import { attempt } from './toast.js';

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
    await attempt(async () => {
      const found = await get(signal);
      if (!signal.aborted) {
        show(found);
      }
    }, (trouble) => signal.aborted || this.replaceChildren(failureNote(trouble, showAgain)));
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
 * The heading of a view, what is counted in it, and its tools.
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
 * A function that shows how many there are.
 * @param {HTMLElement} place
 * @param {import('../texts.js').TextName} text
 * @returns {(count: number) => void}
 */
export function counter(place, text) {
  return (count) => {
    place.textContent = t(text, { count });
  };
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

/** The keys whose lists begin with the newest, best or longest. */
const DOWN = ['year', 'date', 'star', 'plays', 'played', 'duration'];

/**
 * What a list is sorted by, as its address says, and a field to choose another key.
 * @template {'name' | 'title' | 'artist' | 'album' | 'year' | 'date' | 'duration' | 'star' |
 *   'plays' | 'played'} K
 * @param {import('../types.js').Place} place
 * @param {readonly K[]} keys the first one is usual
 * @param {'albumSort'} [kept] the choice that keeps the last one
 */
export function sorting({ path, query }, keys, kept) {
  const key = query.get('sort') ?? (kept ? choice(kept) : keys[0]);
  const isTurned = query.has('turned');
  const show = (/** @type {string} */ by, /** @type {boolean} */ turned) =>
    go(`${path}?sort=${by}${turned ? '&turned' : ''}`, { replace: true });
  const order = DOWN.includes(key) === isTurned ? 'ASC' : 'DESC';
  return {
    asked: { sort_by: key, sort_direction: order },
    pick: picker(t('sort.by'), keys.map((name) => [name, t(`sort.${name}`)]), key,
      (by) => {
        kept && choose(kept, by);
        show(by, false);
      }),
    turn: iconButton(order === 'DESC' ? 'descending' : 'ascending', t('sort.turn'),
      () => show(key, !isTurned), { 'aria-pressed': String(isTurned) }),
  };
}
