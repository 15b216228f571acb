// Where a key leads to in a list or a grid.

/**
 * @param {string} key
 * @param {{at: number, total: number, columns: number, page: number, isRtl: boolean}} where
 *   page: how many items a page down leads on
 * @returns {number} -1: the key does not move
 */
export function placeFor(key, { at, total, columns, page, isRtl }) {
  const right = isRtl ? -1 : 1;
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
