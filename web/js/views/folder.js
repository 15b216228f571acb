// Folders of music as they lie on the server.

import { choiceOfZip, choicesForSongs, pin, playAll } from '../actions.js';
import { h } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { folder, library } from '../library.js';
import { LongList } from '../list.js';
import { emptyNote } from '../parts/cards.js';
import { openMenu } from '../parts/menu.js';
import { page, pageHead } from '../parts/page-view.js';
import { SongRow } from '../parts/song-row.js';
import { folderPath } from '../routes.js';
import { t } from '../texts.js';

/** @typedef {import('../types.js').Folder} Folder */
/** @typedef {import('../types.js').Song} Song */

/** @type {Map<string, {name: string, parent: string}>} folders that were seen on the way */
const seen = new Map();

/** @param {string} id */
function trail(id) {
  /** @type {{id: string, name: string}[]} */
  const steps = [];
  for (let at = id; at && seen.has(at) && steps.length < 50; at = seen.get(at)?.parent ?? '') {
    steps.unshift({ id: at, name: seen.get(at)?.name ?? '' });
  }
  return steps;
}

/** @param {Folder} found */
function folderRow(found) {
  return h('div', { class: 'folder-row' }, h('a', {
    href: folderPath(found.id), 'data-focus': '', dir: 'auto',
  }, icon('folders'), h('span', {}, found.name), icon('forth')));
}

/** @param {import('../types.js').Place} place */
export function view({ id }) {
  const steps = trail(id);
  const name = steps.length > 0 ? steps[steps.length - 1].name : t('nav.folders');
  return page('folder', name, (view) => {
    const source = folder(id);
    const onlySongs = async () => {
      const { items } = await source.fetch(0, 5000);
      return items.flatMap(({ song }) => (song ? [song] : []));
    };
    const menu = iconButton('more', t('do.more', { name }), () => openMenu(menu, name, [
      ...choicesForSongs(menu, onlySongs),
      choiceOfZip({ id, library: library() }),
      { text: t('do.pin'), icon: 'pin', parted: true, run: () => pin('folder', name, { folder: id }) },
    ]), { 'aria-haspopup': 'menu' });
    const tools = id ? [
      menu,
      h('button', { class: 'button', onclick: () => playAll(onlySongs) }, icon('play'), t('do.play')),
    ] : [];
    const { head } = pageHead(name, ...tools);
    const path = h('nav', { class: 'trail', 'aria-label': t('nav.folders') },
      h('a', { href: '/folders' }, t('nav.folders')),
      ...steps.flatMap((step) => [icon('forth'),
        h('a', { href: folderPath(step.id), dir: 'auto' }, step.name)]));
    /** @type {LongList<{folder?: Folder, song?: Song}>} */
    const list = new LongList();
    list.classList.add('song-list');
    list.show({
      ...source,
      fetch: async (offset, limit, signal) => {
        const answer = await source.fetch(offset, limit, signal);
        answer.items.forEach(({ folder: one }) => {
          if (one) {
            seen.set(one.id, { name: one.name, parent: id });
          }
        });
        return answer;
      },
    }, {
      label: name,
      rowHeight: 60,
      make: ({ folder: one, song }) => one ? folderRow(one)
        : new SongRow(/** @type {Song} */ (song), {
          play: () => playAll(async () => {
            const all = await onlySongs();
            const at = all.findIndex((other) => other.id === song?.id);
            return [...all.slice(at), ...all.slice(0, at)];
          }),
        }),
      empty: () => emptyNote('folders', t('folders.empty')),
    });
    view.append(id ? path : '', head, list);
  });
}
