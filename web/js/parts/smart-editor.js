// The editor of smart playlists: their rules, and the songs that meet them.

import { createList, newListFields, titleOf } from '../actions.js';
import { call } from '../api.js';
import { afterPause, h, refill } from '../dom.js';
import { songOf } from '../library.js';
import { changePlaylist } from '../playlists.js';
import { go, playlistPath } from '../routes.js';
import { parseRule, writeRule } from '../rules.js';
import { joined, t } from '../texts.js';
import { songCover } from './cover-art.js';
import { openDialog, openForm } from './dialog.js';
import { newTest, ruleFields } from './rule-fields.js';
import { attempt } from './toast.js';

/** @typedef {import('../types.js').Playlist} Playlist */

const PAUSE = 300;
const SHOWN = 6;

/** @param {import('../types.js').Song} song */
function previewRow(song) {
  return h('li', {}, songCover(song),
    h('span', { dir: 'auto' }, h('strong', {}, titleOf(song)),
      h('small', { class: 'soft' }, joined([song.artist, song.album]))));
}

/** The songs of a rule. `show` asks for those of another rule, and ends what was asked before. */
function preview() {
  const count = h('p', { class: 'rule-count', role: 'status' });
  const list = h('ul', { class: 'rule-songs' });
  const say = (/** @type {string} */ text) => {
    count.textContent = text;
    list.replaceChildren();
  };
  let last = new AbortController();
  const show = async (/** @type {string} */ rule) => {
    last.abort();
    last = new AbortController();
    const { signal } = last;
    if (rule === '') {
      say(t('rule.empty'));
      return;
    }
    await attempt(async () => {
      const { total, songs } = await call('Playlist', 'preview',
        { rule, limit: SHOWN, additional: 'song_tag' }, { signal });
      say(t('songs.count', { count: total }));
      refill(list, ...songs.map(songOf).map(previewRow));
    }, say);
  };
  return { box: h('section', { class: 'rule-preview' }, count, list), show };
}

/**
 * A rule that the editor cannot show whole stays as it is.
 * @param {Playlist} found
 * @param {string} rule
 */
function showRule(found, rule) {
  const { box, show } = preview();
  show(rule);
  openDialog(found.name, h('p', { class: 'soft' }, t('rule.unknown')),
    h('pre', { class: 'rule-text', dir: 'auto', tabindex: '0' }, rule), box)
    .classList.add('is-wide');
}

/** @param {Playlist} [found] the one to change; without it a new one */
export function editSmart(found) {
  return attempt(async () => {
    const rule = found ? (await call('Playlist', 'rule', { id: found.id })).rule : '';
    const group = found ? parseRule(rule)
      : { join: /** @type {const} */ ('and'), parts: [newTest()] };
    if (found && group === null) {
      showRule(found, rule);
    } else if (group !== null) {
      openEditor(group, found);
    }
  });
}

/**
 * @param {import('../rules.js').Group} group
 * @param {Playlist} [found]
 */
function openEditor(group, found) {
  const { box, show } = preview();
  const showSoon = afterPause(PAUSE, () => show(writeRule(group)));
  const dialog = openForm({
    title: found ? found.name : t('playlists.newSmart'),
    send: found ? t('do.save') : t('do.create'),
    fields: [...(found ? [] : newListFields()), ruleFields(group, showSoon), box],
    onSend: async (data) => {
      const rule = writeRule(group);
      if (found) {
        await changePlaylist('set_rule', { id: found.id, rule });
      } else {
        go(playlistPath(await createList(data, rule)));
      }
    },
  });
  dialog.classList.add('is-wide');
  show(writeRule(group));
}
