// Makes elements. Data enters as text and properties only, never as markup.

/** @typedef {Node | string | number | null | undefined | false} Child */

/**
 * @param {Element} element
 * @param {Record<string, unknown>} props
 */
function setProps(element, props) {
  for (const [name, value] of Object.entries(props)) {
    const isAttribute = name.includes('-') || !(name in element) || name === 'role';
    if (value === null || value === undefined || (value === false && isAttribute)) {
      continue;
    }
    if (name === 'class') {
      element.setAttribute('class', String(value));
    } else if (name.startsWith('on')) {
      element.addEventListener(name.slice(2), /** @type {EventListener} */ (value));
    } else if (name === 'vars') {
      setVars(/** @type {HTMLElement} */ (element), /** @type {Record<string, string>} */ (value));
    } else if (isAttribute) {
      element.setAttribute(name, value === true ? '' : String(value));
    } else {
      /** @type {Record<string, unknown>} */ (/** @type {unknown} */ (element))[name] = value;
    }
  }
}

/**
 * An element with properties, attributes, listeners (`onclick`) and children.
 * @template {keyof HTMLElementTagNameMap} K
 * @param {K} tag
 * @param {Record<string, unknown>} [props]
 * @param {...(Child | Child[])} children
 * @returns {HTMLElementTagNameMap[K]}
 */
export function h(tag, props = {}, ...children) {
  const element = document.createElement(tag);
  setProps(element, props);
  fill(element, ...children);
  return element;
}

/**
 * Puts children at the end of an element.
 * @param {Element} element
 * @param {...(Child | Child[])} children
 */
function fill(element, ...children) {
  for (const child of children.flat()) {
    if (child !== null && child !== undefined && child !== false) {
      element.append(typeof child === 'number' ? String(child) : child);
    }
  }
}

/**
 * Gives an element these children in place of those that it has.
 * @param {Element} element
 * @param {...(Child | Child[])} children
 */
export function refill(element, ...children) {
  element.replaceChildren();
  fill(element, ...children);
}

/**
 * Custom properties and styles, which the content security policy permits from scripts.
 * @param {HTMLElement} element
 * @param {Record<string, string>} vars
 */
export function setVars(element, vars) {
  for (const [name, value] of Object.entries(vars)) {
    element.style.setProperty(name, value);
  }
}

/** A custom element whose listeners end when it leaves the document. */
export class Part extends HTMLElement {
  #stop = new AbortController();

  /** Ends when the element leaves the document. */
  get signal() {
    return this.#stop.signal;
  }

  connectedCallback() {
    this.#stop = new AbortController();
    this.start();
  }

  disconnectedCallback() {
    this.#stop.abort();
    this.end();
  }

  /** Fills the element; called each time that it enters a document. */
  start() {}

  end() {}

  /**
   * @param {EventTarget} target
   * @param {string} name
   * @param {(event: any) => void} handle
   */
  listen(target, name, handle) {
    target.addEventListener(name, handle, { signal: this.#stop.signal });
  }
}

/** True on a screen as narrow as the style sheets take for a phone's. */
export function isPhone() {
  return matchMedia('(max-width: 720px)').matches;
}

/**
 * Calls once after calls have paused.
 * @template {unknown[]} A
 * @param {number} pause milliseconds
 * @param {(...given: A) => void} run
 */
export function afterPause(pause, run) {
  /** @type {number | undefined} */
  let timer;
  return (/** @type {A} */ ...given) => {
    clearTimeout(timer);
    timer = setTimeout(() => run(...given), pause);
  };
}

/**
 * A hue for a name, the same each time.
 * @param {string} name
 */
export function hueOf(name) {
  let hash = 7;
  for (const letter of name) {
    hash = (hash * 31 + (letter.codePointAt(0) ?? 0)) % 3600;
  }
  return hash % 360;
}

/**
 * The letters that stand for a name without a picture.
 * @param {string} name
 */
export function initialsOf(name) {
  const words = name.match(/[\p{L}\p{N}][\p{L}\p{N}\p{M}'’]*/gu) ?? [];
  const [first, second] = [words[0], words.length > 1 ? words[words.length - 1] : ''];
  return [first, second].map((word) => (word ? Array.from(word)[0].toUpperCase() : '')).join('');
}
