// The controls of the player, which the bar and the large view share.

import { choice, choices, choose } from '../choices.js';
import { h, Part, setVars } from '../dom.js';
import { iconButton, setIcon } from '../icons.js';
import {
  duration, isPlaying, isWaiting, next, player, previous, seek, setVolume, time, toggle,
} from '../player.js';
import { queue, toggleShuffle } from '../queue.js';
import { clock, t } from '../texts.js';

export function toggleRepeat() {
  const after = /** @type {const} */ ({ off: 'all', all: 'one', one: 'off' });
  choose('repeat', after[choice('repeat')]);
}

export class TransportButtons extends Part {
  start() {
    const shuffle = iconButton('shuffle', t('player.shuffle'), toggleShuffle, { look: 'is-mode' });
    const repeat = h('button', { class: 'icon-button is-mode', onclick: toggleRepeat });
    const play = h('button', { class: 'icon-button is-play', onclick: toggle });
    this.replaceChildren(shuffle, iconButton('previous', t('player.previous'), previous),
      play, iconButton('next', t('player.next'), next), repeat);

    const drawModes = () => {
      shuffle.setAttribute('aria-pressed', String(choice('shuffle')));
      const mode = choice('repeat');
      setIcon(repeat, mode === 'one' ? 'repeatOne' : 'repeat');
      repeat.setAttribute('aria-label', t(`player.repeat.${mode}`));
      repeat.title = t(`player.repeat.${mode}`);
      repeat.classList.toggle('is-on', mode !== 'off');
    };
    const drawPlay = () => {
      setIcon(play, isPlaying() ? 'pause' : 'play');
      play.setAttribute('aria-label', t(isPlaying() ? 'do.pause' : 'do.play'));
      play.classList.toggle('is-waiting', isWaiting());
    };
    this.listen(choices, 'shuffle', drawModes);
    this.listen(choices, 'repeat', drawModes);
    this.listen(player, 'state', drawPlay);
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
        seek(Number(range.value));
      },
    });
    this.replaceChildren(now, range, end);

    const draw = () => {
      const length = duration();
      const at = this.#dragged ? Number(range.value) : time();
      range.max = String(Math.max(1, Math.round(length)));
      if (!this.#dragged) {
        range.value = String(Math.round(at));
      }
      setVars(range, { '--done': `${length > 0 ? Math.min(100, (at / length) * 100) : 0}%` });
      const [text, whole] = [clock(at), clock(length)];
      if (now.textContent !== text || end.textContent !== whole) {
        now.textContent = text;
        end.textContent = whole;
        range.setAttribute('aria-valuetext', t('player.seek.value', { time: text, length: whole }));
      }
    };
    this.listen(player, 'time', draw);
    this.listen(player, 'song', draw);
    this.listen(queue, 'current', draw);
    draw();
  }
}

export class VolumeBar extends Part {
  start() {
    const mute = h('button', { class: 'icon-button',
      onclick: () => choose('muted', !choice('muted')) });
    const range = h('input', {
      type: 'range', class: 'range', min: '0', max: '100', step: '2',
      'aria-label': t('player.volume'), oninput: () => setVolume(Number(range.value) / 100),
    });
    this.replaceChildren(mute, range);
    const draw = () => {
      const value = choice('muted') ? 0 : Math.round(choice('volume') * 100);
      range.value = String(value);
      range.setAttribute('aria-valuetext', `${value} %`);
      setVars(range, { '--done': `${value}%` });
      setIcon(mute, value === 0 ? 'muted' : 'volume');
      const label = t(choice('muted') ? 'player.unmute' : 'player.mute');
      mute.setAttribute('aria-label', label);
      mute.title = label;
    };
    this.listen(choices, 'volume', draw);
    this.listen(choices, 'muted', draw);
    draw();
  }
}

customElements.define('transport-buttons', TransportButtons);
customElements.define('seek-bar', SeekBar);
customElements.define('volume-bar', VolumeBar);
