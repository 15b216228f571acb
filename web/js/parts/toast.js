// Short notes at the edge of the page, also told to screen readers.

import { h } from '../dom.js';

const STAYS = 4000;

const shelf = h('div', { class: 'toasts', role: 'status', 'aria-live': 'polite', popover: 'manual' });

/** @param {string} text */
export function toast(text) {
  // In the top layer, and there above a dialog that has opened since.
  const layer = /** @type {any} */ (shelf);
  if (shelf.isConnected) {
    layer.hidePopover();
  } else {
    document.body.append(shelf);
  }
  layer.showPopover();
  const note = h('div', { class: 'toast' }, text);
  shelf.append(note);
  setTimeout(() => note.classList.add('is-leaving'), STAYS);
  setTimeout(() => note.remove(), STAYS + 300);
}
