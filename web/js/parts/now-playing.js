// What plays, large: the cover, the controls and what comes next.

import { h, refill } from '../dom.js';
import { iconButton } from '../icons.js';
import { player, playing } from '../playing.js';
import { go } from '../routes.js';
import { t } from '../texts.js';
import { SeekBar, TransportButtons, VolumeBar } from './controls.js';
import { CoverArt, tintBy } from './cover-art.js';
import { HeartButton } from './heart.js';
import { coverButton } from './large-cover.js';
import { placesButton, showCoverOf, songMenu, songNames } from './player-bar.js';
import { StarRating } from './star-rating.js';

/** @type {HTMLDialogElement | null} */
let open = null;

export function openNowPlaying() {
  if (open || !player().current()) {
    return;
  }
  const art = new CoverArt();
  const names = h('div', { class: 'now-names' });
  const after = h('p', { class: 'now-after soft', dir: 'auto' });
  const rating = new StarRating();
  const heart = new HeartButton();
  const close = /** @returns {void} */ () => dialog.close();
  const list = iconButton('queue', t('nav.queue'), () => {
    close();
    go('/queue');
  });
  const lyrics = iconButton('lyrics', t('lyrics.title'), async () => {
    const { LyricsView } = await import('./lyrics.js');
    const isOn = dialog.classList.toggle('with-lyrics');
    lyrics.setAttribute('aria-pressed', String(isOn));
    picture.querySelector('lyrics-view')?.remove();
    isOn && picture.append(new LyricsView());
  }, { 'aria-pressed': 'false' });
  const picture = h('div', { class: 'now-picture' }, coverButton(art));
  const dialog = h('dialog', { class: 'now', 'aria-label': t('player.open') },
    h('header', {}, iconButton('down', t('do.close'), close),
      h('span', { class: 'soft' }, t('player.open')), songMenu()),
    picture,
    h('div', { class: 'now-panel' },
      h('div', { class: 'now-line' }, names, rating, heart), new SeekBar(), new TransportButtons(),
      h('div', { class: 'now-line' }, new VolumeBar(), placesButton(), lyrics, list),
      after));
  tintBy(dialog, art);
  const draw = () => {
    const song = player().current();
    if (!song) {
      close();
      return;
    }
    showCoverOf(art, song);
    refill(names, songNames(song));
    rating.show(song);
    heart.show({ song });
    const next = player().upcoming();
    after.textContent = next ? `${t('player.next')}: ${next.title}` : '';
  };
  const gone = new AbortController();
  for (const name of ['song', 'order']) {
    playing.addEventListener(name, draw, { signal: gone.signal });
  }
  dialog.addEventListener('click', (event) => {
    if (/** @type {Element} */ (event.target).closest('a')) {
      close();
    }
  });
  dialog.addEventListener('close', () => {
    gone.abort();
    dialog.remove();
    open = null;
  });
  open = dialog;
  document.body.append(dialog);
  draw();
  dialog.showModal();
}
