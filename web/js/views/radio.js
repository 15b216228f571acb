// Internet radio stations. They come through this server, and administrators choose them.

import { call, change } from '../api.js';
import { h, refill } from '../dom.js';
import { button, iconButton } from '../icons.js';
import { songOf } from '../library.js';
import { emptyNote } from '../parts/cards.js';
import { confirmDelete, openForm, textField } from '../parts/dialog.js';
import { menuButton } from '../parts/menu.js';
import { page, pageHead } from '../parts/page-view.js';
import { row } from '../parts/rows.js';
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
  const { name = '', stream = '', home_page: homePage = '' } = station ?? {};
  const address = { type: 'url', maxLength: 2000, pattern: 'https?://.+' };
  openForm({
    title: t(station ? 'radio.change' : 'radio.add'),
    send: t('do.save'),
    fields: [
      textField(t('field.name'), 'name', { maxLength: 60, value: name }),
      textField(t('radio.stream'), 'stream', { ...address, value: stream }),
      textField(t('radio.homePage'), 'home_page', { ...address, value: homePage, required: false }),
    ],
    onSend: async (data) => {
      await change('Radio', station ? 'change' : 'add', { id: station?.id, ...data });
      await onDone();
    },
  });
}

export function view() {
  return page('radio', t('nav.radio'), (view) => {
    const add = button(t('radio.add'), () => edit(null, show), { icon: 'plus', hidden: true });
    const list = h('ul', { class: 'row-list' });
    view.append(pageHead(t('nav.radio'), add).head, list);

    /**
     * @param {Station} station
     * @param {boolean} mayChange
     */
    function stationRow(station, mayChange) {
      const { id, name, home_page: homePage } = station;
      const remove = async () => {
        await change('Radio', 'remove', { id });
        await show();
      };
      const menu = menuButton(name, () => [
        { text: t('radio.change'), icon: 'edit', run: () => edit(station, show) },
        { text: t('do.delete'), icon: 'trash',
          run: () => confirmDelete(name, t('radio.delete.hint'), remove) },
      ], { hidden: !mayChange });
      const link = homePage && h('a',
        { href: homePage, target: '_blank', rel: 'noopener noreferrer' }, t('radio.homePage'));
      const made = row(name, link, menu);
      made.prepend(iconButton('play', t('do.play.what', { name }), () => play(station),
        { look: 'is-round' }));
      return made;
    }

    function show() {
      return view.fetch((signal) => call('Radio', 'list', {}, { signal }), (data) => {
        /** @type {Station[]} */
        const stations = data.stations;
        add.hidden = !data.may_change;
        refill(list, ...stations.map((one) => stationRow(one, data.may_change)),
          stations.length === 0 &&
            h('li', {}, emptyNote('radio', t('radio.empty'),
              t(data.may_change ? 'radio.empty.add' : 'radio.empty.hint'))));
      });
    }
    show();
  });
}
