// The people of this server and their rights, for administrators.

import { call, change } from '../api.js';
import { h, refill } from '../dom.js';
import { button } from '../icons.js';
import { person } from '../person.js';
import { t } from '../texts.js';
import { confirmDelete, openForm, passwordField, switchField, textField } from './dialog.js';
import { menuButton } from './menu.js';
import { attempt, toast } from './toast.js';

/**
 * @typedef {{uid: number, name: string, rights: Record<string, boolean>,
 *   is_administrator: boolean}} User
 */

const RIGHTS = /** @type {const} */ (['streaming', 'playlist', 'sharing', 'usb', 'upnp']);

/** @param {() => unknown} onDone */
function addUser(onDone) {
  openForm({
    title: t('people.add'),
    send: t('do.create'),
    fields: [
      textField(t('field.name'), 'name'),
      passwordField(t('login.password'), 'password'),
      switchField(t('people.administrator'), { name: 'administrator' }),
    ],
    onSend: async (data) => {
      await change('User', 'add', { ...data, administrator: Boolean(data.administrator) });
      onDone();
    },
  });
}

/** @param {User} user */
function setPassword({ name }) {
  openForm({
    title: name, send: t('do.save'),
    fields: [passwordField(t('settings.password.new'), 'password')],
    onSend: async ({ password }) => {
      await change('User', 'change', { name, password });
      toast(t('done.saved'));
    },
  });
}

/**
 * @param {string} text
 * @param {{checked: boolean, disabled: boolean}} state
 * @param {(isOn: boolean) => Promise<void>} send
 */
function changeBox(text, state, send) {
  const box = h('input', {
    type: 'checkbox', ...state,
    onchange: () => attempt(async () => {
      try {
        await send(box.checked);
      } catch (error) {
        box.checked = !box.checked;
        throw error;
      }
    }),
  });
  return h('label', { class: 'check' }, box, h('span', {}, text));
}

/**
 * @param {User} user
 * @param {typeof RIGHTS[number]} right
 */
function rightBox(user, right) {
  const state = { checked: user.rights[right], disabled: user.is_administrator || !user.name };
  return changeBox(t(`right.${right}`), state, async (isOn) => {
    const now = { ...user.rights, [right]: isOn };
    const permissions = Object.keys(now).filter((one) => now[one]).join(',');
    await change('User', 'change', { name: user.name, permissions });
    user.rights = now;
  });
}

/** @param {User} user */
function mayGo({ name, uid }) {
  return name !== 'admin' && uid !== person()?.user.uid;
}

/**
 * @param {User} user
 * @param {() => Promise<void>} onDone
 */
function administratorBox(user, onDone) {
  const state = { checked: user.is_administrator, disabled: !user.name || !mayGo(user) };
  return changeBox(t('people.administrator'), state, async (isOn) => {
    await change('User', 'change', { name: user.name, administrator: isOn });
    await onDone();
  });
}

/**
 * Shows nothing unless an administrator asks.
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export async function show(place, signal) {
  const draw = async () => {
    /** @type {User[]} */
    let users = [];
    try {
      ({ users } = await call('User', 'list', {}, { signal }));
    } catch {
      return;
    }
    const rows = users.map((user) => {
      const name = user.name || t('people.gone', { uid: user.uid });
      const remove = async () => {
        await change('User', 'remove', { name: user.name });
        await draw();
      };
      const menu = menuButton(name, () => [
        { text: t('settings.password'), icon: 'edit', run: () => setPassword(user) },
        mayGo(user) && {
          text: t('do.delete'), icon: 'trash',
          run: () => confirmDelete(name, t('people.delete.hint'), remove),
        },
      ]);
      return h('fieldset', { class: 'rights' },
        h('legend', {}, h('span', { dir: 'auto' }, name)), menu, administratorBox(user, draw),
        ...RIGHTS.map((right) => rightBox(user, right)));
    });
    refill(place, h('section', { class: 'setting-group' }, h('h2', {}, t('people.title')), ...rows,
      button(t('people.add'), () => addUser(draw), { icon: 'plus' })));
  };
  await draw();
}
