// Short notes at the edge of the page, also told to screen readers.

import { isAbort } from '../api.js';
import { h } from '../dom.js';
import { wordsFor } from '../texts.js';

const STAYS = 4000;

const shelf = h('div', { class: 'toasts', role: 'status', 'aria-live': 'polite',
  popover: 'manual' });

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

/**
 * Does something and says when it fails.
 * @template T
 * @param {() => Promise<T>} run
 * @param {(trouble: string) => void} [say]
 * @returns {Promise<T | undefined>}
 */
export async function attempt(run, say = toast) {
  try {
    return await run();
  } catch (error) {
    if (!isAbort(error)) {
      say(wordsFor(error));
    }
    return undefined;
  }
}
