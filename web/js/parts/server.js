// What administrators see of the server: its folders of music, its sound card and custom keys.

import { call, change } from '../api.js';
import { afterPause, h, refill, setVars } from '../dom.js';
import { button } from '../icons.js';
import { may } from '../person.js';
import { joined, t } from '../texts.js';
import { field, openForm, textField } from './dialog.js';
import { row } from './rows.js';
import { attempt, toast } from './toast.js';

/** @typedef {{index: number, type: string, value: string, title: string}} CustomKey */

const PAUSE = 200;

/** @param {string[]} folders */
function folderList(folders) {
  return [h('h3', {}, t('settings.folders')),
    h('ul', { class: 'row-list' },
      folders.length === 0 && h('li', { class: 'soft' }, t('settings.folders.empty')),
      ...folders.map((path) => h('li', {}, h('div', { dir: 'auto' }, path)))),
    h('p', { class: 'soft small' }, t('settings.folders.hint'))];
}

/** @param {{card: number | null, device: string, mixer: string, volume: number | null}} card */
function cardFields({ card, device, mixer, volume }) {
  const heading = h('h3', {}, t('settings.card'));
  if (card === null) {
    return [heading, h('p', { class: 'soft' }, t('settings.card.none'))];
  }
  const send = afterPause(PAUSE, (/** @type {string} */ value) => attempt(() =>
    change('Player', 'volume', { action: 'set_card', value })));
  const draw = () => setVars(slider, { '--done': `${slider.value}%` });
  const slider = h('input', { type: 'range', class: 'range', min: '0', max: '100',
    value: String(volume ?? 0), oninput: () => {
      draw();
      send(slider.value);
    } });
  draw();
  return [heading, field(t('settings.card.volume'), slider,
    h('span', { dir: 'auto' }, joined([device, mixer])), 'is-switch')];
}

/**
 * @param {CustomKey} key
 * @param {() => unknown} onDone
 */
function editKey({ index, ...texts }, onDone) {
  openForm({
    title: t('settings.custom.key', { number: index }),
    send: t('do.save'),
    fields: (/** @type {const} */ (['title', 'type', 'value'])).map((name) => textField(
      t(`settings.custom.${name}`), name, { value: texts[name], required: false })),
    onSend: async (data) => {
      await change('Setting', 'set', { custom_key: index, ...data });
      toast(t('done.saved'));
      onDone();
    },
  });
}

/**
 * @param {CustomKey[]} keys
 * @param {() => unknown} onDone
 */
function customKeys(keys, onDone) {
  return [h('h3', {}, t('settings.custom')),
    h('ul', { class: 'row-list custom-keys' }, ...keys.map((key) => row(
      key.title || t('settings.custom.key', { number: key.index }), joined([key.type, key.value]),
      button(t('settings.custom.change'), () => editKey(key, onDone))))),
    h('p', { class: 'soft small' }, t('settings.custom.hint'))];
}

/**
 * Shows nothing to people without rights.
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export function show(place, signal) {
  return attempt(async () => {
    const [{ music_folders: folders, custom_keys: keys }, card] = await Promise.all([
      call('Setting', 'get', {}, { signal }),
      may('usb') && call('Player', 'volume', { action: 'card' }, { signal }).catch(() => null),
    ]);
    const content = [...(folders ? folderList(folders) : []), ...(card ? cardFields(card) : []),
      ...(keys ? customKeys(keys, () => show(place, signal)) : [])];
    if (content.length > 0) {
      refill(place, h('section', { class: 'setting-group' },
        h('h2', {}, t('settings.server')), ...content));
    }
  });
}
