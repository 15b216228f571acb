// Cards: albums, playlists and groups in grids and shelves.

import { playAll } from '../actions.js';
import { coverAddress } from '../covers.js';
import { h, hueOf, initialsOf } from '../dom.js';
import { button, icon } from '../icons.js';
import { albumSongs, groupSongs } from '../library.js';
import { albumPath, groupPath } from '../routes.js';
import { t } from '../texts.js';
import { cover } from './cover-art.js';

/** @typedef {import('../types.js').Album} Album */
/** @typedef {import('../types.js').Song} Song */

/**
 * @param {{href: string, art: Node, name: string, below?: string, play?: () => Promise<Song[]>,
 *   kind?: string}} how
 */
export function card({ href, art, name, below = '', play, kind = '' }) {
  const link = h('a', { class: 'card-link', href, 'data-focus': '' }, art,
    h('span', { class: 'card-name', dir: 'auto', title: name }, name),
    h('span', { class: 'card-below', dir: 'auto' }, below));
  const starter = play && h('button', {
    class: 'card-play', tabindex: '-1', 'aria-label': t('do.play.what', { name }),
    onclick: () => playAll(play),
  }, icon('play'));
  return h('div', { class: `card ${kind}` }, link, starter);
}

/**
 * What stands for something without a cover.
 * @param {string} name gives its colour
 * @param {Node | string} content
 * @param {string} [look] a class
 */
export function monogram(name, content, look = '') {
  const vars = { '--hue': `${hueOf(name)}` };
  return h('span', { class: `monogram ${look}`, 'aria-hidden': 'true', vars }, content);
}

/** @param {Album} album */
export function albumName(album) {
  return album.name || t('unknown.album');
}

/**
 * @param {Album} album
 * @param {boolean} [withYear]
 */
export function albumCard(album, withYear = false) {
  const name = albumName(album);
  const year = album.year ? String(album.year) : '';
  return card({
    href: albumPath(album),
    art: cover(coverAddress({ album }), name),
    name,
    below: withYear ? year : album.albumArtist || t('unknown.artist'),
    play: () => albumSongs(album),
  });
}

/**
 * @param {import('../library.js').GroupKind} kind
 * @param {string} name
 */
export function groupName(kind, name) {
  return name || t(/** @type {import('../texts.js').TextName} */ (`unknown.${kind}`));
}

/**
 * @param {import('../library.js').GroupKind} kind
 * @param {import('../types.js').Group} group
 */
export function groupCard(kind, group) {
  const name = groupName(kind, group.name);
  const letters = kind === 'genre' ? '' : initialsOf(group.name);
  return card({
    href: groupPath(kind, group.name), art: monogram(name, letters || icon(`${kind}s`)), name,
    kind: `is-${kind}`, play: () => groupSongs(kind, group.name),
  });
}

/**
 * A row of cards under a heading, which scrolls sideways; nothing without cards.
 * @param {string} title
 * @param {Node[]} cards
 * @param {...Node} beside the heading
 */
export function shelf(title, cards, ...beside) {
  return cards.length > 0 && h('section', { class: 'shelf', 'aria-label': title },
    h('div', { class: 'shelf-head' }, h('h2', {}, title), ...beside),
    h('ul', { class: 'shelf-row' }, ...cards.map((one) => h('li', {}, one))));
}

/** @param {number} count cards that are still being fetched */
export function pendingCards(count) {
  return Array.from({ length: count }, () => h('div', { class: 'card pending-card' },
    h('span', { class: 'cover-art' }), h('span', { class: 'card-name' })));
}

/**
 * What stands in place of a library without music.
 * @param {import('../icons.js').IconName} picture
 */
export function noMusic(picture) {
  return emptyNote(picture, t('home.empty'), t('home.empty.hint'),
    h('a', { class: 'button', href: '/settings' }, icon('settings'), t('nav.settings')));
}

/**
 * What stands in place of what could not be fetched.
 * @param {string} trouble
 * @param {() => unknown} again
 */
export function failureNote(trouble, again) {
  const note = emptyNote('about', trouble, '', button(t('list.again'), again, { icon: 'again' }));
  note.setAttribute('role', 'alert');
  return note;
}

/**
 * A note where a list would be empty.
 * @param {import('../icons.js').IconName} picture
 * @param {string} title
 * @param {string} [hint]
 * @param {...Node} more
 */
export function emptyNote(picture, title, hint = '', ...more) {
  return h('div', { class: 'empty' }, icon(picture), h('h2', {}, title), h('p', {}, hint), ...more);
}
