// The page's own icons, drawn as lines on a grid of 24 by 24.

import { h } from './dom.js';

const SVG = 'http://www.w3.org/2000/svg';

const paths = {
  brand: 'M4 6v12M8 9.5v8.5M12 13v5M16 9.5v8.5M20 6v12',
  home: 'M4 11.5 12 4l8 7.5V20h-5.5v-5.5h-5V20H4z',
  albums: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zM12 9.5a2.5 2.5 0 1 0 0 5 2.5 2.5 0 0 0 0-5z',
  artists: 'M12 4a4 4 0 1 0 0 8 4 4 0 0 0 0-8zM4.5 20.5c.6-4 3.6-6 7.5-6s6.9 2 7.5 6',
  genres: 'M4 4h7.5L20.5 13 13 20.5 4 11.5zM8.2 8.2h.01',
  composers: 'M4 20l1-4.5L16.5 4 20 7.5 8.5 19zM13.5 7l3.5 3.5',
  songs: 'M9 18V6l11-2.5V15.5M6.5 15.5a2.5 2.5 0 1 0 0 5 2.5 2.5 0 0 0 0-5zM17.5 13a2.5 2.5 0 1 0 0 5 2.5 2.5 0 0 0 0-5z',
  folders: 'M3.5 6h6l2 2.5h9V19h-17z',
  playlists: 'M4 6h16M4 11h10M4 16h7M16 12.5v7l5-3.5z',
  smart: 'M4 6h16M4 11h9M4 16h6M17 11l1.4 3.1 3.1 1.4-3.1 1.4L17 20l-1.4-3.1-3.1-1.4 3.1-1.4z',
  search: 'M10.5 4a6.5 6.5 0 1 0 0 13 6.5 6.5 0 0 0 0-13zM15.5 15.5 20.5 20.5',
  queue: 'M4 6h16M4 11h16M4 16h9M4 20.5h9M17 15v6M14 18h6',
  servers: 'M4 4.5h16v6H4zM4 13.5h16v6H4zM7.5 7.5h.01M7.5 16.5h.01',
  places: 'M3.5 15.5V5h17v10.5M2 19h9M15 11.5h6v9h-6zM18 17.5h.01',
  settings: 'M4 7h9M17 7h3M15 4.5v5M4 17h3M11 17h9M9 14.5v5',
  more: 'M5.5 12h.01M12 12h.01M18.5 12h.01',
  play: 'M8 5v14l11-7z',
  pause: 'M8.5 5.5v13M15.5 5.5v13',
  stop: 'M7 7h10v10H7z',
  next: 'M6 6v12l9-6zM18 6v12',
  previous: 'M18 6v12l-9-6zM6 6v12',
  shuffle: 'M3.5 7h3c5 0 6 10 11 10H20M3.5 17h3c1.8 0 3-1.3 4-3M13.5 9.5C14.5 8 15.6 7 17.5 7H20M17.5 4.5 20 7l-2.5 2.5M17.5 14.5 20 17l-2.5 2.5',
  repeat: 'M4 11V9.5A3.5 3.5 0 0 1 7.5 6H19M16.5 3.5 19 6l-2.5 2.5M20 13v1.5a3.5 3.5 0 0 1-3.5 3.5H5M7.5 15.5 5 18l2.5 2.5',
  repeatOne: 'M4 11V9.5A3.5 3.5 0 0 1 7.5 6H19M16.5 3.5 19 6l-2.5 2.5M20 13v1.5a3.5 3.5 0 0 1-3.5 3.5H5M7.5 15.5 5 18l2.5 2.5M11 10.5l1.5-1V15',
  volume: 'M4 9.5h3.5L12 5.5v13l-4.5-4H4zM15.5 9a4.2 4.2 0 0 1 0 6M18 6.5a7.8 7.8 0 0 1 0 11',
  muted: 'M4 9.5h3.5L12 5.5v13l-4.5-4H4zM16 9.5l5 5M21 9.5l-5 5',
  star: 'M12 3.8l2.5 5.2 5.7.8-4.1 4 1 5.7L12 16.8l-5.1 2.7 1-5.7-4.1-4 5.7-.8z',
  favourites: 'M12 20C6.5 15.8 3.5 12.6 3.5 9a4.5 4.5 0 0 1 8.5-2 4.5 4.5 0 0 1 8.5 2c0 3.6-3 6.8-8.5 11z',
  lyrics: 'M4 5h16v11.5h-8.5L7 20v-3.5H4zM8 9h8M8 12.5h5',
  radio: 'M4 9.5h16V20H4zM7 9.5 17.5 4M8.5 12.5a2.2 2.2 0 1 0 0 4.4 2.2 2.2 0 0 0 0-4.4zM14 13.5h3.5M14 16.5h3.5',
  plus: 'M12 5v14M5 12h14',
  close: 'M6 6l12 12M18 6 6 18',
  check: 'M5 12.5l4.5 4.5L19 7',
  back: 'M14.5 5.5 8 12l6.5 6.5',
  forth: 'M9.5 5.5 16 12l-6.5 6.5',
  down: 'M5.5 9 12 15.5 18.5 9',
  grip: 'M9 6h.01M15 6h.01M9 12h.01M15 12h.01M9 18h.01M15 18h.01',
  ascending: 'M7 19V5M3.5 8.5 7 5l3.5 3.5M13 7h7.5M13 12h5.5M13 17h3.5',
  descending: 'M7 5v14M3.5 15.5 7 19l3.5-3.5M13 7h3.5M13 12h5.5M13 17h7.5',
  share: 'M12 15V4M8 7.5 12 3.5l4 4M6 11H4.5v9h15v-9H18',
  download: 'M12 4v11M8 11.5l4 4 4-4M4.5 20h15',
  about: 'M12 3.5a8.5 8.5 0 1 0 0 17 8.5 8.5 0 0 0 0-17zM12 11v5M12 7.8h.01',
  pin: 'M9 4h6l-.7 6 3.2 3.5h-11L9.7 10zM12 13.5V20',
  edit: 'M4 20l1-4.5L16 4.5 19.5 8 8.5 19zM13.5 7l3.5 3.5',
  trash: 'M5 7h14M9.5 7V4.5h5V7M7 7l.8 13h8.4L17 7M10.5 11v5M13.5 11v5',
  clean: 'M5 6h14M5 11h8M5 16h6M15 14l5 5M20 14l-5 5',
  up: 'M12 19V6M6.5 11 12 5.5 17.5 11',
  lower: 'M12 5v13M6.5 13 12 18.5 17.5 13',
  logout: 'M10 4.5H5v15h5M10 12h10M16 8l4 4-4 4',
  again: 'M19.5 12a7.5 7.5 0 1 1-2.2-5.3L19.5 9M19.5 4.5V9H15',
};

