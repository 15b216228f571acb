// Folders of music as they lie on the server.

import { choiceOfZip, choicesForSongs, pin, playAll } from '../actions.js';
import { h, refill } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { folder, library } from '../library.js';
import { LongList } from '../list.js';
import { emptyNote } from '../parts/cards.js';
import { openMenu } from '../parts/menu.js';
import { page, pageHead } from '../parts/page-view.js';
import { SongRow } from '../parts/song-row.js';
import { folderPath, setTitle } from '../routes.js';
import { t } from '../texts.js';

/** @typedef {import('../types.js').Folder} Folder */
/** @typedef {import('../types.js').Song} Song */

/** @param {Folder} found */
function folderRow(found) {
  return h('div', { class: 'folder-row' }, h('a', {
    href: folderPath(found.id), 'data-focus': '', dir: 'auto',
  }, icon('folders'), h('span', {}, found.name), icon('forth')));
}

/** @param {import('../types.js').Place} place */
export function view({ id }) {
  const title = t('nav.folders');
  let name = title;
  return page('folder', id ? '' : title, (view) => {
    const trail = h('nav', { class: 'trail', 'aria-label': title, hidden: !id },
      h('a', { href: '/folders' }, title));
    const play = h('button', { class: 'button', hidden: true, onclick: () => playAll(onlySongs) },
      icon('play'), t('do.play'));
    const source = folder(id, (steps, hasSongs) => {
      play.hidden = !hasSongs;
      if (steps.length > 0) {
        name = steps[steps.length - 1].name;
        setTitle(name);
        heading.textContent = name;
        menu.setAttribute('aria-label', t('do.more', { name }));
        refill(trail, h('a', { href: '/folders' }, title), steps.slice(0, -1).flatMap((step) =>
          [icon('forth'), h('a', { href: folderPath(step.id), dir: 'auto' }, step.name)]));
      }
    });
    const onlySongs = async () => {
      const { items } = await source.fetch(0, 5000);
      return items.flatMap(({ song }) => (song ? [song] : []));
    };
    const menu = iconButton('more', t('do.more', { name }), () => openMenu(menu, name, [
      ...(play.hidden ? [] : choicesForSongs(menu, onlySongs)),
      choiceOfZip({ id, library: library() }),
      { text: t('do.pin'), icon: 'pin', parted: true,
        run: () => pin('folder', name, { folder: id }) },
    ]), { 'aria-haspopup': 'menu' });
    const { head, heading } = pageHead(id ? '\u00a0' : title, ...(id ? [menu, play] : []));
    /** @type {LongList<{folder?: Folder, song?: Song}>} */
    const list = new LongList();
    list.classList.add('song-list');
    list.show(source, {
      label: title,
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
    view.append(trail, head, list);
  });
}
