// Passwords, sessions and keys of the account.

/**
 * @param {HTMLElement} place
 * @param {AbortSignal} signal
 */
export function showAccount(place, signal) {
  place.hidden = signal.aborted;
}
