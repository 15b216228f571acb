// The queue, in the order in which it plays.

import { saveQueue } from '../actions.js';
import { h, refill } from '../dom.js';
import { icon } from '../icons.js';
import { emptyNote } from '../parts/cards.js';
import { page, pageHead } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { playAt } from '../player.js';
import { clearQueue, moveInQueue, position, queue, queued, removeFromQueue } from '../queue.js';
import { joined, length, t } from '../texts.js';

/** @returns {import('../types.js').Source<import('../types.js').Song>} */
function source() {
  return {
    pageSize: 500,
    fetch: async (offset, limit) => {
      const songs = queued();
      return {
        total: songs.length,
        items: songs.slice(offset, offset + limit).map(({ song }) => song),
      };
    },
  };
}

export function view() {
  return page('queue', t('nav.queue'), (view) => {
    const tools = [
      h('button', { class: 'button', onclick: saveQueue }, icon('plus'), t('queue.save')),
      h('button', { class: 'button', onclick: clearQueue }, icon('trash'), t('do.clear')),
    ];
    const { head, count } = pageHead(t('nav.queue'), ...tools);
    const list = songList(source(), {
      label: t('nav.queue'),
      withAlbum: true,
      play: playAt,
      isCurrent: (index) => index === position(),
      onMove: moveInQueue,
      onRemove: removeFromQueue,
      empty: () => emptyNote('queue', t('queue.empty'), t('queue.empty.hint')),
    });
    const draw = () => {
      const songs = queued();
      const seconds = songs.reduce((sum, { song }) => sum + song.duration, 0);
      count.textContent = songs.length === 0 ? ''
        : joined([t('songs.count', { count: songs.length }), length(seconds)]);
      tools.forEach((tool) => tool.toggleAttribute('hidden', songs.length === 0));
    };
    refill(view, head, list);
    view.listen(queue, 'order', () => {
      draw();
      list.reload();
    });
    draw();
  });
}
