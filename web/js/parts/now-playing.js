// What plays, large: the cover, the controls and what comes next.

import { h } from '../dom.js';
import { iconButton } from '../icons.js';
import { player, playing } from '../playing.js';
import { go } from '../routes.js';
import { t } from '../texts.js';
import { SeekBar, TransportButtons, VolumeBar } from './controls.js';
import { tintBy } from './cover-art.js';
import { showDialog } from './dialog.js';
import { coverButton } from './large-cover.js';
import { placesButton, songMenu, songParts } from './player-bar.js';

/** @type {HTMLDialogElement | null} */
let open = null;

export function openNowPlaying() {
  if (open || !player().current()) {
    return;
  }
  const { art, names, rating, heart, draw: drawSong } = songParts();
  const after = h('p', { class: 'now-after soft', dir: 'auto' });
  const close = /** @returns {void} */ () => dialog.close();
  const list = iconButton('queue', t('nav.queue'), () => go('/queue'));
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
    drawSong(song);
    const next = player().upcoming();
    after.textContent = next ? `${t('player.next')}: ${next.title}` : '';
  };
  const gone = new AbortController();
  for (const name of ['song', 'order']) {
    playing.addEventListener(name, draw, { signal: gone.signal });
  }
  dialog.addEventListener('close', () => {
    gone.abort();
    open = null;
  });
  open = dialog;
  draw();
  showDialog(dialog);
}
