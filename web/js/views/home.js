// The start page: pins, what is new, what is loved, and something from anywhere.

import { shuffleEverything } from '../actions.js';
import { h, refill } from '../dom.js';
import { favourites } from '../favourites.js';
import { button, icon } from '../icons.js';
import { albums, changed, pins, randomSongs } from '../library.js';
import { albumCard, noMusic, pendingCards, shelf } from '../parts/cards.js';
import { page, pageHead } from '../parts/page-view.js';
import { showPinsIn } from '../parts/pins.js';
import { showAgain } from '../routes.js';
import { t } from '../texts.js';

/** @typedef {import('../types.js').Album} Album */
/** @typedef {import('../parts/page-view.js').PageView} PageView */

const SHELF = 18;

function greeting() {
  const hour = new Date().getHours();
  const part = hour < 5 ? 'night' : hour < 12 ? 'morning' : hour < 18 ? 'day' : 'evening';
  return t(`home.${part}`);
}

/** @param {string} href */
function showAll(href) {
  return h('a', { class: 'quiet-link', href }, t('home.more'), icon('forth'));
}

/**
 * @param {PageView} view
 * @param {HTMLElement} place
 */
function showRandom(view, place) {
  const again = h('button', { class: 'quiet-link', onclick: () => showRandom(view, place) },
    t('home.again'), icon('again'));
  return view.fetch((signal) => randomSongs(80, signal), (songs) => {
    /** @type {Map<string, Album>} */
    const found = new Map();
    for (const { album, albumArtist } of songs) {
      if (album && found.size < SHELF) {
        found.set(`${album}\n${albumArtist}`, { name: album, albumArtist });
      }
    }
    refill(place,
      shelf(t('home.random'), [...found.values()].map((album) => albumCard(album)), again));
  });
}

/** Shelves of the albums that come first by a key: its title, and where all of them are. */
const SHELVES = /** @type {const} */ ({
  date: ['home.recent', '/albums?sort=date'],
  played: ['home.played', '/albums?sort=played'],
  plays: ['home.plays', '/albums?sort=plays'],
  favourite: ['home.favourites', '/favourites'],
  star: ['home.rated', '/albums?sort=star'],
});

/**
 * @param {PageView} view
 * @param {HTMLElement} place
 * @param {keyof typeof SHELVES} key
 * @param {() => void} [onEmpty]
 */
function showBest(view, place, key, onEmpty) {
  const [title, all] = SHELVES[key];
  const source = albums({ sort_by: key, sort_direction: 'DESC' });
  return view.fetch((signal) => source.fetch(0, SHELF, signal), ({ items }) => {
    const found = items.filter(({ star = 0 }) => key !== 'star' || star > 0);
    refill(place, shelf(t(title), found.map((album) => albumCard(album)), showAll(all)));
    found.length === 0 && onEmpty?.();
  });
}

export function view() {
  return page('home', '', async (view) => {
    const [pinned, recent, played, plays, loved, rated, random] =
      [0, 1, 2, 3, 4, 5, 6].map(() => h('div'));
    const shuffle = button(t('home.shuffle'), shuffleEverything, { icon: 'shuffle' });
    view.append(pageHead(greeting(), shuffle).head, pinned, recent, played, plays, loved, rated,
      random);
    refill(recent, shelf(t('home.recent'), pendingCards(8)));
    refill(random, shelf(t('home.random'), pendingCards(8)));
    const showPins = () =>
      view.fetch(pins, (found) => showPinsIn(pinned, found, view.signal));
    showPins();
    view.listen(changed, 'pins', showPins);

    const showNewest = () =>
      showBest(view, recent, 'date', () => refill(view, noMusic('albums')));
    // The first music needs the shelves that were taken out.
    view.listen(changed, 'library', () => (recent.isConnected ? showNewest() : showAgain()));
    await showNewest(); // the others do not delay it
    const showLoved = () => showBest(view, loved, 'favourite');
    showLoved();
    view.listen(favourites, 'kept', showLoved);
    showBest(view, rated, 'star');
    showBest(view, played, 'played');
    showBest(view, plays, 'plays');
    showRandom(view, random);
  });
}
