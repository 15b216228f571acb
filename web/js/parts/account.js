// The password, sessions and keys of the account.

import { attempt, copyText } from '../actions.js';
import { call, change, connection } from '../api.js';
import { h, refill } from '../dom.js';
import { logIn, person } from '../person.js';
import { joined, t } from '../texts.js';
import { field, openDialog, openForm } from './dialog.js';
import { toast } from './toast.js';

/** @param {number} seconds since 1970 */
function day(seconds) {
  const when = new Date(seconds * 1000);
  return when.toLocaleString(undefined, { dateStyle: 'medium', timeStyle: 'short' });
}

/**
 * The browser and its system, of which each claims to be several; other programs as they say.
 * @param {string} agent
 */
function browserOf(agent) {
  const browser = [/Edg\w*\/\d+/, /OPR\/\d+/, /Firefox\/\d+/, /Chrome\/\d+/, /Version\/\d+.* Safari/]
    .map((one) => one.exec(agent)?.[0]).find(Boolean);
  const system = /Windows|Android|iPhone|iPad|Mac OS|Linux/.exec(agent)?.[0] ?? '';
  return browser ? joined([browser.replace('/', ' ').replace(/.* Safari/, 'Safari'), system]) : agent;
}

/** @param {() => unknown} onDone */
function changePassword(onDone) {
  const old = h('input', { name: 'old', type: 'password', required: true,
    autocomplete: 'current-password' });
  const wanted = h('input', { name: 'new', type: 'password', required: true,
    autocomplete: 'new-password' });
  openForm({
    title: t('settings.password').replace(/[\s…]+$/, ''),
    send: t('do.save'),
    fields: [field(t('settings.password.old'), old), field(t('settings.password.new'), wanted)],
    onSend: async () => {
      await change('User', 'change_password', { old: old.value, new: wanted.value });
      // The change ended this session, too; another request may have brought the login by now.
      await logIn(person()?.user.name ?? '', wanted.value);
      connection.dispatchEvent(new Event('entered'));
      onDone();
      toast(t('done.saved'));
    },
  });
}

/** @param {() => unknown} onDone */
function newKey(onDone) {
  const purpose = h('input', { name: 'for', required: true, maxLength: 80, autocomplete: 'off' });
  openForm({
    title: t('settings.keys'),
    send: t('do.create'),
    fields: [field(t('settings.key.name'), purpose)],
    onSend: async () => {
      const { key } = await change('User', 'add_key', { for: purpose.value });
      onDone();
      openDialog(purpose.value, h('p', { class: 'soft' }, t('settings.key.made')),
        h('input', { class: 'select', readOnly: true, value: key, 'aria-label': purpose.value }),
        h('footer', {}, h('button', { class: 'button is-main', onclick: () => copyText(key) },
          t('do.copy'))));
    },
  });
}

/**
 * @param {string} name
 * @param {string} below
 * @param {() => Promise<unknown>} [end]
 */
function row(name, below, end) {
  return h('li', {}, h('div', { dir: 'auto' }, name, h('small', { class: 'soft' }, below)),
    end && h('button', { class: 'button', onclick: () => attempt(end) }, t('settings.session.end')));
}

/**
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export function showAccount(place, signal) {
  const show = () => attempt(async () => {
    const [{ sessions }, { keys }] = await Promise.all([
      call('Auth', 'sessions', {}, { signal }), call('User', 'keys', {}, { signal }),
    ]);
    const end = (/** @type {string} */ id) => change('Auth', 'end', { id }).then(show);
    refill(place, h('div', { class: 'tools' },
      h('button', { class: 'button', onclick: () => changePassword(show) }, t('settings.password')),
      h('button', { class: 'button', onclick: () => newKey(show) }, t('settings.key.new')),
      sessions.length > 1 && h('button', { class: 'button', onclick: () => attempt(() =>
        end('others')) }, t('settings.session.others'))),
    h('h3', {}, t('settings.sessions')),
    h('ul', { class: 'row-list' }, ...sessions.map((/** @type {any} */ one) => row(
      one.is_own ? t('settings.session.this') : browserOf(one.agent),
      joined([one.address, t('settings.session.seen', { when: day(one.last_used) })]),
      one.is_own ? undefined : () => end(one.id)))),
    keys.length > 0 && h('h3', {}, t('settings.keys')),
    h('ul', { class: 'row-list' }, ...keys.map((/** @type {any} */ one) => row(
      one.for, t('settings.session.seen', { when: one.last_used ? day(one.last_used) : '–' }),
      () => change('User', 'remove_key', { id: one.id }).then(show)))));
  });
  return show();
}
