// Menus: beside what opened them on a desk, a sheet from below on a phone.

import { h, isPhone, setVars } from '../dom.js';
import { icon, iconButton } from '../icons.js';
import { t } from '../texts.js';

/**
 * @typedef {object} Choice
 * @property {string} text
 * @property {import('../icons.js').IconName} [icon]
 * @property {() => void} [run]
 * @property {boolean} [checked]
 * @property {'radio' | 'checkbox'} [role] of what is checked or not
 * @property {boolean} [parted] a line above it
 * @property {boolean} [isName] the text is what somebody called something
 */

/** @type {HTMLElement | null} */
let open = null;

function closeMenu() {
  open?.remove();
  open = null;
}

/**
 * @param {HTMLElement} menu
 * @param {KeyboardEvent} event
 * @param {() => void} leave
 */
function onKey(menu, event, leave) {
  const items = /** @type {HTMLElement[]} */ ([...menu.querySelectorAll('button')]);
  const at = items.indexOf(/** @type {HTMLElement} */ (document.activeElement));
  /** @type {Record<string, number>} */
  const places = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: -1 };
  if (event.key in places) {
    event.preventDefault();
    items[(places[event.key] + items.length) % items.length].focus();
  } else if (event.key === 'Tab' || event.key === 'Escape') {
    event.preventDefault();
    leave();
  }
  event.stopPropagation();
}

/**
 * @param {HTMLElement} menu
 * @param {{x: number, y: number, width: number, height: number}} beside
 */
function putBeside(menu, { x, y, width, height }) {
  const box = menu.getBoundingClientRect();
  const left = Math.min(x + width - (width > 0 ? box.width : 0), innerWidth - box.width - 8);
  const below = y + height + 4;
  const top = below + box.height > innerHeight - 8 ? y - box.height - 4 : below;
  setVars(menu, { left: `${Math.max(8, left)}px`, top: `${Math.max(8, top)}px` });
}

/**
 * A button for the menu of something.
 * @param {string} name
 * @param {(button: Element) => (Choice | false)[]} choices
 * @param {{look?: string} & Record<string, unknown>} [more] properties, and a class
 */
export function menuButton(name, choices, more) {
  /** @type {HTMLButtonElement} */
  const button = iconButton('more', t('do.more', { name }),
    () => openMenu(button, name, choices(button)), { 'aria-haspopup': 'menu', ...more });
  return button;
}

/**
 * @param {Element | {x: number, y: number}} beside an element, or a point
 * @param {string} label
 * @param {(Choice | false)[]} choices
 */
export function openMenu(beside, label, choices) {
  closeMenu();
  const before = /** @type {HTMLElement | null} */ (document.activeElement);
  const leave = () => {
    closeMenu();
    before?.focus({ preventScroll: true });
  };
  const menu = h('div', { class: 'menu', role: 'menu', 'aria-label': label, popover: 'auto' },
    h('div', { class: 'menu-title', role: 'presentation', dir: 'auto' }, label));
  for (const given of choices) {
    if (given) {
      const { text, run, checked, role = 'radio', parted, isName } = given;
      const isChecked = checked !== undefined;
      menu.append(h('button', {
        class: parted ? 'menu-item is-parted' : 'menu-item',
        role: isChecked ? `menuitem${role}` : 'menuitem',
        'aria-checked': isChecked ? String(checked) : null,
        tabindex: '-1',
        dir: isName ? 'auto' : null,
        onclick: () => {
          leave();
          run?.();
        },
      }, icon(checked ? 'check' : given.icon ?? 'more'), h('span', {}, text)));
    }
  }
  menu.addEventListener('keydown', (event) => onKey(menu, event, leave));
  menu.addEventListener('toggle', (event) => {
    if (/** @type {any} */ (event).newState === 'closed') {
      menu.remove();
      if (document.activeElement === document.body) {
        before?.focus({ preventScroll: true });
      }
    }
  });
  ([...document.querySelectorAll('dialog[open]')].pop() ?? document.body).append(menu);
  open = menu;
  /** @type {any} */ (menu).showPopover();
  if (!isPhone()) {
    const point = beside instanceof Element
      ? beside.getBoundingClientRect() : { ...beside, width: 0, height: 0 };
    putBeside(menu, point);
  }
  /** @type {HTMLElement | null} */
  const first = menu.querySelector('[aria-checked=true]') ?? menu.querySelector('button');
  first?.focus({ preventScroll: true });
}
