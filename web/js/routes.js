// The addresses of the page: which view shows which, and the way back.

import { LONGEST_ADDRESS } from './api.js';
import { joined, t } from './texts.js';

/** @typedef {import('./types.js').Place} Place */
/**
 * The file of the view of each path; the longest one that an address begins with counts.
 * @type {Record<string, string>}
 */
const routes = {
  '/': 'home', '/albums': 'albums', '/albums/view': 'album', '/songs': 'songs',
  '/artists': 'groups', '/artists/view': 'group', '/genres': 'groups', '/genres/view': 'group',
  '/composers': 'groups', '/composers/view': 'group', '/folders': 'folder',
  '/playlists': 'playlists', '/playlists/': 'playlist', '/favourites': 'favourites',
  '/radio': 'radio', '/servers': 'servers', '/search': 'search', '/queue': 'queue',
  '/settings': 'settings', '/more': 'more',
};

const RETRY_PAUSE = 2000;

/** Tells `left`, and `shown` (detail: the name of the place in the navigation). */
export const routed = new EventTarget();

/** @type {HTMLElement | null} */
let outlet = null;
let turn = 0;
let key = '';
/** @type {Map<string, number>} how far each entry of the history was scrolled */
const scrolled = new Map();

/** @param {string} path */
function find(path) {
  const [, first, rest = ''] = /^\/([^/]*)\/?(.*)$/.exec(path) ?? [];
  const name = routes[path] ?? routes[`/${first}/`] ?? routes[`/${first}`] ?? 'home';
  return { name, id: routes[path] ? '' : decodeURIComponent(rest),
    nav: name === 'home' ? name : first };
}

/**
 * @param {string} name of a view
 * @returns {Promise<{view: (place: Place) => HTMLElement}>}
 */
function load(name) {
  return import(`./views/${name}.js`);
}

/** @param {string} [name] */
export function setTitle(name) {
  document.title = joined([name ?? '', t('app.name')]);
}

/** @param {number} top */
function scrollBackTo(top) {
  const scroller = /** @type {HTMLElement} */ (outlet);
  scroller.scrollTop = top;
  if (top === 0 || scroller.scrollTop >= top - 1) {
    return;
  }
  // Lists are as high as before only when their first page is there.
  const done = new AbortController();
  const watch = new MutationObserver(() => {
    scroller.scrollTop = top;
    if (scroller.scrollTop >= top - 1) {
      done.abort();
    }
  });
  watch.observe(scroller, { childList: true, subtree: true, attributes: true });
  done.signal.addEventListener('abort', () => watch.disconnect());
  for (const name of ['wheel', 'touchstart', 'keydown', 'popstate']) {
    window.addEventListener(name, () => done.abort(), { signal: done.signal, passive: true });
  }
  setTimeout(() => done.abort(), 5000);
}

/** @param {{top: number, focus: boolean}} how */
async function show({ top, focus }) {
  const mine = ++turn;
  const { pathname, search, hash } = location;
  const { name, id, nav } = find(pathname);
  routed.dispatchEvent(new CustomEvent('shown', { detail: nav }));
  const module = await load(name).catch(() => null);
  if (mine !== turn || outlet === null) {
    return;
  }
  if (module === null) {
    // The server is away: its data would also be missing.
    setTimeout(() => mine === turn && show({ top, focus }), RETRY_PAUSE);
    return;
  }
  const query = new URLSearchParams(search || hash.slice(1));
  outlet.replaceChildren(module.view({ path: pathname, id, query }));
  scrollBackTo(top);
  if (focus) {
    /** @type {HTMLElement | null} */
    const heading = outlet.querySelector('[data-first-focus], h1');
    (heading ?? outlet).focus({ preventScroll: true }); // some headings come with their data
  }
}

/** A name for an entry of the history. */
function newKey() {
  return String(Date.now() + Math.random());
}

function remember() {
  scrolled.set(key, outlet?.scrollTop ?? 0);
}

/**
 * @param {string} address
 * @param {{replace?: boolean, quiet?: boolean}} how quiet: the view changes itself
 */
export function go(address, { replace = false, quiet = false } = {}) {
  remember();
  if (!replace) {
    key = newKey();
  }
  history[replace ? 'replaceState' : 'pushState']({ key }, '', address);
  if (!quiet) {
    routed.dispatchEvent(new Event('left'));
    show({ top: 0, focus: true });
  }
}

/** Fetches the code of all views, so that it is there when the server is away. */
export function fetchViews() {
  Object.values(routes).forEach((name) => load(name).catch(() => {}));
}

/** Shows the place anew, after what it depends on has changed. */
export function showAgain() {
  show({ top: outlet?.scrollTop ?? 0, focus: false });
}

/** @param {MouseEvent} event */
function onClick(event) {
  const link = /** @type {Element} */ (event.target).closest?.('a[href^="/"]');
  const plain = event.button === 0 && !event.ctrlKey && !event.metaKey && !event.shiftKey;
  if (link && plain && !event.altKey && !event.defaultPrevented && !link.hasAttribute('download')) {
    event.preventDefault();
    const address = /** @type {string} */ (link.getAttribute('href'));
    go(address, { replace: address === location.href.slice(location.origin.length) });
  }
}

/** @param {HTMLElement} into the element that scrolls */
export function startRoutes(into) {
  outlet = into;
  key = history.state?.key ?? newKey();
  history.scrollRestoration = 'manual';
  history.replaceState({ key }, '');
  window.addEventListener('popstate', (event) => {
    remember();
    key = event.state?.key ?? newKey();
    routed.dispatchEvent(new Event('left'));
    show({ top: scrolled.get(key) ?? 0, focus: true });
  });
  document.addEventListener('click', onClick);
  try {
    const kept = JSON.parse(sessionStorage.getItem('tonvale.scrolled') ?? '[]');
    for (const [name, top] of /** @type {[string, number][]} */ (kept)) {
      scrolled.set(name, top);
    }
    window.addEventListener('pagehide', () => {
      remember();
      const all = JSON.stringify([...scrolled].slice(-100));
      sessionStorage.setItem('tonvale.scrolled', all);
    });
  } catch {
    // Without storage a reload begins at the top.
  }
  show({ top: scrolled.get(key) ?? 0, focus: false });
}

/**
 * A query that is too long for a reload goes into the part of an address that is not sent.
 * @param {string} path
 * @param {Record<string, string>} query
 */
export function addressWith(path, query) {
  const text = new URLSearchParams(query).toString();
  return `${path}${text.length < LONGEST_ADDRESS ? '?' : '#'}${text}`;
}

/** @param {import('./types.js').Album} album */
export function albumPath({ name, albumArtist }) {
  return addressWith('/albums/view', { name, by: albumArtist });
}

/**
 * @param {import('./library.js').GroupKind} kind
 * @param {string} name
 */
export function groupPath(kind, name) {
  return addressWith(`/${kind}s/view`, { name });
}

/** @param {string} id */
export function playlistPath(id) {
  return `/playlists/${encodeURIComponent(id)}`;
}

/** @param {string} id */
export function folderPath(id) {
  return `/folders/${encodeURIComponent(id)}`;
}
