// A cover as large as the screen lets it be, on a click.

import { h } from '../dom.js';
import { iconButton } from '../icons.js';
import { t } from '../texts.js';
import { showDialog } from './dialog.js';

/**
 * @param {string} address of the cover, without a size
 * @param {string} name
 */
function openLarge(address, name) {
  const close = /** @returns {void} */ () => dialog.close();
  const picture = h('img', { alt: name, draggable: false });
  picture.src = `${address}&size=original`;
  const dialog = h('dialog', { class: 'large-cover', 'aria-label': name, onclick: close },
    picture, iconButton('close', t('do.close'), close));
  showDialog(dialog);
}

/**
 * A button of a cover. It can be pressed when there is a picture.
 * @param {import('./cover-art.js').CoverArt} art
 */
export function coverButton(art) {
  const button = h('button', { class: 'cover-button', type: 'button', disabled: true,
    'aria-label': t('do.enlarge'), title: t('do.enlarge'),
    onclick: () => openLarge(art.address, art.name) }, art);
  art.addEventListener('picture', () => {
    button.disabled = false;
  });
  art.addEventListener('changed', () => {
    button.disabled = true;
  });
  return button;
}
