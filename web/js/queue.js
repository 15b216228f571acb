// What plays, what comes next, and in which order. Kept in the browser over reloads.

import { shuffled } from './arrays.js';
import { choice, choose, readOfWindow, writeOfWindow } from './choices.js';

/** @typedef {import('./types.js').Song} Song */
/** @typedef {{key: number, song: Song}} Entry */

const KEY = 'tonvale.queue';
const MOST_SONGS = 5000;
const MOST_KEPT = 1000;

/** Tells `order` when songs or their order change, `current` when another one is current. */
export const queue = new EventTarget();

/** @type {Entry[]} as they were put in */
let entries = [];
/** @type {Entry[]} as they play */
let order = [];
let at = -1;
let lastKey = 0;

/** @param {Song[]} songs */
function entriesOf(songs) {
  return songs.map((song) => ({ key: ++lastKey, song }));
}

function keep() {
  const from = Math.max(0, Math.min(at - 50, order.length - MOST_KEPT));
  const part = order.slice(from, from + MOST_KEPT);
  const songs = part.map(({ song }) => song);
  const places = choice('shuffle')
    ? part.map((entry) => entries.indexOf(entry))
    : undefined;
  writeOfWindow(KEY, { songs, places, at: at - from });
}

/** @param {'order' | 'current'} name */
function tell(name) {
  keep();
  queue.dispatchEvent(new Event(name));
}

/** The songs in the order in which they play. */
export function queued() {
  return order;
}

export function position() {
  return at;
}

/** @returns {Song | undefined} */
export function current() {
  return order[at]?.song;
}

/**
 * The place after the current one; -1: the queue ends.
 * @param {{byHand?: boolean}} how by hand a song is not repeated
 */
export function nextPosition({ byHand = false } = {}) {
  if (choice('repeat') === 'one' && !byHand) {
    return at;
  }
  if (at + 1 < order.length) {
    return at + 1;
  }
  return choice('repeat') === 'off' || order.length === 0 ? -1 : 0;
}

export function previousPosition() {
  return at > 0 ? at - 1 : choice('repeat') === 'all' ? order.length - 1 : -1;
}

/** @param {number} place */
export function setPosition(place) {
  at = place;
  tell('current');
}

/**
 * Replaces the queue.
 * @param {Song[]} songs
 * @param {number} [first]
 * @param {boolean} [mixed] shuffled from the first one on
 */
export function setQueue(songs, first = 0, mixed = choice('shuffle')) {
  if (mixed !== choice('shuffle')) {
    choose('shuffle', mixed);
  }
  entries = entriesOf(songs.slice(0, MOST_SONGS));
  order = entries;
  at = Math.min(first, entries.length - 1);
  if (mixed) {
    const start = entries[at];
    order = [start, ...shuffled(entries.filter((entry) => entry !== start))];
    at = 0;
  }
  tell('order');
  tell('current');
}

/**
 * @param {Song[]} songs
 * @param {boolean} next after the current song, or else at the end
 */
export function addToQueue(songs, next) {
  const added = entriesOf(songs.slice(0, Math.max(0, MOST_SONGS - order.length)));
  const place = next ? at + 1 : order.length;
  entries = [...entries, ...added];
  order = [...order.slice(0, place), ...added, ...order.slice(place)];
  if (at < 0 && order.length > 0) {
    at = 0;
    tell('current');
  }
  tell('order');
  return added.length;
}

/** @param {number[]} places */
export function removeFromQueue(places) {
  const gone = new Set(places.map((place) => order[place]));
  const now = order[at];
  const before = order.slice(0, at).filter((entry) => !gone.has(entry)).length;
  order = order.filter((entry) => !gone.has(entry));
  entries = entries.filter((entry) => !gone.has(entry));
  at = Math.min(before, order.length - 1);
  tell('order');
  if (now && gone.has(now)) {
    tell('current');
  }
}

/**
 * @param {number[]} from places that move together
 * @param {number} before which entry, by its place now
 */
export function moveInQueue(from, before) {
  const now = order[at];
  const moved = from.map((place) => order[place]);
  const stay = (/** @type {Entry[]} */ some) => some.filter((entry) => !moved.includes(entry));
  const next = [...stay(order.slice(0, before)), ...moved, ...stay(order.slice(before))];
  order = next;
  if (!choice('shuffle')) {
    entries = next;
  }
  at = now ? order.indexOf(now) : -1;
  tell('order');
}

export function clearQueue() {
  entries = [];
  order = [];
  at = -1;
  tell('order');
  tell('current');
}

/** Shuffles what is to come, or puts the songs back in their order. */
export function toggleShuffle() {
  const now = order[at];
  choose('shuffle', !choice('shuffle'));
  order = choice('shuffle')
    ? [...order.slice(0, at + 1), ...shuffled(order.slice(at + 1))]
    : [...entries];
  at = now ? order.indexOf(now) : -1;
  tell('order');
}

function restore() {
  const kept = /** @type {any} */ (readOfWindow(KEY));
  if (!Array.isArray(kept?.songs) || kept.songs.some((/** @type {any} */ song) => !song?.id)) {
    return;
  }
  order = entriesOf(kept.songs);
  entries = order;
  if (Array.isArray(kept.places) && kept.places.length === order.length) {
    const places = new Map(order.map((entry, index) => [entry, Number(kept.places[index])]));
    entries = [...order].sort((a, b) => (places.get(a) ?? 0) - (places.get(b) ?? 0));
  }
  at = Math.min(Math.max(Number(kept.at) || 0, 0), order.length - 1);
}

restore();
