// What administrators see of the server: its folders of music and its sound card.

import { attempt } from '../actions.js';
import { call, change } from '../api.js';
import { afterPause, h, refill } from '../dom.js';
import { may } from '../person.js';
import { joined, t } from '../texts.js';

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
  const slider = h('input', { type: 'range', class: 'range', min: '0', max: '100',
    value: String(volume ?? 0), oninput: () => send(slider.value) });
  return [heading, h('label', { class: 'field is-switch' },
    h('span', { class: 'field-label' }, t('settings.card.volume'),
      h('small', { dir: 'auto' }, joined([device, mixer]))), slider)];
}

/**
 * Shows nothing to somebody who may see neither.
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export function showServer(place, signal) {
  return attempt(async () => {
    const [{ music_folders: folders }, card] = await Promise.all([
      call('Setting', 'get', {}, { signal }),
      may('usb') ? call('Player', 'volume', { action: 'card' }, { signal }).catch(() => null) : null,
    ]);
    const content = [...(folders ? folderList(folders) : []), ...(card ? cardFields(card) : [])];
    if (content.length > 0) {
      refill(place, h('section', { class: 'setting-group' },
        h('h2', {}, t('settings.server')), ...content));
    }
  });
}
