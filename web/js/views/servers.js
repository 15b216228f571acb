// Other media servers on the network: which there are, and what is in them.

import { choicesToQueue, playAll } from '../actions.js';
import { call } from '../api.js';
import { h, refill } from '../dom.js';
import { button, icon } from '../icons.js';
import { songOf } from '../library.js';
import { LongList } from '../list.js';
import { emptyNote } from '../parts/cards.js';
import { field } from '../parts/dialog.js';
import { menuButton } from '../parts/menu.js';
import { page, pageHead } from '../parts/page-view.js';
import { wayRow } from '../parts/rows.js';
import { addressWith } from '../routes.js';
import { clock, t } from '../texts.js';

/** @typedef {import('../types.js').Song} Song */
/** @typedef {{folder?: {id: string, title: string}, song?: Song}} Item */

const ROW = 60;
const PAGE = 100;

/**
 * @param {string} url
 * @param {string} id of an object
 * @param {string} name
 */
function pathOf(url, id, name) {
  return addressWith('/servers', { url, id, name });
}

/** @param {string} text as servers tell it: H:MM:SS.F */
function secondsOf(text = '') {
  return text.split(':').reduce((sum, part) => sum * 60 + (parseFloat(part) || 0), 0);
}

/**
 * @param {any} item
 * @param {string} url of its server
 * @returns {Song | undefined} nothing for what has no sound
 */
function soundOf(item, url) {
  const sound = item.resources.find((/** @type {any} */ one) =>
    /:audio\//.test(one.protocolInfo ?? '') && /^https?:/.test(one.res ?? ''));
  return sound && {
    ...songOf({
      id: sound.res, title: item.title, path: new URL(url).host, type: 'remote',
      additional: {
        song_tag: { artist: item.artist ?? item.creator, album: item.album, genre: item.genre },
        song_audio: { duration: Math.round(secondsOf(sound.duration)) },
      },
    }),
    server: { url, id: item.id },
  };
}

/**
 * Servers do not tell how much there is: as long as pages are full there is one more.
 * @param {string} url
 * @param {string} id
 * @returns {import('../types.js').Source<Item>}
 */
function sourceOf(url, id) {
  let total = 0;
  return {
    pageSize: PAGE,
    fetch: async (offset, limit, signal) => {
      const data = await call('MediaServer', 'browse', { url, id, offset, limit }, { signal });
      /** @type {Item[]} */
      const items = [
        ...data.containers.map((/** @type {any} */ folder) => ({ folder })),
        ...data.items.map((/** @type {any} */ item) =>
          ({ song: soundOf(item, url), folder: item })),
      ];
      const end = offset + items.length;
      total = items.length < limit ? end : Math.max(total, end + 1);
      return { total, items };
    },
  };
}

/**
 * @param {Song} song
 * @param {(song: Song) => unknown} play
 */
function songRow(song, play) {
  const name = [song.title, song.artist].filter(Boolean).join(' – ');
  return h('div', { class: 'folder-row' },
    h('button', { 'data-focus': '', onclick: () => play(song),
      'aria-label': t('do.play.what', { name: song.title }) },
    icon('play'), h('span', { dir: 'auto' }, name),
    h('span', { class: 'soft' }, song.duration > 0 ? clock(song.duration) : '')),
    menuButton(song.title, () => choicesToQueue(async () => [song])));
}

/**
 * @param {import('../parts/page-view.js').PageView} view
 * @param {{url: string, id: string, name: string}} place
 */
function showInside(view, { url, id, name }) {
  const source = sourceOf(url, id);
  const songs = async () => (await source.fetch(0, PAGE)).items.flatMap(({ song }) => song ?? []);
  const play = (/** @type {Song} */ song) => playAll(async () => {
    const all = await songs();
    const at = all.findIndex(({ server }) => server?.id === song.server?.id);
    return at < 0 ? [song] : all.slice(at);
  });
  const { head } = pageHead(name, button(t('do.play'), () => playAll(songs), { icon: 'play' }));
  /** @type {LongList<Item>} */
  const list = new LongList();
  list.classList.add('song-list');
  list.show(source, {
    label: name, rowHeight: ROW, make: ({ folder: { id: inside = '', title = '' } = {}, song }) =>
      song ? songRow(song, play) : wayRow('folders', pathOf(url, inside, title), title),
    empty: () => emptyNote('folders', t('folders.empty')),
  });
  refill(view, head, list);
}

/** @param {import('../parts/page-view.js').PageView} view */
function showServers(view) {
  const found = h('div', { 'aria-busy': 'true' });
  const address = h('input', { name: 'address', autocomplete: 'off', maxLength: 60 });
  const search = (/** @type {string} */ asked) => {
    refill(found, h('p', { class: 'soft', role: 'status' }, t('servers.searching')));
    view.fetch((signal) => call('MediaServer', 'list', { address: asked || undefined }, { signal }),
      ({ servers }) => refill(found, servers.length === 0
        ? emptyNote('servers', t('servers.none'), t('servers.none.hint'))
        : servers.map((/** @type {any} */ one) =>
          wayRow('servers', pathOf(one.url, '0', one.name), one.name))));
  };
  const form = h('form', { class: 'tools is-form', onsubmit: (/** @type {Event} */ event) => {
    event.preventDefault();
    search(address.value.trim());
  } }, field(t('servers.address'), address),
  button(t('nav.search'), () => {}, { icon: 'search', type: 'submit' }));
  refill(view, pageHead(t('nav.servers')).head, form, found);
  search('');
}

/** @param {import('../types.js').Place} place */
export function view({ query }) {
  const url = query.get('url') ?? '';
  const name = query.get('name') || t('nav.servers');
  return page('servers', name, (view) => {
    if (url) {
      showInside(view, { url, id: query.get('id') ?? '0', name });
    } else {
      showServers(view);
    }
  });
}
