// Short notes at the edge of the page, also told to screen readers.

import { h } from '../dom.js';

const STAYS = 4000;

const shelf = h('div', { class: 'toasts', role: 'status', 'aria-live': 'polite' });

/** @param {string} text */
export function toast(text) {
  // Modal dialogs hide what is not in them.
  const open = [...document.querySelectorAll('dialog[open]')].pop() ?? document.body;
  if (shelf.parentElement !== open) {
    open.append(shelf);
  }
  const note = h('div', { class: 'toast' }, text);
  shelf.append(note);
  setTimeout(() => note.classList.add('is-leaving'), STAYS);
  setTimeout(() => note.remove(), STAYS + 300);
}
