// What a person chooses for this browser, the account, and links.

import { attempt, copyText } from '../actions.js';
import { change } from '../api.js';
import { choice, choices, choose } from '../choices.js';
import { h, refill } from '../dom.js';
import { icon } from '../icons.js';
import { links } from '../library.js';
import { field, switchField } from '../parts/dialog.js';
import { page, pageHead, picker } from '../parts/page-view.js';
import { sharePlaylist, statusOf } from '../parts/share.js';
import { logOut, may, person } from '../person.js';
import { languages, t } from '../texts.js';

/** @typedef {import('../parts/page-view.js').PageView} PageView */

/**
 * @param {string} title
 * @param {...import('../dom.js').Child} content
 */
function group(title, ...content) {
  return h('section', { class: 'setting-group' }, h('h2', {}, title), ...content);
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
    rowField(t('settings.language'), picker(t('settings.language'), Object.entries(languages),
      choice('language'), (name) => choose('language', name))));
}

/**
 * @param {string} label
 * @param {HTMLElement} control
 * @param {string} [hint]
 */
function rowField(label, control, hint) {
  const row = field(label, control);
  row.classList.add('is-switch');
  if (hint) {
    row.querySelector('.field-label')?.append(h('small', {}, hint));
  }
  return row;
}

function playing() {
  const gains = /** @type {const} */ (['off', 'track', 'album']);
  const rates = [128000, 192000, 256000, 320000];
  return group(t('settings.playing'),
    rowField(t('settings.gain'), picker(t('settings.gain'),
      gains.map((name) => [name, t(`settings.gain.${name}`)]), choice('gain'),
      (name) => choose('gain', /** @type {'off' | 'track' | 'album'} */ (name))),
    t('settings.gain.hint')),
    rowField(t('settings.bitrate'), picker(t('settings.bitrate'),
      rates.map((rate) => [String(rate), t('settings.bitrate.value', { rate: rate / 1000 })]),
      String(choice('bitrate')), (rate) => choose('bitrate', Number(rate))),
    t('settings.bitrate.hint')),
    switchField(t('settings.lossless'), {
      checked: choice('lossless'),
      onchange: (/** @type {any} */ { target }) => choose('lossless', target.checked),
    }, t('settings.lossless.hint')),
    switchField(t('settings.convert'), {
      checked: choice('alwaysConvert'),
      onchange: (/** @type {any} */ { target }) => choose('alwaysConvert', target.checked),
    }, t('settings.convert.hint')));
}

function library() {
  const { kinds, default: usual } = person()?.library ?? { kinds: [], default: '' };
  const options = kinds.map((kind) => /** @type {[string, string]} */ (
    [kind, t(/** @type {import('../texts.js').TextName} */ (`library.${kind}`))]));
  return group(t('settings.library'), rowField(t('settings.library.shown'),
    picker(t('settings.library.shown'), options, choice('library') || usual,
      (kind) => choose('library', kind === usual ? '' : kind)), t('settings.library.hint')));
}

/** @param {PageView} view */
function account(view) {
  const more = h('div');
  import('../parts/account.js').then(({ showAccount }) => showAccount(more, view.signal));
  return group(t('settings.account'), h('div', { class: 'field is-switch' },
    h('span', { class: 'field-label' },
      t('settings.loggedIn', { name: person()?.user.name ?? '' })),
    h('button', { class: 'button', onclick: () => attempt(async () => {
      await logOut();
      location.assign('/');
    }) }, icon('logout'), t('settings.logout'))), more);
}

/** @param {PageView} view */
function shareLinks(view) {
  const list = h('ul', { class: 'row-list' });
  const show = async () => {
    const found = await attempt(() => links(view.signal)) ?? [];
    refill(list, found.length === 0 && h('li', { class: 'soft' }, t('settings.links.empty')),
      ...found.map((link) => h('li', {},
        h('div', {},
          h('a', { class: 'strong', dir: 'auto', href: link.url, target: '_blank' }, link.name),
          h('small', { class: `status is-${link.status}` }, statusOf(link))),
        h('span', { class: 'tools' },
          h('button', { class: 'button', onclick: () => copyText(link.url) }, t('do.copy')),
          h('button', { class: 'button', onclick: async () =>
            (await sharePlaylist({ id: link.playlist_id, name: link.name }))
              ?.addEventListener('close', show) }, t('share.days')),
          h('button', { class: 'button', onclick: () => attempt(async () => {
            await change('Sharing', 'delete', { id: link.id });
            await show();
          }) }, t('share.end'))))));
  };
  show();
  return group(t('settings.links'), list);
}

/** @param {PageView} view */
function people(view) {
  const place = h('div');
  import('../parts/people.js').then(({ showPeople }) => showPeople(place, view.signal));
  return place;
}

/** @param {PageView} view */
function indexing(view) {
  const place = h('div');
  import('../parts/indexing.js').then(({ showIndexing }) => showIndexing(place, view.signal));
  return place;
}

/** @param {PageView} view */
function server(view) {
  const place = h('div');
  import('../parts/server.js').then(({ showServer }) => showServer(place, view.signal));
  return place;
}

export function view() {
  return page('settings', t('nav.settings'), (view) => {
    const draw = () => {
      refill(view, pageHead(t('nav.settings')).head, look(), playing(), library(), account(view),
        may('sharing') && shareLinks(view), people(view), indexing(view), server(view),
        h('p', { class: 'soft small' }, t('settings.about', { version: person()?.version ?? '' })));
    };
    if (person()) {
      draw();
    }
    view.listen(choices, 'rights', draw);
  });
}
