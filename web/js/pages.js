// The pages of a source: fetched when they are asked for, and forgotten when they are far away.

import { isAbort } from './api.js';

/** @template T @typedef {import('./types.js').Source<T>} Source */

const MOST_PAGES = 30;

/** @template T */
export class Pages {
  /** @type {Map<number, T[]>} */
  #pages = new Map();
  /** @type {Map<number, AbortController>} */
  #fetches = new Map();
  #total = -1;

  /**
   * @param {Source<T>} source
   * @param {(total: number, isNew: boolean) => void} onPage isNew: the total was another one
   * @param {(error: unknown) => void} onFail
   * @param {number} total as far as it is known
   */
  constructor(source, onPage, onFail, total) {
    this.source = source;
    this.onPage = onPage;
    this.onFail = onFail;
    this.#total = total;
  }

  /** -1: not known yet. */
  get total() {
    return this.#total;
  }

  get isFetching() {
    return this.#fetches.size > 0;
  }

  /**
   * @param {number} index
   * @returns {T | undefined}
   */
  at(index) {
    const size = this.source.pageSize;
    return this.#pages.get(Math.floor(index / size))?.[index % size];
  }

  /**
   * Fetches the pages of a range, and ends fetches of what is far from it.
   * @param {number} from
   * @param {number} to
   */
  want(from, to) {
    const size = this.source.pageSize;
    const [first, last] = [Math.floor(from / size), Math.floor(Math.max(from, to - 1) / size)];
    for (const [page, fetching] of this.#fetches) {
      if (page < first - 1 || page > last + 1) {
        fetching.abort();
        this.#fetches.delete(page);
      }
    }
    const isThere = (/** @type {number} */ page) =>
      page === 0 || this.#total < 0 || page * size < this.#total;
    for (let page = first; page <= last && isThere(page); ++page) {
      if (!this.#pages.has(page) && !this.#fetches.has(page)) {
        this.#fetch(page);
      }
    }
  }

  stop() {
    this.#fetches.forEach((fetching) => fetching.abort());
    this.#fetches.clear();
  }

  /** @param {number} page */
  async #fetch(page) {
    const fetching = new AbortController();
    this.#fetches.set(page, fetching);
    try {
      const size = this.source.pageSize;
      const { total, items } = await this.source.fetch(page * size, size, fetching.signal);
      fetching.signal.throwIfAborted();
      this.#fetches.delete(page);
      this.#pages.set(page, items);
      this.#dropFar(page);
      const isNew = total !== this.#total;
      this.#total = total;
      this.onPage(total, isNew);
    } catch (error) {
      if (!isAbort(error)) { // a fetch that was ended is forgotten already
        this.#fetches.delete(page);
        this.onFail(error);
      }
    }
  }

  /** @param {number} page */
  #dropFar(page) {
    while (this.#pages.size > MOST_PAGES) {
      const far = [...this.#pages.keys()].reduce((a, b) =>
        Math.abs(a - page) > Math.abs(b - page) ? a : b);
      this.#pages.delete(far);
    }
  }
}

/**
 * A source of what is at hand.
 * @template T
 * @param {T[]} items
 * @returns {Source<T>}
 */
export function sourceOfItems(items) {
  const all = { total: items.length, items };
  return { pageSize: Math.max(1, items.length), fetch: async () => all };
}
