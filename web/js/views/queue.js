// The queue of what plays, in its order.

import { saveQueue } from '../actions.js';
import { refill } from '../dom.js';
import { button } from '../icons.js';
import { emptyNote } from '../parts/cards.js';
import { page, pageHead } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { player, playing } from '../playing.js';
import { showAgain } from '../routes.js';
import { joined, length, t } from '../texts.js';

export function view() {
  return page('queue', t('nav.queue'), (view) => {
    const { name, can, move, remove, clear, source, count, seconds } = player();
    const save = button(t('queue.save'), saveQueue, { icon: 'plus' });
    const empty = button(t('do.clear'), clear, { icon: 'trash' });
    const head = pageHead(t('nav.queue'), name === 'here' && save, can('clear') && empty);
    const list = songList(source(), {
      label: t('nav.queue'),
      withAlbum: true,
      play: (index) => player().playAt(index),
      isCurrent: (index) => index === player().position(),
      onMove: move,
      onRemove: can('remove') ? remove : undefined,
      empty: () => emptyNote('queue', t('queue.empty'), t('queue.empty.hint')),
    });
    const draw = () => {
      const songs = count();
      head.count.textContent = songs === 0 ? ''
        : joined([t('songs.count', { count: songs }), seconds() > 0 ? length(seconds()) : '']);
      save.hidden = empty.hidden = songs === 0;
    };
    refill(view, head.head, list);
    view.listen(playing, 'order', () => {
      draw();
      list.reload();
    });
    view.listen(playing, 'places', () => player().name !== name && showAgain());
    draw();
  });
}
