// The people of this server and their rights, for administrators.

import { attempt } from '../actions.js';
import { call, change } from '../api.js';
import { h, refill } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { person } from '../person.js';
import { t } from '../texts.js';
import { confirmDelete, field, openForm, switchField } from './dialog.js';
import { openMenu } from './menu.js';
import { toast } from './toast.js';

/**
 * @typedef {{uid: number, name: string, rights: Record<string, boolean>,
 *   is_administrator: boolean}} User
 */

const RIGHTS = /** @type {const} */ (['streaming', 'playlist', 'sharing', 'usb', 'upnp']);

function passwordInput() {
  return h('input', { name: 'password', type: 'password', required: true,
    autocomplete: 'new-password' });
}

/** @param {() => unknown} onDone */
function addUser(onDone) {
  openForm({
    title: t('people.add'),
    send: t('do.create'),
    fields: [
      field(t('field.name'), h('input', { name: 'name', required: true, autocomplete: 'off' })),
      field(t('login.password'), passwordInput()),
      switchField(t('people.administrator'), { name: 'administrator' }),
    ],
    onSend: async (data) => {
      await change('User', 'add', {
        name: String(data.get('name')), password: String(data.get('password')),
        administrator: data.has('administrator'),
      });
      onDone();
    },
  });
}

/** @param {User} user */
function setPassword({ name }) {
  openForm({
    title: name, send: t('do.save'), fields: [field(t('settings.password.new'), passwordInput())],
    onSend: async (data) => {
      await change('User', 'change', { name, password: String(data.get('password')) });
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
 * Shows nothing to others than administrators.
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export async function showPeople(place, signal) {
  const show = async () => {
    /** @type {User[]} */
    let users = [];
    try {
      ({ users } = await call('User', 'list', {}, { signal }));
    } catch {
      return;
    }
    const rows = users.map((user) => {
      const name = user.name || t('people.gone', { uid: user.uid });
      const menu = iconButton('more', t('do.more', { name }), () => openMenu(menu, name, [
        { text: t('settings.password'), icon: 'edit', run: () => setPassword(user) },
        mayGo(user) && {
          text: t('do.delete'), icon: 'trash',
          run: () => confirmDelete(t('playlist.delete', { name }), t('people.delete.hint'),
            async () => {
              await change('User', 'remove', { name: user.name });
              await show();
            }),
        },
      ]), { 'aria-haspopup': 'menu' });
      return h('fieldset', { class: 'rights' }, h('legend', {},
        h('span', { dir: 'auto' }, name)),
      menu, administratorBox(user, show), ...RIGHTS.map((right) => rightBox(user, right)));
    });
    refill(place, h('section', { class: 'setting-group' }, h('h2', {}, t('people.title')), ...rows,
      h('button', { class: 'button', onclick: () => addUser(show) }, icon('plus'), t('people.add'))));
  };
  await show();
}
