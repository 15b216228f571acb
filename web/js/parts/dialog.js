// Dialogs on the browser's own <dialog>: they keep the focus and close with Escape.

import { h } from '../dom.js';
import { button, iconButton } from '../icons.js';
import { routed } from '../routes.js';
import { t, withoutDots, wordsFor } from '../texts.js';
import { toast } from './toast.js';

/** @typedef {import('../dom.js').Child} Child */

/**
 * Shows a dialog, which is gone when it closes. It closes when another view is shown below it.
 * @param {HTMLDialogElement} dialog
 * @param {{stays?: boolean}} how `stays`: above other views
 */
export function showDialog(dialog, { stays = false } = {}) {
  const gone = new AbortController();
  if (!stays) {
    routed.addEventListener('left', () => dialog.close(), { signal: gone.signal });
  }
  dialog.addEventListener('close', () => {
    gone.abort();
    dialog.remove();
  });
  document.body.append(dialog);
  dialog.showModal();
}

/**
 * Opens a dialog of a title and content.
 * @param {string} title
 * @param {...Child} content
 */
export function openDialog(title, ...content) {
  const close = iconButton('close', t('do.close'), () => dialog.close());
  const heading = h('h2', { id: `dialog-${Math.random().toString(36).slice(2)}` }, title);
  const dialog = h('dialog', { class: 'dialog', 'aria-labelledby': heading.id },
    h('header', {}, heading, close), ...content);
  dialog.addEventListener('click', ({ target }) => target === dialog && dialog.close());
  showDialog(dialog);
  return dialog;
}

/**
 * A labelled field of a form.
 * @param {string} label
 * @param {HTMLElement} input
 * @param {Child} [hint]
 * @param {string} [look] a class
 */
export function field(label, input, hint, look = '') {
  return h('label', { class: `field ${look}` },
    h('span', { class: 'field-label' }, label, hint && h('small', {}, hint)), input);
}

/**
 * A field of one line, which must be filled in if the properties say nothing else.
 * @param {string} label
 * @param {string} name
 * @param {Record<string, unknown>} [props]
 */
export function textField(label, name, props = {}) {
  return field(label, h('input', { name, required: true, autocomplete: 'off', ...props }));
}

/**
 * @param {string} label
 * @param {string} name
 * @param {string} autocomplete
 */
export function passwordField(label, name, autocomplete = 'new-password') {
  return textField(label, name, { type: 'password', autocomplete });
}

/**
 * @param {string} label
 * @param {Record<string, unknown>} props
 * @param {string} [hint]
 */
export function switchField(label, props, hint) {
  return field(label, h('input', { type: 'checkbox', class: 'switch', role: 'switch', ...props }),
    hint, 'is-switch');
}

/**
 * A dialog with a form. It stays open, and says why, when sending fails.
 * @param {{title: string, send: string, look?: string, fields: Child[],
 *   onSend: (data: Record<string, string>) => Promise<unknown>}} how `look`: of the button
 */
export function openForm({ title, send, look = 'is-main', fields, onSend }) {
  const trouble = h('p', { class: 'trouble', role: 'alert' });
  const sender = button(send, () => {}, { look, type: 'submit' });
  const form = h('form', {
    onsubmit: async (/** @type {Event} */ event) => {
      event.preventDefault();
      sender.disabled = true;
      trouble.textContent = '';
      try {
        await onSend(/** @type {Record<string, string>} */ (
          Object.fromEntries(new FormData(form))));
        dialog.close();
      } catch (error) {
        if (!dialog.open) {
          toast(wordsFor(error)); // it was closed while it was sending
        }
        trouble.textContent = wordsFor(error);
        const wrong = form.elements.namedItem(/** @type {any} */ (error).parameter ?? '');
        /** @type {HTMLElement | null} */ (wrong)?.focus();
      }
      sender.disabled = false;
    },
  }, ...fields, trouble, h('footer', {}, button(t('do.cancel'), () => dialog.close()), sender));
  const dialog = openDialog(title, form);
  /** @type {HTMLElement | null} */
  const first = form.querySelector('input:not([type=checkbox]), select');
  (first ?? sender).focus();
  return dialog;
}

/**
 * Asks before something is lost.
 * @param {string} name of what goes
 * @param {string} hint
 * @param {() => Promise<unknown>} onSend
 */
export function confirmDelete(name, hint, onSend) {
  openForm({ title: t('playlist.delete', { name }), send: withoutDots('do.delete'),
    look: 'is-danger', fields: [h('p', {}, hint)], onSend });
}
