// The pins of the start page, whose order is changed by dragging, keys and menus.

import { h, refill } from '../dom.js';
import { changePins } from '../library.js';
import { t } from '../texts.js';
import { shelf } from './cards.js';
import { enableDrag } from './drag.js';
import { menuButton, openMenu } from './menu.js';
import { pinCard } from './pin-card.js';
import { attempt } from './toast.js';

/** @typedef {import('../types.js').Pin} Pin */

/** The place of the pin that gets the focus when the pins come back; -1: none does. */
let focused = -1;

/**
 * @param {Pin[]} pins
 * @param {number} from
 * @param {number} to
 */
function move(pins, from, to) {
  const ids = pins.map(({ id }) => id);
  ids.splice(to, 0, ...ids.splice(from, 1));
  focused = to;
  return attempt(() => changePins('reorder', { ids }));
}

/**
 * @param {Pin[]} pins
 * @param {number} index
 */
function cardOf(pins, index) {
  const pin = pins[index];
  const one = pinCard(pin);
  /** @returns {(import('./menu.js').Choice | false)[]} */
  const choices = () => [
    index > 0 && { text: t('do.earlier'), icon: 'up', run: () => move(pins, index, index - 1) },
    index < pins.length - 1 &&
      { text: t('do.later'), icon: 'lower', run: () => move(pins, index, index + 1) },
    { text: t('do.unpin'), icon: 'close', parted: true,
      run: () => attempt(() => changePins('unpin', { id: pin.id })) },
  ];
  one.classList.add('is-pin');
  one.append(menuButton(pin.name, choices, { look: 'card-menu' }));
  one.addEventListener('contextmenu', (event) => {
    event.preventDefault();
    openMenu({ x: event.clientX, y: event.clientY }, pin.name, choices());
  });
  return one;
}

/**
 * @param {HTMLElement} place
 * @param {Pin[]} pins
 * @param {AbortSignal} signal
 */
export function showPinsIn(place, pins, signal) {
  const cards = pins.map((_, index) => cardOf(pins, index));
  const row = h('div', {}, shelf(t('home.pins'), cards));
  refill(place, row);
  enableDrag({
    list: row, signal, item: '.card', isAcross: true,
    indexOf: (element) => cards.findIndex((one) => one.contains(element)),
    label: (index) => pins[index].name,
    onMove: (from, before) => move(pins, from, before > from ? before - 1 : before),
  });
  row.addEventListener('keydown', (event) => {
    const right = getComputedStyle(row).direction === 'rtl' ? -1 : 1;
    const step = { ArrowLeft: -right, ArrowRight: right }[event.key];
    const from = cards.findIndex((one) => one.contains(/** @type {Node} */ (event.target)));
    const to = from + (step ?? 0);
    if (event.altKey && step && from >= 0) {
      event.preventDefault(); // the browser would go back
      if (to >= 0 && to < pins.length) {
        move(pins, from, to);
      }
    }
  });
  /** @type {HTMLElement | null | undefined} */ (cards[focused]?.querySelector('a'))?.focus();
  focused = -1;
}