/** @typedef {keyof typeof paths} IconName */

const filled = new Set(['play', 'stop', 'star', 'next', 'previous']);
const dots = new Set(['more', 'grip', 'pause']);

/**
 * @param {IconName} name
 * @returns {SVGSVGElement}
 */
export function icon(name) {
  const svg = document.createElementNS(SVG, 'svg');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('aria-hidden', 'true');
  const look = filled.has(name) ? ' filled' : dots.has(name) ? ' is-dots' : '';
  svg.setAttribute('class', `icon${look}`);
  const path = document.createElementNS(SVG, 'path');
  path.setAttribute('d', paths[name]);
  svg.append(path);
  return svg;
}

/**
 * A button that shows an icon alone.
 * @param {IconName} name
 * @param {string} label
 * @param {() => unknown} onclick
 * @param {{look?: string} & Record<string, unknown>} more properties, and a class
 */
export function iconButton(name, label, onclick, { look = '', ...more } = {}) {
  return h('button', { class: `icon-button ${look}`, type: 'button', 'aria-label': label,
    title: label, 'data-icon': name, onclick, ...more }, icon(name));
}

/**
 * A button with a text, before which an icon may stand.
 * @param {string} text
 * @param {() => unknown} onclick
 * @param {{icon?: IconName, look?: string} & Record<string, unknown>} more properties, and a class
 */
export function button(text, onclick, { icon: picture, look = '', ...more } = {}) {
  return h('button', { class: `button ${look}`, type: 'button', onclick, ...more },
    picture && icon(picture), text);
}

/**
 * Sets the label of a button that shows an icon alone.
 * @param {HTMLElement} one
 * @param {string} label
 */
export function setLabel(one, label) {
  one.setAttribute('aria-label', label);
  one.title = label;
}

/**
 * Gives a button another icon.
 * @param {Element} one
 * @param {IconName} name
 */
export function setIcon(one, name) {
  if (one.getAttribute('data-icon') !== name) {
    one.setAttribute('data-icon', name);
    one.querySelector('svg.icon')?.remove();
    one.prepend(icon(name));
  }
}
