// Dragging of songs and pins, by mouse or finger: within a list, and onto playlists.

import { h, setVars } from '../dom.js';

const THRESHOLD = 6;
const EDGE = 60;

/**
 * @typedef {object} Dragging
 * @property {HTMLElement} list whose rows are dragged
 * @property {(element: Element) => number} indexOf the place of what is dragged; -1: nothing is
 * @property {(index: number) => string} label
 * @property {(from: number, before: number) => void} [onMove] `before`: a row's place now
 * @property {(from: number, playlist: HTMLElement) => void} [onDrop]
 * @property {AbortSignal} signal
 * @property {string} [item] a selector of what is dragged
 * @property {boolean} [isAcross] they stand side by side
 */

/**
 * Fingers drag by the grip alone, so that they can scroll.
 * @param {Dragging} how
 */
export function enableDrag(how) {
  how.list.addEventListener('pointerdown', (event) => {
    const target = /** @type {Element} */ (event.target);
    const mayDrag = event.pointerType === 'mouse' || target.closest('[data-grip]');
    const isControl = target.closest('.row-menu, star-rating, .card-play, .card-menu');
    const from = how.indexOf(target);
    if (from >= 0 && event.button === 0 && mayDrag && !isControl) {
      follow(how, event, from);
    }
  }, { signal: how.signal });
  how.list.addEventListener('dragstart', (event) => event.preventDefault(), { signal: how.signal });
}

/**
 * @param {Dragging} how
 * @param {PointerEvent} first
 * @param {number} from
 */
function follow(how, first, from) {
  const end = new AbortController();
  const chip = h('div', { class: 'drag-chip', 'aria-hidden': 'true' }, how.label(from));
  const line = h('div', { class: 'drag-line' });
  const scroller = how.list.closest('.scroller');
  let isDragging = false;
  /** @type {{to: number} | {playlist: HTMLElement} | null} */
  let place = null;

  const finish = () => {
    end.abort();
    chip.remove();
    line.remove();
    document.body.classList.remove('is-dragging');
    mark(null);
  };
  const onMove = (/** @type {PointerEvent} */ event) => {
    const far = Math.hypot(event.clientX - first.clientX, event.clientY - first.clientY);
    if (!isDragging && far > THRESHOLD) {
      isDragging = true;
      document.body.append(chip);
      document.body.classList.add('is-dragging');
    }
    if (isDragging) {
      event.preventDefault();
      setVars(chip, { transform: `translate(${event.clientX + 12}px, ${event.clientY + 8}px)` });
      place = findPlace(how, event, line);
      mark(place && 'playlist' in place ? place.playlist : null);
      scrollAtEdge(how.isAcross ? how.list.querySelector('.shelf-row') : scroller, event, how);
    }
  };
  const { signal } = end;
  window.addEventListener('pointermove', onMove, { signal });
  window.addEventListener('touchmove', (event) => isDragging && event.preventDefault(),
    { signal, passive: false });
  window.addEventListener('pointercancel', finish, { signal });
  window.addEventListener('keydown', (event) => event.key === 'Escape' && finish(), { signal });
  window.addEventListener('pointerup', () => {
    finish();
    if (isDragging) {
      // The click that follows belongs to the drag.
      const click = new AbortController();
      setTimeout(() => click.abort(), 50);
      window.addEventListener('click', (event) => {
        event.stopPropagation();
        event.preventDefault();
      }, { capture: true, once: true, signal: click.signal });
      drop(how, from, place);
    }
  }, { signal });
}

/**
 * @param {Dragging} how
 * @param {number} from
 * @param {{to: number} | {playlist: HTMLElement} | null} place
 */
function drop(how, from, place) {
  if (place && 'playlist' in place) {
    how.onDrop?.(from, place.playlist);
  } else if (place) {
    if (place.to !== from && place.to !== from + 1) {
      how.onMove?.(from, place.to);
    }
  }
}

/**
 * @param {Dragging} how
 * @param {PointerEvent} event
 * @param {HTMLElement} line
 */
function findPlace(how, event, line) {
  const under = document.elementFromPoint(event.clientX, event.clientY);
  const playlist = /** @type {HTMLElement | null} */ (under?.closest('[data-drop]') ?? null);
  if (playlist && how.onDrop) {
    line.remove();
    return { playlist };
  }
  const row = under?.closest(how.item ?? 'song-row');
  if (!row || !how.onMove || !how.list.contains(row)) {
    line.remove();
    return null;
  }
  const box = row.getBoundingClientRect();
  const isRight = event.clientX > box.left + box.width / 2;
  const isAfter = how.isAcross ? isRight !== (getComputedStyle(row).direction === 'rtl')
    : event.clientY > box.top + box.height / 2;
  const index = how.indexOf(row);
  document.body.append(line);
  setVars(line, how.isAcross
    ? { left: `${isRight ? box.right : box.left}px`, top: `${box.top}px`, width: '2px',
      height: `${box.height}px` }
    : { left: `${box.left}px`, top: `${isAfter ? box.bottom : box.top}px`,
      width: `${box.width}px`, height: '2px' });
  return { to: isAfter ? index + 1 : index };
}

/** @param {HTMLElement | null} target */
function mark(target) {
  document.querySelectorAll('.is-drop').forEach((one) => one.classList.remove('is-drop'));
  target?.classList.add('is-drop');
}

/**
 * @param {Element | null} scroller
 * @param {PointerEvent} event
 * @param {Dragging} how
 */
function scrollAtEdge(scroller, { clientX, clientY }, { isAcross }) {
  if (scroller) {
    const box = scroller.getBoundingClientRect();
    const [at, first, last] =
      isAcross ? [clientX, box.left, box.right] : [clientY, box.top, box.bottom];
    const step = at < first + EDGE ? -14 : at > last - EDGE ? 14 : 0;
    scroller.scrollBy(isAcross ? step : 0, isAcross ? 0 : step);
  }
}
