// The login: over the page, which goes on below it.

import { connection, goOn, Refusal } from '../api.js';
import { choice, choose } from '../choices.js';
import { h } from '../dom.js';
import { button, icon } from '../icons.js';
import { logIn, person } from '../person.js';
import { t, wordsFor } from '../texts.js';
import { shareWithWindows } from '../windows.js';
import { field, showDialog } from './dialog.js';

/** @type {HTMLDialogElement | null} */
let open = null;

/**
 * Opens the login when the server wants one, and calls when somebody has logged in, also in another
 * window.
 * @param {() => Promise<void>} onDone
 */
export function startLogin(onDone) {
  const finish = () => {
    const dialog = open;
    open = null;
    dialog?.close();
    goOn();
    return onDone();
  };
  const tellOthers = shareWithWindows('login', finish);
  const finishAll = () => {
    tellOthers(null);
    return finish();
  };
  connection.addEventListener('login', () => openLogin(finishAll));
  connection.addEventListener('entered', finishAll);
}

/** @param {() => Promise<void>} onDone */
function openLogin(onDone) {
  if (open) {
    return;
  }
  const isAgain = person() !== null;
  const trouble = h('p', { class: 'trouble', role: 'alert' });
  const name = h('input', {
    name: 'name', autocomplete: 'username', required: true, autocapitalize: 'none',
    spellcheck: false, value: choice('name'),
  });
  const password = h('input', {
    name: 'password', type: 'password', autocomplete: 'current-password', required: true,
  });
  const sender = button(t('login.do'), () => {}, { look: 'is-main is-wide', type: 'submit' });
  const send = async (/** @type {Event} */ event) => {
    event.preventDefault();
    sender.disabled = true;
    trouble.textContent = '';
    try {
      await logIn(name.value, password.value);
      choose('name', name.value);
      await onDone();
    } catch (error) {
      const isWrong = error instanceof Refusal && [400, 401, 403].includes(error.code);
      trouble.textContent = isWrong ? t('login.wrong') : wordsFor(error);
      password.select();
      password.focus();
    }
    sender.disabled = false;
  };
  const title = t(isAgain ? 'login.again' : 'login.title');
  const dialog = h('dialog', { class: 'login', 'aria-label': title },
    h('div', { class: 'login-brand' }, icon('brand'), h('span', {}, t('app.name'))),
    h('form', { method: 'post', onsubmit: send },
      h('h1', {}, title),
      isAgain ? h('p', { class: 'soft' }, t('login.again.hint')) : null,
      field(t('field.name'), name), field(t('login.password'), password), trouble, sender));
  dialog.addEventListener('cancel', (event) => event.preventDefault());
  dialog.addEventListener('close', () => {
    // A browser may close it in spite of `cancel`; without a login it opens again.
    if (open === dialog) {
      open = null;
      openLogin(onDone);
    }
  });
  open = dialog;
  showDialog(dialog, { stays: true });
  (name.value ? password : name).focus();
}
