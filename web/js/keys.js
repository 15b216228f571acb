// Keys that work everywhere but in fields.

import { h } from './dom.js';
import { player } from './playing.js';
import { openDialog } from './parts/dialog.js';
import { openNowPlaying } from './parts/now-playing.js';
import { toggleHeart } from './parts/heart.js';
import { giveStars } from './parts/star-rating.js';
import { SongRow } from './parts/song-row.js';
import { go } from './routes.js';
import { t } from './texts.js';

const SECONDS = 10;
const LOUDER = 0.05;

/** @returns {SongRow | null} the row that has the focus */
function focusedRow() {
  const row = document.activeElement?.closest('song-row');
  return row instanceof SongRow ? row : null;
}

/** @type {Record<string, () => void>} */
const keys = {
  ' ': () => player().toggle(),
  ArrowLeft: () => player().seek(player().time() - SECONDS),
  ArrowRight: () => player().seek(player().time() + SECONDS),
  'Shift+ArrowLeft': () => player().previous(),
  'Shift+ArrowRight': () => player().next(),
  'Shift+ArrowUp': () => player().setVolume(player().volume() + LOUDER),
  'Shift+ArrowDown': () => player().setVolume(player().volume() - LOUDER),
  '/': () => go('/search'),
  q: () => go('/queue'),
  n: openNowPlaying,
  m: () => focusedRow()?.openMenu(),
  f: () => toggleHeart({ song: focusedRow()?.song ?? player().current() }),
  '?': openHelp,
};
for (let rating = 0; rating <= 5; ++rating) {
  keys[`${rating}`] = () => giveStars(focusedRow()?.song ?? player().current(), rating);
}

function openHelp() {
  const arrows = ['←', '→'];
  /** @type {[string[], import('./texts.js').TextName][]} */
  const rows = [
    [[t('key.space')], 'keys.play'], [arrows, 'keys.seek'],
    [[t('key.shift'), ...arrows], 'keys.skip'], [[t('key.shift'), '↑', '↓'], 'keys.volume'],
    [['0', '…', '5'], 'keys.stars'], [['F'], 'keys.favourite'], [['/'], 'nav.search'],
    [['Q'], 'nav.queue'], [['N'], 'player.open'], [['M'], 'keys.menu'], [['X'], 'keys.select'],
    [[t('key.alt'), '↑', '↓'], 'keys.move'], [[t('key.alt'), ...arrows], 'keys.movePin'],
    [['?'], 'keys.help'],
  ];
  openDialog(t('keys.title'), h('dl', { class: 'key-list' }, ...rows.map(([names, text]) =>
    h('div', {}, h('dt', {}, ...names.map((name) => h('kbd', {}, name))), h('dd', {}, t(text))))));
}

/** @param {KeyboardEvent} event */
function onKey(event) {
  const target = /** @type {HTMLElement} */ (event.target);
  const isModal = document.querySelector('dialog[open]:not(.now)') !== null;
  const isField = target.closest('input:not([type=checkbox], [type=range]), textarea, select');
  const isOther = event.defaultPrevented || event.ctrlKey || event.metaKey || event.altKey;
  if (isOther || isModal || isField) {
    return;
  }
  const isControl = target.closest('button, a, [role=slider], [type=range], [type=checkbox]');
  const name = `${event.shiftKey && event.key.startsWith('Arrow') ? 'Shift+' : ''}${event.key}`;
  const run = keys[name.length === 1 ? name.toLowerCase() : name];
  const isTaken = isControl && (event.key === ' ' ||
    (target.matches('[role=slider], [type=range]') && event.key.startsWith('Arrow')));
  if (run && !isTaken) {
    event.preventDefault();
    run();
  }
}

export function startKeys() {
  document.addEventListener('keydown', onKey);
}
