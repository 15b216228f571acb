// The addresses of the page: which view shows which, and the way back.

import { LONGEST_ADDRESS } from './api.js';
import { joined, t } from './texts.js';

/** @typedef {import('./types.js').Place} Place */
/** @typedef {{load: () => Promise<{view: (place: Place) => HTMLElement}>, nav: string}} Route */

/** @type {Record<string, Route>} the longest beginning of a path that fits counts */
const routes = {
  '/': { load: () => import('./views/home.js'), nav: 'home' },
  '/albums': { load: () => import('./views/albums.js'), nav: 'albums' },
  '/albums/view': { load: () => import('./views/album.js'), nav: 'albums' },
  '/artists': { load: () => import('./views/groups.js'), nav: 'artists' },
  '/artists/view': { load: () => import('./views/group.js'), nav: 'artists' },
  '/genres': { load: () => import('./views/groups.js'), nav: 'genres' },
  '/genres/view': { load: () => import('./views/group.js'), nav: 'genres' },
  '/composers': { load: () => import('./views/groups.js'), nav: 'composers' },
  '/composers/view': { load: () => import('./views/group.js'), nav: 'composers' },
  '/songs': { load: () => import('./views/songs.js'), nav: 'songs' },
  '/folders': { load: () => import('./views/folder.js'), nav: 'folders' },
  '/playlists': { load: () => import('./views/playlists.js'), nav: 'playlists' },
  '/playlists/': { load: () => import('./views/playlist.js'), nav: 'playlists' },
  '/favourites': { load: () => import('./views/favourites.js'), nav: 'favourites' },
  '/radio': { load: () => import('./views/radio.js'), nav: 'radio' },
  '/search': { load: () => import('./views/search.js'), nav: 'search' },
  '/queue': { load: () => import('./views/queue.js'), nav: 'queue' },
  '/servers': { load: () => import('./views/servers.js'), nav: 'servers' },
  '/settings': { load: () => import('./views/settings.js'), nav: 'settings' },
  '/more': { load: () => import('./views/more.js'), nav: 'more' },
};

const RETRY_PAUSE = 2000;

/** Tells `shown` (detail: the name of the place in the navigation). */
export const routed = new EventTarget();

/** @type {HTMLElement | null} */
let outlet = null;
let turn = 0;
let key = '';
/** @type {Map<string, number>} how far each entry of the history was scrolled */
const scrolled = new Map();

/**
 * @param {string} path
 * @returns {[Route, string]}
 */
function find(path) {
  const exact = routes[path];
  if (exact) {
    return [exact, ''];
  }
  const [, first, rest = ''] = /^\/([^/]*)\/?(.*)$/.exec(path) ?? [];
  const route = routes[`/${first}/`] ?? routes[`/${first}`] ?? routes['/'];
  return [route, decodeURIComponent(rest)];
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
  const [route, id] = find(pathname);
  routed.dispatchEvent(new CustomEvent('shown', { detail: route.nav }));
  const module = await route.load().catch(() => null);
  if (mine !== turn || outlet === null) {
    return;
  }
  if (module === null) {
    // The server is away: its data would be missing, too.
    setTimeout(() => mine === turn && show({ top, focus }), RETRY_PAUSE);
    return;
  }
  const { view } = module;
  const query = new URLSearchParams(search || hash.slice(1));
  const element = view({ path: pathname, id, query });
  outlet.replaceChildren(element);
  scrollBackTo(top);
  if (focus) {
    /** @type {HTMLElement | null} */
    const heading = outlet.querySelector('[data-first-focus], h1');
    heading?.focus({ preventScroll: true });
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
    show({ top: 0, focus: true });
  }
}

/** Fetches the code of all views, so that it is there when the server is away. */
export function fetchViews() {
  for (const { load } of Object.values(routes)) {
    load().catch(() => {});
  }
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
