// Internet radio stations. They come through this server, and administrators choose them.

import { attempt } from '../actions.js';
import { call, change } from '../api.js';
import { h, refill } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { songOf } from '../library.js';
import { emptyNote } from '../parts/cards.js';
import { confirmDelete, field, openForm } from '../parts/dialog.js';
import { openMenu } from '../parts/menu.js';
import { page, pageHead } from '../parts/page-view.js';
import { player } from '../playing.js';
import { t } from '../texts.js';

/** @typedef {{id: number, name: string, stream: string, home_page: string}} Station */

/** @param {Station} station */
function play({ name, stream }) {
  const id = `radio_${name} ${stream}`;
  player().playSongs([songOf({ id, title: name, path: stream, type: 'remote' })],
    { shuffle: false });
}

/**
 * @param {Station | null} station null: a new one
 * @param {() => Promise<unknown>} onDone
 */
function edit(station, onDone) {
  const input = (/** @type {string} */ name, /** @type {string} */ value, more = {}) =>
    h('input', { name, value, autocomplete: 'off', ...more });
  const address = { type: 'url', maxLength: 2000, pattern: 'https?://.+' };
  openForm({
    title: t(station ? 'radio.change' : 'radio.add'),
    send: t('do.save'),
    fields: [
      field(t('field.name'), input('name', station?.name ?? '', { required: true, maxLength: 60 })),
      field(t('radio.stream'), input('stream', station?.stream ?? '',
        { required: true, ...address })),
      field(t('radio.homePage'), input('home_page', station?.home_page ?? '', address)),
    ],
    onSend: async (data) => {
      const given = (/** @type {string} */ name) => String(data.get(name) ?? '');
      await change('Radio', station ? 'change' : 'add', {
        id: station?.id, name: given('name'), stream: given('stream'),
        home_page: given('home_page'),
      });
      await onDone();
    },
  });
}

export function view() {
  return page('radio', t('nav.radio'), (view) => {
    const add = h('button', { class: 'button', hidden: true, onclick: () => edit(null, show) },
      icon('plus'), t('radio.add'));
    const list = h('ul', { class: 'row-list' });
    view.append(pageHead(t('nav.radio'), add).head, list);

    /**
     * @param {Station} station
     * @param {boolean} mayChange
     */
    function row(station, mayChange) {
      const { id, name, home_page: homePage } = station;
      /** @type {HTMLButtonElement} */
      const menu = iconButton('more', t('do.more', { name }), () => openMenu(menu, name, [
        { text: t('radio.change'), icon: 'edit', run: () => edit(station, show) },
        { text: t('do.delete'), icon: 'trash', run: () => confirmDelete(
          t('playlist.delete', { name }), t('radio.delete.hint'), async () => {
            await change('Radio', 'remove', { id });
            await show();
          }) },
      ]), { 'aria-haspopup': 'menu', hidden: !mayChange });
      return h('li', {},
        iconButton('play', t('do.play.what', { name }), () => play(station), { look: 'is-round' }),
        h('div', {}, h('strong', { dir: 'auto' }, name), homePage &&
          h('small', {}, h('a', { href: homePage, target: '_blank', rel: 'noopener noreferrer' },
            t('radio.homePage')))),
        menu);
    }

    async function show() {
      await attempt(async () => {
        const data = await call('Radio', 'list', {}, { signal: view.signal });
        /** @type {Station[]} */
        const stations = data.stations;
        add.hidden = !data.may_change;
        refill(list, ...stations.map((one) => row(one, data.may_change)), stations.length === 0 &&
          h('li', {}, emptyNote('radio', t('radio.empty'), t('radio.empty.hint'))));
      });
    }
    show();
  });
}
