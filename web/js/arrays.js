// Helpers for lists of any kind.

export const AT_ONCE = 1000; // that the server takes

/**
 * A list in the parts that the server takes at once.
 * @template T
 * @param {T[]} list
 */
export function portionsOf(list) {
  return Array.from({ length: Math.ceil(list.length / AT_ONCE) },
    (_, index) => list.slice(index * AT_ONCE, (index + 1) * AT_ONCE));
}

/**
 * @template T
 * @param {T[]} list
 */
export function shuffled(list) {
  const result = [...list];
  for (let left = result.length; left > 1; --left) {
    const pick = Math.floor(Math.random() * left);
    [result[left - 1], result[pick]] = [result[pick], result[left - 1]];
  }
  return result;
}
