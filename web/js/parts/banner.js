// The head of an album, artist, genre or playlist: picture, names and what can be done.

import { choicesForSongs, playAll } from '../actions.js';
import { h, setVars } from '../dom.js';
import { button } from '../icons.js';
import { t } from '../texts.js';
import { CoverArt, tintBy } from './cover-art.js';
import { HeartButton } from './heart.js';
import { coverButton } from './large-cover.js';
import { menuButton } from './menu.js';

/** @typedef {import('../types.js').Song} Song */

/**
 * @param {object} how
 * @param {string} how.kind
 * @param {string} how.name
 * @param {HTMLElement} how.art
 * @param {import('../dom.js').Child[]} how.below
 * @param {() => Promise<Song[]>} how.songs
 * @param {() => (import('./menu.js').Choice | false)[]} how.more
 * @param {string} [how.tint] a colour, when no picture gives one
 * @param {import('../favourites.js').Thing} [how.loved] what its heart is of
 */
export function banner({ kind, name, art, below, songs, more, tint, loved }) {
  const menu = menuButton(name, (beside) => [...choicesForSongs(beside, songs), ...more()],
    { look: 'is-round' });
  const length = Array.from(name).length;
  const size = length > 60 ? ' is-endless' : length > 22 ? ' is-long' : '';
  const head = h('header', { class: 'banner' },
    h('div', { class: 'banner-art' }, art instanceof CoverArt ? coverButton(art) : art),
    h('div', { class: 'banner-text' },
      h('p', { class: 'banner-kind' }, kind),
      h('h1', { class: `banner-name${size}`, tabindex: '-1', dir: 'auto', title: name }, name),
      // Names may have another direction than the dots between them.
      h('p', { class: 'banner-below' }, ...below.map((one) => one && h('span', {}, one))),
      h('div', { class: 'banner-tools' },
        button(t('do.play'), () => playAll(songs), { icon: 'play', look: 'is-main is-large' }),
        button(t('do.shuffle'), () => playAll(songs, { shuffle: true }),
          { icon: 'shuffle', look: 'is-large' }),
        loved && new HeartButton().show(loved), menu)));
  if (art instanceof CoverArt) {
    tintBy(head, art);
  } else if (tint) {
    setVars(head, { '--tint': tint });
  }
  return head;
}
