// Folders of music as they lie on the server.

import { choiceOfPin, choiceOfZip, choicesForSongs, playAll } from '../actions.js';
import { h, refill } from '../dom.js';
import { button, icon, iconButton, setLabel } from '../icons.js';
import { folder, library } from '../library.js';
import { LongList } from '../list.js';
import { emptyNote } from '../parts/cards.js';
import { openMenu } from '../parts/menu.js';
import { page, pageHead } from '../parts/page-view.js';
import { wayRow } from '../parts/rows.js';
import { SongRow } from '../parts/song-row.js';
import { folderPath, setTitle } from '../routes.js';
import { t } from '../texts.js';

/** @typedef {import('../types.js').Folder} Folder */
/** @typedef {import('../types.js').Song} Song */

/** @param {import('../types.js').Place} place */
export function view({ id }) {
  const title = t('nav.folders');
  let name = title;
  return page('folder', id ? '' : title, (view) => {
    const trail = h('nav', { class: 'trail', 'aria-label': title, hidden: !id },
      h('a', { href: '/folders' }, title));
    const play = button(t('do.play'), () => playAll(onlySongs), { icon: 'play', hidden: true });
    const source = folder(id, (steps, hasSongs) => {
      play.hidden = !hasSongs;
      if (steps.length > 0) {
        name = steps[steps.length - 1].name;
        setTitle(name);
        heading.textContent = name;
        setLabel(menu, t('do.more', { name }));
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
      choiceOfZip({ id, library: library() }), choiceOfPin('folder', name, { folder: id }),
    ]), { 'aria-haspopup': 'menu' });
    const { head, heading } = pageHead(id ? '\u00a0' : title, ...(id ? [menu, play] : []));
    /** @type {LongList<{folder?: Folder, song?: Song}>} */
    const list = new LongList();
    list.classList.add('song-list');
    list.show(source, {
      label: title,
      rowHeight: 60,
      make: ({ folder: one, song }) => one ? wayRow('folders', folderPath(one.id), one.name)
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
