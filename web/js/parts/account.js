// The password, sessions and keys of the account.

import { copyText } from '../actions.js';
import { call, change, connection } from '../api.js';
import { h, refill } from '../dom.js';
import { button } from '../icons.js';
import { logIn, person } from '../person.js';
import { dayAndTime, joined, t, withoutDots } from '../texts.js';
import { openDialog, openForm, passwordField, textField } from './dialog.js';
import { row } from './rows.js';
import { attempt, toast } from './toast.js';

const BROWSERS = [/Edg\w*\/\d+/, /OPR\/\d+/, /Firefox\/\d+/, /Chrome\/\d+/,
  /Version\/\d+.* Safari/];

/**
 * The browser and its system, though a browser names several. Other programs name themselves.
 * @param {string} agent
 */
function browserOf(agent) {
  const browser = BROWSERS.map((one) => one.exec(agent)?.[0]).find(Boolean);
  const system = /Windows|Android|iPhone|iPad|Mac OS|Linux/.exec(agent)?.[0] ?? '';
  return browser
    ? joined([browser.replace('/', ' ').replace(/.* Safari/, 'Safari'), system]) : agent;
}

/** @param {() => unknown} onDone */
function changePassword(onDone) {
  openForm({
    title: withoutDots('settings.password'),
    send: t('do.save'),
    fields: [passwordField(t('settings.password.old'), 'old', 'current-password'),
      passwordField(t('settings.password.new'), 'new')],
    onSend: async (data) => {
      await change('User', 'change_password', { old: data.old, new: data.new });
      // The change also ended this session; another request may have brought the login by now.
      await logIn(person()?.user.name ?? '', data.new);
      connection.dispatchEvent(new Event('entered'));
      await onDone();
      toast(t('done.saved'));
    },
  });
}

/** @param {() => unknown} onDone */
function newKey(onDone) {
  const form = openForm({
    title: t('settings.keys'),
    send: t('do.create'),
    fields: [textField(t('settings.key.name'), 'for', { maxLength: 80 })],
    onSend: async (data) => {
      const { key } = await change('User', 'add_key', { for: data.for });
      await onDone();
      form.close();
      openDialog(data.for, h('p', { class: 'soft' }, t('settings.key.made')),
        h('input', { class: 'select', readOnly: true, value: key, 'aria-label': data.for }),
        h('footer', {}, button(t('do.copy'), () => copyText(key), { look: 'is-main' })));
    },
  });
}

/** @param {() => Promise<unknown>} end */
function endButton(end) {
  return button(t('settings.session.end'), () => attempt(end));
}

/**
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export function show(place, signal) {
  const tools = [button(t('settings.password'), () => changePassword(draw)),
    button(t('settings.key.new'), () => newKey(draw))];
  const draw = () => attempt(async () => {
    const [{ sessions }, { keys }] = await Promise.all([
      call('Auth', 'sessions', {}, { signal }), call('User', 'keys', {}, { signal }),
    ]);
    const end = (/** @type {string} */ id) => change('Auth', 'end', { id }).then(draw);
    refill(place, h('div', { class: 'tools' }, tools,
      sessions.length > 1 &&
        button(t('settings.session.others'), () => attempt(() => end('others')))),
    h('h3', {}, t('settings.sessions')),
    h('ul', { class: 'row-list' }, ...sessions.map((/** @type {any} */ one) => row(
      one.is_own ? t('settings.session.this') : browserOf(one.agent),
      joined([one.address, t('settings.session.seen', { when: dayAndTime(one.last_used) })]),
      !one.is_own && endButton(() => end(one.id))))),
    keys.length > 0 && h('h3', {}, t('settings.keys')),
    h('ul', { class: 'row-list' }, ...keys.map((/** @type {any} */ one) => row(one.for,
      t('settings.session.seen', { when: one.last_used ? dayAndTime(one.last_used) : '–' }),
      endButton(() => change('User', 'remove_key', { id: one.id }).then(draw))))));
  });
  return draw();
}
