// Who is logged in, and what this person may do.

import { call, change } from './api.js';
import { choice, choose } from './choices.js';

/**
 * @typedef {object} Person
 * @property {{uid: number, name: string, permissions: string[]}} user
 * @property {{kinds: string[], default: string}} library
 * @property {string} version
 */

/** Tells `learned` when the server has said who is logged in, and what this person may do. */
export const rights = new EventTarget();

/** @type {Person | null} */
let known = null;

export function person() {
  return known;
}

/** @param {string} right */
export function may(right) {
  return known?.user.permissions.includes(right) ?? false;
}

/** @param {AbortSignal} [signal] */
export async function learnPerson(signal) {
  const learned = await call('Info', 'get', {}, { signal });
  const isSame = known !== null && known.user.uid === learned.user.uid;
  known = learned;
  if (choice('library') && !learned.library.kinds.includes(choice('library'))) {
    choose('library', '');
  }
  rights.dispatchEvent(new Event('learned'));
  return isSame;
}

/**
 * @param {string} name
 * @param {string} password
 */
export async function logIn(name, password) {
  await change('Auth', 'login', { name, password });
}

export async function logOut() {
  await change('Auth', 'logout');
}
