// Where music plays: in this browser, or on the server and its outputs.

import { call, change } from '../api.js';
import { player, playOn } from '../playing.js';
import { t } from '../texts.js';
import { openMenu } from './menu.js';
import { attempt } from './toast.js';

const MOST_OUTPUTS = 50;

/** @typedef {{udn: string, name: string, enabled?: boolean}} Output */

/**
 * Turns an output on or off; music that plays here goes on there.
 * @param {Output} output
 */
async function turn({ udn, enabled }) {
  const isOn = Boolean(enabled);
  const wasHere = player().name === 'here';
  await playOn('server');
  if (!isOn || !wasHere) {
    await change('Player', 'control', { action: isOn ? 'disable' : 'enable', value: udn });
  }
}

/** @param {HTMLElement} beside */
export function openPlaces(beside) {
  return attempt(async () => {
    const info = await call('Player', 'info');
    const canTurn = info.can.includes('enable') && info.can.includes('disable');
    /** @type {Output[]} */
    const outputs = canTurn
      ? (await call('Player', 'list', { limit: MOST_OUTPUTS })).renderers : [];
    /** @type {import('./menu.js').Choice[]} */
    const choices = outputs.map((output, index) => ({
      text: output.name, isName: true, checked: Boolean(output.enabled), role: 'checkbox',
      parted: index === 0, run: () => attempt(() => turn(output)),
    }));
    const isServer = player().name === 'server';
    openMenu(beside, t('places.title'), [
      { text: t('places.here'), checked: !isServer, run: () => playOn('here') },
      { text: t('places.server'), checked: isServer, run: () => playOn('server') }, ...choices,
    ]);
  });
}
