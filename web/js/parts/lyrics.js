// The words of the song that plays. Lines with times follow the song, and a click on one seeks it.

import { call } from '../api.js';
import { h, Part, refill } from '../dom.js';
import { isOfLibrary } from '../ids.js';
import { player, playing } from '../playing.js';
import { t } from '../texts.js';
import { attempt } from './toast.js';

/** @typedef {{text: string, start?: number}} Line `start` in milliseconds */

const REST = 4000; // milliseconds that lines stay where somebody scrolled them

export class LyricsView extends Part {
  /** @type {Line[]} */
  #lines = [];
  /** @type {HTMLElement[]} */
  #rows = [];
  #id = '';
  #now = -1;
  #scrolledAt = -REST;

  start() {
    this.tabIndex = 0;
    this.setAttribute('role', 'region');
    this.setAttribute('aria-label', t('lyrics.title'));
    this.#id = '';
    this.listen(playing, 'song', () => this.#learn());
    this.listen(playing, 'time', () => this.#follow());
    for (const name of ['wheel', 'touchmove', 'keydown']) {
      this.listen(this, name, () => {
        this.#scrolledAt = performance.now();
      });
    }
    this.#learn();
  }

  async #learn() {
    const song = player().current();
    const id = song?.id ?? '';
    if (id === this.#id) {
      return;
    }
    this.#id = id;
    this.#show([], '');
    let problem = t('lyrics.none');
    /** @type {Line[]} */
    let lines = [];
    if (isOfLibrary(song)) {
      await attempt(async () => {
        const { lyrics } = await call('Song', 'lyrics', { id }, { signal: this.signal });
        lines = lyrics[0]?.lines ?? []; // those with times come first
      }, (trouble) => {
        problem = trouble;
      });
    }
    if (id === this.#id) {
      this.#show(lines, lines.length > 0 ? '' : problem);
    }
  }

  /**
   * @param {Line[]} lines
   * @param {string} problem
   */
  #show(lines, problem) {
    this.#lines = lines;
    this.#now = -1;
    this.#rows = lines.map(({ text, start }) => (start === undefined
      ? h('p', { dir: 'auto' }, text || '\u00a0')
      : h('button', { dir: 'auto', onclick: () => player().seek(start / 1000) }, text || '♪')));
    refill(this, ...this.#rows, problem && h('p', { class: 'soft' }, problem));
    this.classList.toggle('is-timed', lines[0]?.start !== undefined);
    this.scrollTop = 0;
    this.#follow();
  }

  #follow() {
    const time = player().time() * 1000;
    const after = this.#lines.findIndex(({ start = Infinity }) => start > time);
    const now = (after < 0 ? this.#lines.length : after) - 1;
    if (now === this.#now) {
      return;
    }
    this.#rows[this.#now]?.removeAttribute('aria-current');
    this.#now = now;
    const row = this.#rows[now];
    row?.setAttribute('aria-current', 'true');
    if (row && performance.now() - this.#scrolledAt > REST) {
      this.scrollTop = row.offsetTop - this.clientHeight / 3;
    }
  }
}

customElements.define('lyrics-view', LyricsView);
