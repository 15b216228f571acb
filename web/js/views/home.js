// The start page: pins, what is new, what is loved, and something from anywhere.

import { shuffleEverything } from '../actions.js';
import { h, refill } from '../dom.js';
import { favourites } from '../favourites.js';
import { icon } from '../icons.js';
import { albums, changed, pins, randomSongs } from '../library.js';
import { albumCard, emptyNote, pendingCards, shelf } from '../parts/cards.js';
import { page, pageHead } from '../parts/page-view.js';
import { showPinsIn } from '../parts/pins.js';
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
function showPins(view, place) {
  return view.fetch(pins, (found) => showPinsIn(place, found, view.signal));
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
    refill(place, found.size > 0 &&
      shelf(t('home.random'), [...found.values()].map((album) => albumCard(album)), again));
  });
}

/**
 * The albums that come first by a key.
 * @param {PageView} view
 * @param {HTMLElement} place
 * @param {string} key
 * @param {string} title
 * @param {string} all the address of the whole list
 */
function showBest(view, place, key, title, all) {
  const source = albums({ sort_by: key, sort_direction: 'DESC' });
  return view.fetch((signal) => source.fetch(0, SHELF, signal), ({ items }) => {
    const found = items.filter(({ star = 0 }) => key !== 'star' || star > 0);
    refill(place, found.length > 0 &&
      shelf(title, found.map((album) => albumCard(album)), showAll(all)));
  });
}

export function view() {
  return page('home', '', async (view) => {
    const [pinned, recent, played, plays, loved, rated, random] =
      [0, 1, 2, 3, 4, 5, 6].map(() => h('div'));
    const shuffle = h('button', { class: 'button', onclick: shuffleEverything },
      icon('shuffle'), t('home.shuffle'));
    view.append(pageHead(greeting(), shuffle).head, pinned, recent, played, plays, loved, rated,
      random);
    refill(recent, shelf(t('home.recent'), pendingCards(8)));
    refill(random, shelf(t('home.random'), pendingCards(8)));
    showPins(view, pinned);
    view.listen(changed, 'pins', () => showPins(view, pinned));

    const newest = albums({ sort_by: 'date', sort_direction: 'DESC' });
    const showNewest = () => view.fetch((signal) => newest.fetch(0, SHELF, signal), ({ items }) => {
      if (items.length === 0) {
        refill(view, emptyNote('albums', t('home.empty'), t('home.empty.hint')));
        return;
      }
      refill(recent, shelf(t('home.recent'), items.map((album) => albumCard(album)),
        showAll('/albums?sort=date')));
    });
    view.listen(changed, 'library', showNewest);
    await showNewest(); // the others do not delay it
    showBest(view, rated, 'star', t('home.rated'), '/albums?sort=star');
    showBest(view, played, 'played', t('home.played'), '/albums?sort=played');
    showBest(view, plays, 'plays', t('home.plays'), '/albums?sort=plays');
    const showLoved = () =>
      showBest(view, loved, 'favourite', t('home.favourites'), '/favourites');
    showLoved();
    view.listen(favourites, 'kept', showLoved);
    showRandom(view, random);
  });
}
