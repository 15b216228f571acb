// A heart: makes something a favourite, and shows whether it is one.

import { Part } from '../dom.js';
import { canBeFavourite, favourites, isFavourite, toggleFavourite } from '../favourites.js';
import { iconButton } from '../icons.js';
import { t } from '../texts.js';
import { attempt, toast } from './toast.js';

/** @typedef {import('../favourites.js').Thing} Thing */

export class HeartButton extends Part {
  /** @type {Thing} */
  #thing = {};
  #button = iconButton('favourites', t('do.favourite'), () => toggleHeart(this.#thing));

  /** @param {Thing} thing */
  show(thing) {
    this.#thing = thing;
    this.#draw();
    return this;
  }

  start() {
    this.append(this.#button);
    this.listen(favourites, 'changed', () => this.#draw());
    this.#draw();
  }

  #draw() {
    const isOne = isFavourite(this.#thing);
    this.#button.disabled = !canBeFavourite(this.#thing);
    this.#button.setAttribute('aria-pressed', String(isOne));
    this.#button.classList.toggle('is-loved', isOne);
  }
}

customElements.define('heart-button', HeartButton);

/** @param {Thing} thing */
export async function toggleHeart(thing) {
  if (canBeFavourite(thing)) {
    await attempt(async () => {
      await toggleFavourite(thing);
      toast(t(isFavourite(thing) ? 'done.favourite' : 'done.noFavourite'));
    });
  }
}
