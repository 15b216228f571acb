// The public page of a link, where scripts run: one player for all of its songs. Without scripts
// each song has the browser's own, from which this takes what it plays.

import { h, refill, setVars } from './dom.js';
import { icon, iconButton, setIcon } from './icons.js';
import { clock, t } from './texts.js';

/** @typedef {{row: HTMLElement, title: string, about: string, address: string}} Entry */

const MP3 = '&format=mp3';
const audio = new Audio();
/** @type {Entry[]} */
const entries = [];
let at = -1;

const title = h('strong', { dir: 'auto' });
const about = h('small', { dir: 'auto' });
const now = h('span');
const end = h('span');
const play = iconButton('play', t('do.play'), toggle, { look: 'is-play' });
const range = h('input', { type: 'range', class: 'range', min: '0', step: '1', value: '0',
  'aria-label': t('player.seek'), oninput: () => {
    audio.currentTime = Number(range.value);
  } });

function toggle() {
  if (at < 0) {
    start(0);
  } else if (audio.paused) {
    audio.play().catch(() => {});
  } else {
    audio.pause();
  }
}

/** @param {number} place */
function start(place) {
  const entry = entries[place];
  if (!entry) {
    return;
  }
  at = place;
  audio.src = entry.address;
  audio.play().catch(() => {});
  refill(title, entry.title);
  refill(about, entry.about);
  range.value = '0';
  if ('mediaSession' in navigator) {
    const art = document.querySelector('img')?.src;
    navigator.mediaSession.metadata = new MediaMetadata(
      { title: entry.title, artist: entry.about, artwork: art ? [{ src: art }] : [] });
  }
  draw();
}

function draw() {
  const isPlaying = !audio.paused;
  setIcon(play, isPlaying ? 'pause' : 'play');
  play.setAttribute('aria-label', t(isPlaying ? 'do.pause' : 'do.play'));
  entries.forEach(({ row }, place) => {
    row.classList.toggle('is-current', place === at);
    const button = /** @type {HTMLElement} */ (row.querySelector('button'));
    setIcon(button, place === at && isPlaying ? 'pause' : 'play');
  });
}

function drawTime() {
  const length = Number.isFinite(audio.duration) ? audio.duration : 0;
  range.max = String(Math.ceil(length));
  range.value = String(audio.currentTime);
  range.setAttribute('aria-valuetext',
    t('player.seek.value', { time: clock(audio.currentTime), length: clock(length) }));
  setVars(range, { '--done': `${length > 0 ? (100 * audio.currentTime) / length : 0}%` });
  now.textContent = clock(audio.currentTime);
  end.textContent = clock(length);
}

/** A browser that cannot play the file gets MP3; what is gone is passed over. */
function onError() {
  const entry = entries[at];
  if (entry && !entry.address.includes(MP3)) {
    entry.address += MP3;
    start(at);
  } else if (entry) {
    entry.row.classList.add('is-missing');
    start(at + 1);
  }
}

/** @param {HTMLElement} row */
function take(row) {
  const own = row.querySelector('audio');
  if (own === null) {
    return;
  }
  const place = entries.length;
  const named = row.querySelector('strong')?.textContent ?? '';
  entries.push({ row, title: named, about: row.querySelector('small')?.textContent ?? '',
    address: own.src });
  own.remove();
  row.prepend(h('button', { class: 'icon-button', type: 'button',
    'aria-label': t('do.play.what', { name: named }),
    onclick: () => (place === at ? toggle() : start(place)) }, icon('play')));
}

document.querySelectorAll('ol > li').forEach((row) => take(/** @type {HTMLElement} */ (row)));
if (entries.length > 0) {
  document.body.classList.add('has-player');
  const look = { class: 'player', 'aria-label': t('player.label'), role: 'region' };
  document.body.append(h('footer', look,
    h('div', { class: 'names' }, title, about),
    h('div', { class: 'buttons' },
      iconButton('previous', t('player.previous'), () =>
        (audio.currentTime > 3 || at === 0 ? start(at) : start(at - 1))),
      play, iconButton('next', t('player.next'), () => start(at + 1))),
    h('div', { class: 'time' }, now, range, end)));
  title.textContent = t('player.nothing');
  for (const name of ['play', 'pause']) {
    audio.addEventListener(name, draw);
  }
  for (const name of ['timeupdate', 'durationchange', 'seeked']) {
    audio.addEventListener(name, drawTime);
  }
  audio.addEventListener('ended', () => start(at + 1));
  audio.addEventListener('error', onError);
  document.body.append(audio);
  if ('mediaSession' in navigator) {
    navigator.mediaSession.setActionHandler('nexttrack', () => start(at + 1));
    navigator.mediaSession.setActionHandler('previoustrack', () => start(at - 1));
  }
  drawTime();
}
