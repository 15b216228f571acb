// The side bar of a desk and the tab bar of a phone.

import { mayChange, newPlaylist } from '../actions.js';
import { h, Part, refill } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { changed } from '../library.js';
import { playlists } from '../playlists.js';
import { playlistPath, routed } from '../routes.js';
import { t } from '../texts.js';
import { attempt } from './toast.js';

/** @typedef {import('../icons.js').IconName} IconName */

/** Groups of views; playlists have a part of their own. */
const GROUPS = /** @type {const} */ ([
  ['home', 'search', 'favourites'],
  ['albums', 'artists', 'songs', 'genres', 'composers', 'folders'],
  ['radio', 'servers'],
]);
export const VIEWS = GROUPS.flat();
export const TABS = /** @type {const} */ (['home', 'albums', 'search', 'playlists', 'more']);

/** @param {typeof VIEWS[number] | typeof TABS[number] | 'settings' | 'queue'} name */
export function navLink(name) {
  const href = name === 'home' ? '/' : `/${name}`;
  return h('a', { class: 'nav-link', href, 'data-nav': name }, icon(name),
    h('span', {}, t(`nav.${name}`)));
}

/**
 * Marks the links that lead to where somebody is.
 * @param {HTMLElement} within
 * @param {(link: HTMLAnchorElement) => boolean} isHere
 */
function markLinks(within, isHere) {
  for (const link of /** @type {NodeListOf<HTMLAnchorElement>} */ (
    within.querySelectorAll('a.nav-link'))) {
    const current = isHere(link);
    link.toggleAttribute('aria-current', current);
    current && link.setAttribute('aria-current', 'page');
  }
}

export class SideBar extends Part {
  #playlists = h('ul', { class: 'side-playlists' });
  #shown = '';
  #nav = '';

  start() {
    const head = h('div', { class: 'side-head' }, navLink('playlists'),
      iconButton('plus', t('playlists.new'), () => newPlaylist()));
    const lists = GROUPS.map((names) =>
      h('ul', {}, ...names.map((name) => h('li', {}, navLink(name)))));
    refill(this,
      h('a', { class: 'brand', href: '/', 'aria-label': t('app.name') }, icon('brand'),
        h('span', {}, t('app.name'))),
      h('div', { class: 'side-scroll' }, ...lists, head, this.#playlists), navLink('settings'));
    this.setAttribute('role', 'navigation');
    this.setAttribute('aria-label', t('nav.main'));
    this.listen(routed, 'shown', ({ detail }) => {
      this.#nav = detail;
      this.#mark();
    });
    this.listen(changed, 'playlists', () => this.learn());
  }

  #mark() {
    markLinks(this, ({ dataset, pathname }) =>
      dataset.nav ? dataset.nav === this.#nav : pathname === location.pathname);
  }

  /** Fetches the playlists. The same ones stay in place: a song may be on its way to one. */
  async learn() {
    const found = (await attempt(() => playlists(this.signal))) ?? [];
    const all = found.map((one) => ({ ...one, takes: mayChange(one) }));
    if (JSON.stringify(all) !== this.#shown) {
      this.#shown = JSON.stringify(all);
      refill(this.#playlists, all.map(({ id, name, type, takes }) => h('li', {}, h('a', {
        class: 'nav-link is-small', href: playlistPath(id), dir: 'auto', title: name,
        'data-drop': takes ? id : null, 'data-name': name,
      }, icon(type === 'smart' ? 'smart' : 'playlists'), h('span', {}, name)))));
      this.#mark();
    }
  }
}

export class TabBar extends Part {
  start() {
    refill(this, h('nav', { 'aria-label': t('nav.main') }, ...TABS.map(navLink)));
    this.listen(routed, 'shown', ({ detail }) => {
      const isTab = /** @type {readonly string[]} */ (TABS).includes(detail);
      markLinks(this, ({ dataset }) => dataset.nav === (isTab ? detail : 'more'));
    });
  }
}

customElements.define('side-bar', SideBar);
customElements.define('tab-bar', TabBar);
