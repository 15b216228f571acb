// What administrators see of the server: its folders of music, its sound card and custom keys.

import { attempt } from '../actions.js';
import { call, change } from '../api.js';
import { afterPause, h, refill, setVars } from '../dom.js';
import { may } from '../person.js';
import { joined, t } from '../texts.js';
import { field, openForm } from './dialog.js';
import { toast } from './toast.js';

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
  return [heading, h('label', { class: 'field is-switch' },
    h('span', { class: 'field-label' }, t('settings.card.volume'),
      h('small', { dir: 'auto' }, joined([device, mixer]))), slider)];
}

/**
 * @param {CustomKey} key
 * @param {() => unknown} onDone
 */
function editKey({ index, ...texts }, onDone) {
  const title = h('input', { name: 'title', value: texts.title, autocomplete: 'off' });
  const type = h('input', { name: 'type', value: texts.type, autocomplete: 'off' });
  const value = h('input', { name: 'value', value: texts.value, autocomplete: 'off' });
  openForm({
    title: t('settings.custom.key', { number: index }),
    send: t('do.save'),
    fields: [field(t('settings.custom.title'), title), field(t('settings.custom.type'), type),
      field(t('settings.custom.value'), value)],
    onSend: async () => {
      await change('Setting', 'set',
        { custom_key: index, title: title.value, type: type.value, value: value.value });
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
    h('ul', { class: 'row-list custom-keys' }, ...keys.map((key) => h('li', {},
      h('div', {}, h('strong', { dir: 'auto' },
        key.title || t('settings.custom.key', { number: key.index })),
      h('small', { dir: 'auto' }, joined([key.type, key.value]))),
      h('button', { class: 'button', onclick: () => editKey(key, onDone) },
        t('settings.custom.change'))))),
    h('p', { class: 'soft small' }, t('settings.custom.hint'))];
}

/**
 * Shows nothing to somebody who may see neither.
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export function showServer(place, signal) {
  return attempt(async () => {
    const [{ music_folders: folders, custom_keys: keys }, card] = await Promise.all([
      call('Setting', 'get', {}, { signal }),
      may('usb') ? call('Player', 'volume', { action: 'card' }, { signal }).catch(() => null) : null,
    ]);
    const content = [...(folders ? folderList(folders) : []), ...(card ? cardFields(card) : []),
      ...(keys ? customKeys(keys, () => showServer(place, signal)) : [])];
    if (content.length > 0) {
      refill(place, h('section', { class: 'setting-group' },
        h('h2', {}, t('settings.server')), ...content));
    }
  });
}
