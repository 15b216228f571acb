// Where a key leads to in a list or a grid.

/**
 * @param {KeyboardEvent} event
 * @param {HTMLElement} list
 * @param {{at: number, total: number, columns: number, rowHeight: number}} where
 * @returns {number} -1: the key does not move, or is for something inside an item
 */
export function placeFor(event, list, { at, total, columns, rowHeight }) {
  const { key, target, altKey, ctrlKey, metaKey, shiftKey, defaultPrevented } = event;
  const isOfItem = target !== list && !(/** @type {Element} */ (target).hasAttribute('data-focus'));
  if (isOfItem || altKey || ctrlKey || metaKey || shiftKey || defaultPrevented) {
    return -1;
  }
  const right = getComputedStyle(list).direction === 'rtl' ? -1 : 1;
  const page = Math.max(1, Math.floor(innerHeight / rowHeight) - 2) * columns;
  /** @type {Record<string, number>} */
  const steps = {
    ArrowDown: columns, ArrowUp: -columns, PageDown: page, PageUp: -page, Home: -total, End: total,
    ...(columns > 1 ? { ArrowRight: right, ArrowLeft: -right } : {}),
  };
  const step = steps[key];
  if (step === undefined || total === 0) {
    return -1;
  }
  const isLine = Math.abs(step) === columns && columns > 1;
  const isOutside = at + step < 0 || at + step >= total;
  return isLine && isOutside ? -1 : Math.max(0, Math.min(total - 1, at + step));
}
