// What a person chooses for this browser, the account, and links.

import { copyText } from '../actions.js';
import { change } from '../api.js';
import { choice, choose } from '../choices.js';
import { h, refill } from '../dom.js';
import { button } from '../icons.js';
import { links } from '../library.js';
import { field, switchField } from '../parts/dialog.js';
import { page, pageHead, picker } from '../parts/page-view.js';
import { row } from '../parts/rows.js';
import { sharePlaylist, statusOf } from '../parts/share.js';
import { attempt } from '../parts/toast.js';
import { logOut, may, person, rights } from '../person.js';
import { languages, t } from '../texts.js';

/** @typedef {import('../parts/page-view.js').PageView} PageView */
/** @typedef {import('../texts.js').TextName} TextName */

/**
 * @param {string} title
 * @param {...import('../dom.js').Child} content
 */
function group(title, ...content) {
  return h('section', { class: 'setting-group' }, h('h2', {}, title), ...content);
}

/**
 * @param {string} label
 * @param {[string, string][]} options value and text
 * @param {string} value
 * @param {(value: any) => void} onPick
 * @param {string} [hint]
 */
function pickField(label, options, value, onPick, hint) {
  return field(label, picker(label, options, value, onPick), hint, 'is-switch');
}

/**
 * @param {'lossless' | 'alwaysConvert'} name of a choice
 * @param {'lossless' | 'convert'} text
 */
function choiceSwitch(name, text) {
  return switchField(t(`settings.${text}`), {
    checked: choice(name),
    onchange: (/** @type {any} */ { target }) => choose(name, target.checked),
  }, t(`settings.${text}.hint`));
}

function look() {
  const themes = /** @type {const} */ (['system', 'light', 'dark']);
  const buttons = themes.map((name) => h('label', { class: 'segment' },
    h('input', { type: 'radio', name: 'theme', checked: choice('theme') === name,
      onchange: () => choose('theme', name) }), h('span', {}, t(`settings.theme.${name}`))));
  return group(t('settings.look'),
    h('div', { class: 'field is-switch', role: 'radiogroup', 'aria-label': t('settings.theme') },
      h('span', { class: 'field-label' }, t('settings.theme')),
      h('div', { class: 'segments' }, ...buttons)),
    pickField(t('settings.language'), Object.entries(languages), choice('language'),
      (name) => choose('language', name)));
}

function playing() {
  const gains = /** @type {const} */ (['off', 'track', 'album']);
  const rates = [128000, 192000, 256000, 320000];
  return group(t('settings.playing'),
    pickField(t('settings.gain'), gains.map((name) => [name, t(`settings.gain.${name}`)]),
      choice('gain'), (name) => choose('gain', name), t('settings.gain.hint')),
    pickField(t('settings.bitrate'),
      rates.map((rate) => [String(rate), t('settings.bitrate.value', { rate: rate / 1000 })]),
      String(choice('bitrate')), (rate) => choose('bitrate', Number(rate)),
      t('settings.bitrate.hint')),
    choiceSwitch('lossless', 'lossless'), choiceSwitch('alwaysConvert', 'convert'));
}

function library() {
  const { kinds, default: usual } = person()?.library ?? { kinds: [], default: '' };
  return group(t('settings.library'), pickField(t('settings.library.shown'),
    kinds.map((kind) => [kind, t(/** @type {TextName} */ (`library.${kind}`))]),
    choice('library') || usual, (kind) => choose('library', kind === usual ? '' : kind),
    t('settings.library.hint')));
}

/**
 * A group whose code and content come later; some groups stay empty for people without rights.
 * @param {PageView} view
 * @param {Promise<{show: (place: HTMLElement, signal: AbortSignal) => unknown}>} module
 */
function later(view, module) {
  const place = h('div');
  module.then(({ show }) => show(place, view.signal), () => {});
  return place;
}

/** @param {PageView} view */
function account(view) {
  const leave = async () => {
    await logOut();
    location.assign('/');
  };
  return group(t('settings.account'), h('div', { class: 'field is-switch' },
    h('span', { class: 'field-label' },
      t('settings.loggedIn', { name: person()?.user.name ?? '' })),
    button(t('settings.logout'), () => attempt(leave), { icon: 'logout' })),
  later(view, import('../parts/account.js')));
}

/** @param {PageView} view */
function shareLinks(view) {
  const list = h('ul', { class: 'row-list' });
  /** @param {import('../types.js').Link} link */
  const linkRow = (link) => {
    const { id, name, url, playlist_id: playlist } = link;
    const setDays = async () =>
      (await sharePlaylist({ id: playlist, name }))?.addEventListener('close', show);
    const end = async () => {
      await change('Sharing', 'delete', { id });
      await show();
    };
    return row(h('a', { href: url, target: '_blank' }, name),
      h('span', { class: `status is-${link.status}` }, statusOf(link)),
      h('span', { class: 'tools' }, button(t('do.copy'), () => copyText(url)),
        button(t('share.days'), setDays), button(t('share.end'), () => attempt(end))));
  };
  const show = async () => {
    const found = await attempt(() => links(view.signal)) ?? [];
    refill(list, found.length === 0 && h('li', { class: 'soft' }, t('settings.links.empty')),
      ...found.map(linkRow));
  };
  show();
  return group(t('settings.links'), list);
}

export function view() {
  return page('settings', t('nav.settings'), (view) => {
    let shown = '';
    const draw = () => {
      const now = JSON.stringify(person());
      if (now === shown) {
        return; // the same one has logged in again
      }
      shown = now;
      refill(view, pageHead(t('nav.settings')).head, look(), playing(), library(), account(view),
        may('sharing') && shareLinks(view), later(view, import('../parts/people.js')),
        later(view, import('../parts/indexing.js')), later(view, import('../parts/server.js')),
        h('p', { class: 'soft small' }, t('settings.about', { version: person()?.version ?? '' })));
    };
    if (person()) {
      draw();
    }
    view.listen(rights, 'learned', draw);
  });
}
