// The controls of the player, which the bar and the large view share.

import { h, Part, setVars } from '../dom.js';
import { iconButton, setIcon, setLabel } from '../icons.js';
import { player, playing } from '../playing.js';
import { clock, t } from '../texts.js';

export class TransportButtons extends Part {
  start() {
    const shuffle = iconButton('shuffle', t('player.shuffle'),
      () => player().toggleShuffle(), { look: 'is-mode' });
    const repeat = iconButton('repeat', '', () => player().toggleRepeat(), { look: 'is-mode' });
    const play = iconButton('play', '', () => player().toggle(), { look: 'is-play' });
    const previous = iconButton('previous', t('player.previous'), () => player().previous());
    const next = iconButton('next', t('player.next'), () => player().next());
    const stop = iconButton('stop', t('player.stop'), () => player().stop());
    this.replaceChildren(shuffle, previous, play, stop, next, repeat);

    const drawModes = () => {
      shuffle.setAttribute('aria-pressed', String(player().isShuffled()));
      const mode = player().repeat();
      setIcon(repeat, mode === 'one' ? 'repeatOne' : 'repeat');
      setLabel(repeat, t(`player.repeat.${mode}`));
      repeat.classList.toggle('is-on', mode !== 'off');
    };
    const drawPlay = () => {
      const { isPlaying, isWaiting, can, name } = player();
      setIcon(play, isPlaying() ? 'pause' : 'play');
      setLabel(play, t(isPlaying() ? 'do.pause' : 'do.play'));
      play.classList.toggle('is-waiting', isWaiting());
      play.disabled = !can('toggle');
      next.disabled = !can('next');
      previous.disabled = !can('previous');
      shuffle.disabled = repeat.disabled = !can('modes');
      stop.hidden = name === 'here';
      stop.disabled = !can('stop');
    };
    this.listen(playing, 'modes', drawModes);
    this.listen(playing, 'state', drawPlay);
    drawModes();
    drawPlay();
  }
}

export class SeekBar extends Part {
  #dragged = false;

  start() {
    const now = h('span', { class: 'seek-time' });
    const end = h('span', { class: 'seek-time' });
    const range = h('input', {
      type: 'range', class: 'range', min: '0', step: '1', 'aria-label': t('player.seek'),
      oninput: () => {
        this.#dragged = true;
        draw();
      },
      onchange: () => {
        this.#dragged = false;
        player().seek(Number(range.value));
      },
    });
    this.replaceChildren(now, range, end);

    const draw = () => {
      const length = player().duration();
      const at = this.#dragged ? Number(range.value) : player().time();
      range.disabled = !player().can('seek');
      this.classList.toggle('is-endless', length === 0);
      range.max = String(Math.max(1, Math.round(length)));
      if (!this.#dragged) {
        range.value = String(Math.round(at));
      }
      setVars(range, { '--done': `${length > 0 ? Math.min(100, (at / length) * 100) : 0}%` });
      const [text, whole] = [clock(at), length > 0 ? clock(length) : ''];
      if (now.textContent !== text || end.textContent !== whole) {
        now.textContent = text;
        end.textContent = whole;
        range.setAttribute('aria-valuetext', t('player.seek.value', { time: text, length: whole }));
      }
    };
    this.listen(playing, 'time', draw);
    this.listen(playing, 'song', draw);
    draw();
  }
}

export class VolumeBar extends Part {
  start() {
    const mute = iconButton('volume', '', () => player().toggleMuted());
    const range = h('input', {
      type: 'range', class: 'range', min: '0', max: '100', step: '2',
      'aria-label': t('player.volume'),
      oninput: () => player().setVolume(Number(range.value) / 100),
    });
    this.replaceChildren(mute, range);
    const draw = () => {
      const value = Math.round(player().volume() * 100);
      range.disabled = mute.disabled = !player().can('volume');
      range.value = String(value);
      range.setAttribute('aria-valuetext', t('unit.percent', { value }));
      setVars(range, { '--done': `${value}%` });
      setIcon(mute, value === 0 ? 'muted' : 'volume');
      setLabel(mute, t(player().isMuted() ? 'player.unmute' : 'player.mute'));
    };
    this.listen(playing, 'volume', draw);
    this.listen(playing, 'state', draw);
    draw();
  }
}

customElements.define('transport-buttons', TransportButtons);
customElements.define('seek-bar', SeekBar);
customElements.define('volume-bar', VolumeBar);
