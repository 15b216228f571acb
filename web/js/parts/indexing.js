// What the indexer does, for administrators.

import { change } from '../api.js';
import { h, refill } from '../dom.js';
import { onEvent } from '../events.js';
import { button } from '../icons.js';
import { dayAndTime, joined, t } from '../texts.js';
import { attempt } from './toast.js';

/**
 * @typedef {{is_running: boolean, is_watched: boolean, phase: string, done: number, total: number,
 *   started: number, ended: number, problem: string, changes: Record<string, number>}} Scan
 */

const CHANGES = /** @type {const} */ (['added', 'changed', 'moved', 'removed', 'failed']);

/** @param {Scan} scan */
function progressOf({ phase, done, total }) {
  if (total > 0) {
    return t('indexing.of', { done: Math.min(done, total), total });
  }
  return phase ? t('indexing.seen', { count: done }) : t('indexing.running');
}

/** @param {Scan} scan */
function lastOf({ started, ended, changes }) {
  if (!started) {
    return t('indexing.never');
  }
  if (!ended) {
    return t('indexing.broken');
  }
  const found = CHANGES.filter((name) => changes[name] > 0)
    .map((name) => t(`indexing.${name}`, { count: changes[name] }));
  return joined([t('indexing.last', { when: dayAndTime(ended) }),
    ...(found.length > 0 ? found : [t('indexing.nothing')])]);
}

/**
 * Shows nothing unless an administrator asks: the server tells others only whether a scan runs.
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export function show(place, signal) {
  const state = h('p', { class: 'soft', role: 'status' });
  const bar = h('progress', { 'aria-label': t('indexing.title') });
  const problem = h('p', { class: 'soft', dir: 'auto' });
  const act = (/** @type {string} */ method) => attempt(() => change('Index', method));
  const start = button(t('indexing.start'), () => act('start'), { icon: 'again' });
  const stop = button(t('indexing.stop'), () => act('stop'));
  onEvent('scan', (/** @type {Scan} */ scan) => {
    if (scan.phase === undefined) {
      refill(place);
      return;
    }
    if (!place.hasChildNodes()) {
      refill(place, h('section', { class: 'setting-group' }, h('h2', {}, t('indexing.title')),
        state, bar, problem, h('div', { class: 'tools' }, start, stop)));
    }
    state.textContent = scan.is_running ? progressOf(scan) : lastOf(scan);
    bar.hidden = !scan.is_running;
    bar.removeAttribute('value');
    if (scan.total > 0) {
      bar.max = scan.total;
      bar.value = Math.min(scan.done, scan.total);
    }
    problem.textContent = scan.problem || (scan.is_watched ? '' : t('indexing.unwatched'));
    start.disabled = !scan.is_watched;
    start.hidden = scan.is_running;
    stop.hidden = !scan.is_running;
  }, signal);
}
