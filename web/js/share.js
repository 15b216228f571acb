// The public page of a link, where scripts run: one player for all of its songs. Without scripts
// each song has the browser's own, from which this takes what it plays.

import { bring, follow, front, holdBack, load, onFront, RESTART } from './decks.js';
import { h, refill, setVars } from './dom.js';
import { icon, iconButton, setIcon, setLabel } from './icons.js';
import { clock, t } from './texts.js';

/**
 * @typedef {import('./types.js').SharedSong &
 *   {row: HTMLElement, button: HTMLElement, title: string, about: string}} Entry
 */

const MP3 = '&format=mp3';
const PAUSE = 3000; // milliseconds before a song is tried again
/** @type {Entry[]} */
const entries = [];
let at = -1;
let isWanted = false; // playing, as far as the person is concerned
let timer = 0;

const title = h('strong', { dir: 'auto' }, t('player.nothing'));
const about = h('small', { dir: 'auto' });
const now = h('span');
const end = h('span');
const play = iconButton('play', t('do.play'), toggle, { look: 'is-play' });
const range = h('input', { type: 'range', class: 'range', min: '0', step: '1', value: '0',
  'aria-label': t('player.seek'), oninput: () => {
    holdBack();
    front.currentTime = Number(range.value);
  } });
const previous = iconButton('previous', t('player.previous'), () =>
  start(front.currentTime > RESTART || at === 0 ? at : at - 1));
const next = iconButton('next', t('player.next'), () => start(at + 1));

function sound() {
  isWanted = true;
  front.play().catch(() => {}); // what failed is seen by onError
}

function toggle() {
  if (at < 0) {
    start(0);
  } else if (front.paused) {
    front.error ? start(at) : sound();
  } else {
    isWanted = false;
    front.pause();
    holdBack();
  }
}

/** @param {number} place */
function start(place) {
  const entry = entries[place];
  if (!entry) {
    return;
  }
  at = place;
  bring(entry);
  sound();
  refill(title, entry.title);
  refill(about, entry.about);
  if ('mediaSession' in navigator) {
    const art = document.querySelector('img')?.src;
    navigator.mediaSession.metadata = new MediaMetadata(
      { title: entry.title, artist: entry.about, artwork: art ? [{ src: art }] : [] });
  }
  draw();
  drawTime();
}

function draw() {
  const isPlaying = !front.paused;
  setIcon(play, isPlaying ? 'pause' : 'play');
  setLabel(play, t(isPlaying ? 'do.pause' : 'do.play'));
  previous.disabled = at < 0;
  next.disabled = at === entries.length - 1;
  entries.forEach(({ row, button, title: name }, place) => {
    const isSounding = place === at && isPlaying;
    row.classList.toggle('is-current', place === at);
    setIcon(button, isSounding ? 'pause' : 'play');
    setLabel(button, isSounding ? t('do.pause') : t('do.play.what', { name }));
  });
}

function drawTime() {
  const length = Number.isFinite(front.duration) ? front.duration : 0;
  const time = front.currentTime;
  range.disabled = length === 0;
  range.max = String(Math.ceil(length));
  range.value = String(time);
  range.setAttribute('aria-valuetext',
    t('player.seek.value', { time: clock(time), length: clock(length) }));
  setVars(range, { '--done': `${length > 0 ? (100 * time) / length : 0}%` });
  now.textContent = clock(time);
  end.textContent = clock(length);
}

function onTime() {
  if (!front.paused) {
    follow(front.duration - front.currentTime, entries[at + 1]);
  }
  drawTime();
}

/**
 * A browser that cannot play the file gets MP3; what is gone is passed over. If the server is away,
 * which a picture tells, the song is tried again where it was.
 */
function onError() {
  const entry = entries[at];
  const from = front.currentTime;
  const again = () => {
    if (entry === entries[at] && front.error && isWanted) {
      load(entry, from);
      sound();
    }
  };
  const later = () => {
    clearTimeout(timer);
    timer = setTimeout(again, PAUSE);
  };
  const fail = () => {
    if (entry !== entries[at]) {
      return;
    }
    if (front.error?.code === MediaError.MEDIA_ERR_NETWORK) {
      later();
    } else if (!entry.address.includes(MP3)) {
      entry.address += MP3;
      start(at);
    } else {
      entry.row.classList.add('is-missing');
      start(at + 1);
    }
  };
  h('img', { onload: fail, onerror: later,
    src: `/icon.svg?${Date.now()}` });
}

/** @param {HTMLElement} row */
function take(row) {
  const own = row.querySelector('audio');
  if (own === null) {
    return;
  }
  const place = entries.length;
  const name = row.querySelector('strong')?.textContent ?? '';
  const button = iconButton('play', t('do.play.what', { name }),
    () => (place === at ? toggle() : start(place)));
  entries.push({ row, button, title: name, about: row.querySelector('small')?.textContent ?? '',
    address: own.src, isStream: false, duration: 0 });
  own.remove();
  row.prepend(button);
}

document.querySelectorAll('ol > li').forEach((row) => take(/** @type {HTMLElement} */ (row)));
if (entries.length > 0) {
  document.body.classList.add('has-player');
  const look = { class: 'player', 'aria-label': t('player.label'), role: 'region' };
  document.body.append(h('footer', look, h('div', { class: 'names' }, title, about),
    h('div', { class: 'buttons' }, previous, play, next),
    h('div', { class: 'time' }, now, range, end)));
  onFront(['play', 'pause'], draw);
  onFront(['timeupdate', 'durationchange', 'seeked'], onTime);
  onFront(['ended'], () => start(at + 1));
  onFront(['error'], onError);
  if ('mediaSession' in navigator) {
    navigator.mediaSession.setActionHandler('nexttrack', () => start(at + 1));
    navigator.mediaSession.setActionHandler('previoustrack', () => start(at - 1));
  }
  draw();
  drawTime();
}
