// Dialogs on the browser's own <dialog>: they keep the focus and close with Escape.

import { h } from '../dom.js';
import { iconButton } from '../icons.js';
import { t, wordsFor } from '../texts.js';

/** @typedef {import('../dom.js').Child} Child */

/**
 * Opens a dialog of a title and content; it is gone when it closes.
 * @param {string} title
 * @param {...Child} content
 */
export function openDialog(title, ...content) {
  const close = iconButton('close', t('do.close'), () => dialog.close());
  const heading = h('h2', { id: `dialog-${Math.random().toString(36).slice(2)}` }, title);
  const dialog = h('dialog', { class: 'dialog', 'aria-labelledby': heading.id },
    h('header', {}, heading, close), ...content);
  dialog.addEventListener('click', (event) => {
    if (event.target === dialog) {
      dialog.close();
    }
  });
  dialog.addEventListener('close', () => dialog.remove());
  document.body.append(dialog);
  dialog.showModal();
  return dialog;
}

/**
 * A labelled field of a form.
 * @param {string} label
 * @param {HTMLElement} input
 * @param {string} [hint]
 */
export function field(label, input, hint) {
  return h('label', { class: 'field' }, h('span', { class: 'field-label' }, label), input,
    hint ? h('small', {}, hint) : null);
}

/**
 * @param {string} label
 * @param {Record<string, unknown>} props
 * @param {string} [hint]
 */
export function switchField(label, props, hint) {
  return h('label', { class: 'field is-switch' },
    h('span', { class: 'field-label' }, label, hint ? h('small', {}, hint) : null),
    h('input', { type: 'checkbox', class: 'switch', role: 'switch', ...props }));
}

/**
 * A dialog with a form. It stays open, and says why, when sending fails.
 * @param {{title: string, send: string, danger?: boolean, fields: Child[],
 *   onSend: (data: FormData) => Promise<unknown>}} how
 */
export function openForm({ title, send, danger = false, fields, onSend }) {
  const trouble = h('p', { class: 'trouble', role: 'alert' });
  const button = h('button', { class: danger ? 'button is-danger' : 'button is-main' }, send);
  const form = h('form', {
    onsubmit: async (/** @type {Event} */ event) => {
      event.preventDefault();
      button.disabled = true;
      trouble.textContent = '';
      try {
        await onSend(new FormData(form));
        dialog.close();
      } catch (error) {
        trouble.textContent = wordsFor(error);
        const wrong = form.elements.namedItem(/** @type {any} */ (error).parameter ?? '');
        /** @type {HTMLElement | null} */ (wrong)?.focus();
      }
      button.disabled = false;
    },
  }, ...fields, trouble, h('footer', {},
    h('button', { class: 'button', type: 'button', onclick: () => dialog.close() }, t('do.cancel')),
    button));
  const dialog = openDialog(title, form);
  /** @type {HTMLElement | null} */
  const first = form.querySelector('input:not([type=checkbox]), select');
  (first ?? button).focus();
  return dialog;
}

/**
 * Asks before something is lost.
 * @param {string} title
 * @param {string} hint
 * @param {() => Promise<unknown>} onSend
 */
export function confirmDelete(title, hint, onSend) {
  const send = t('do.delete').replace(/[\s…]+$/, '');
  openForm({ title, send, danger: true, fields: [h('p', {}, hint)], onSend });
}
