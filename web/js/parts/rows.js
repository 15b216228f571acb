// Rows of short lists, which are whole in the document: settings, links, stations, folders.

import { h } from '../dom.js';
import { icon } from '../icons.js';

/**
 * @param {string | Node} name
 * @param {string | Node} below what is said of it
 * @param {...import('../dom.js').Child} tools
 */
export function row(name, below, ...tools) {
  return h('li', {}, h('div', { dir: 'auto' }, h('strong', {}, name),
    below && h('small', { class: 'soft' }, below)), ...tools);
}

/**
 * A row that leads into something.
 * @param {import('../icons.js').IconName} picture
 * @param {string} href
 * @param {string} name
 */
export function wayRow(picture, href, name) {
  return h('div', { class: 'folder-row' }, h('a', { href, 'data-focus': '', dir: 'auto' },
    icon(picture), h('span', {}, name), icon('forth')));
}
