// The side bar of a desk and the tab bar of a phone.

import { attempt, mayChange, newPlaylist } from '../actions.js';
import { h, Part, refill } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { changed, playlists } from '../library.js';
import { playlistPath, routed } from '../routes.js';
import { t } from '../texts.js';

/** @typedef {import('../icons.js').IconName} IconName */

export const VIEWS = /** @type {const} */ ([
  'home', 'search', 'albums', 'artists', 'songs', 'genres', 'composers', 'folders', 'playlists',
  'favourites', 'radio', 'servers',
]);
export const TABS = /** @type {const} */ (['home', 'albums', 'search', 'playlists', 'more']);

/** @param {typeof VIEWS[number] | typeof TABS[number] | 'settings' | 'queue'} name */
export function navLink(name) {
  const href = name === 'home' ? '/' : `/${name}`;
  return h('a', { class: 'nav-link', href, 'data-nav': name }, icon(name),
    h('span', {}, t(`nav.${name}`)));
}

/** @param {HTMLElement} within */
function markPlace(within, /** @type {string} */ name) {
  for (const link of within.querySelectorAll('[data-nav]')) {
    if (link.getAttribute('data-nav') === name) {
      link.setAttribute('aria-current', 'page');
    } else {
      link.removeAttribute('aria-current');
    }
  }
}

export class SideBar extends Part {
  #playlists = h('ul', { class: 'side-playlists' });

  start() {
    const head = h('div', { class: 'side-head' }, h('h2', {}, t('nav.playlists')),
      iconButton('plus', t('playlists.new'), () => newPlaylist()));
    const list = h('ul', {}, ...VIEWS.map((name) => h('li', {}, navLink(name))));
    refill(this,
      h('a', { class: 'brand', href: '/', 'aria-label': t('app.name') }, icon('brand'),
        h('span', {}, t('app.name'))),
      h('div', { class: 'side-scroll' }, list, head, this.#playlists), navLink('settings'));
    this.setAttribute('role', 'navigation');
    this.setAttribute('aria-label', t('nav.main'));
    this.listen(routed, 'shown', ({ detail }) => this.#mark(detail));
    this.listen(changed, 'playlists', () => this.learn());
  }

  /** @param {string} name */
  #mark(name) {
    markPlace(this, name);
    for (const link of this.#playlists.querySelectorAll('a')) {
      const isHere = link.pathname === location.pathname;
      link.toggleAttribute('aria-current', isHere);
    }
  }

  /** Fetches the playlists. */
  async learn() {
    const all = await attempt(() => playlists(this.signal));
    refill(this.#playlists, (all ?? []).map((one) => h('li', {}, h('a', {
      class: 'nav-link is-small', href: playlistPath(one.id), dir: 'auto', title: one.name,
      'data-drop': mayChange(one) ? one.id : null, 'data-name': one.name,
    }, icon(one.type === 'smart' ? 'smart' : 'playlists'), h('span', {}, one.name)))));
  }
}

export class TabBar extends Part {
  start() {
    refill(this, h('nav', { 'aria-label': t('nav.main') }, ...TABS.map(navLink)));
    this.listen(routed, 'shown', ({ detail }) => {
      const isTab = /** @type {readonly string[]} */ (TABS).includes(detail);
      markPlace(this, isTab ? detail : 'more');
    });
  }
}

customElements.define('side-bar', SideBar);
customElements.define('tab-bar', TabBar);

