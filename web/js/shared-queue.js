// The queue as the server keeps it, so that another device goes on with it.

import { call, change, Refusal } from './api.js';
import { readStored, writeStored } from './choices.js';
import { h } from './dom.js';
import { ADDITIONAL, songOf } from './library.js';
import { openForm } from './parts/dialog.js';
import { person } from './person.js';
import { isPlaying, pause, player, seek, time } from './player.js';
import { current, position, queue, queued, setQueue } from './queue.js';
import { t } from './texts.js';

const PAUSE = 2000; // milliseconds after a change
const KEY = 'tonvale.queue.seen';

let isNew = false; // songs or their order are not kept yet
let isRestoring = false;
let isAsking = false;
let timer = 0;

/** `changed` of the queue that this browser has read or written last. */
function seen() {
  const kept = /** @type {any} */ (readStored(KEY));
  return kept?.uid === person()?.user.uid ? Number(kept?.changed) || 0 : 0;
}

/** @param {number} changed */
function keepSeen(changed) {
  writeStored(KEY, { uid: person()?.user.uid, changed });
}

/** The songs that the server can keep: streams are none of its library. */
function kept() {
  return queued().map(({ song }, index) => ({ song, index }))
    .filter(({ song }) => !song.isStream && /^music_[pv_]*\d+$/.test(song.id));
}

/**
 * The songs with these identifiers, as far as they are there.
 * @param {string[]} ids
 */
async function songsById(ids) {
  /** @type {Map<string, import('./types.js').Song>} */
  const found = new Map();
  for (let at = 0; at < ids.length; at += 1000) {
    const asked = { id: ids.slice(at, at + 1000), additional: ADDITIONAL };
    for (const one of (await call('Song', 'get', asked)).songs.map(songOf)) {
      found.set(one.id.replace(/^music_p_/, 'music_'), one);
    }
  }
  return ids.flatMap((id) => found.get(id) ?? []);
}

/** @param {{overwrites?: boolean}} how */
async function save({ overwrites = false } = {}) {
  const songs = kept();
  const at = songs.findIndex(({ index }) => index >= position());
  const isHere = at >= 0 && songs[at].index === position();
  const place = {
    current: Math.max(at, 0), position: isHere ? Math.round(time() * 1000) : 0, client: 'page',
    seen: overwrites ? undefined : seen(),
  };
  const wasNew = isNew;
  isNew = false;
  try {
    const { changed } = wasNew || overwrites
      ? await change('Queue', 'set', { ...place, songs: songs.map(({ song }) => song.id).join() })
      : await change('Queue', 'move', { ...place, song: current()?.id });
    keepSeen(changed);
  } catch (error) {
    isNew = true; // it is tried again with the next change
    if (error instanceof Refusal && error.code === 409) {
      ask();
    }
  }
}

// Another device has kept a queue since: the person says which one it is to be.
async function ask() {
  if (isAsking) {
    return;
  }
  isAsking = true;
  const dialog = openForm({
    title: t('queue.other'), send: t('queue.takeOther'),
    fields: [h('p', {}, t('queue.other.hint')), h('button', {
      class: 'button', type: 'button', onclick: async () => {
        dialog.close();
        await save({ overwrites: true });
      },
    }, t('queue.keepThis'))],
    onSend: restore,
  });
  dialog.addEventListener('close', () => {
    isAsking = false;
  });
}

async function restore() {
  const found = await call('Queue', 'get');
  const songs = await songsById(found.songs);
  isRestoring = true;
  if (isPlaying()) {
    pause();
  }
  if (songs.length > 0) {
    const id = found.songs[found.current];
    const at = songs.findIndex((song, index) => song.id === id && index >= found.current) + 1 ||
      songs.findIndex((song) => song.id === id) + 1;
    setQueue(songs, Math.max(at - 1, 0), false);
    seek(at > 0 ? found.position / 1000 : 0);
  }
  keepSeen(found.changed);
  isNew = false;
  isRestoring = false;
}

/** @param {boolean} order whether songs or their order changed */
function soon(order) {
  if (!isRestoring && !isAsking && person()) {
    isNew ||= order;
    clearTimeout(timer);
    timer = setTimeout(save, PAUSE);
  }
}

/** To be called when it is known who is logged in. */
export async function startSharedQueue() {
  queue.addEventListener('order', () => soon(true));
  queue.addEventListener('current', () => soon(false));
  player.addEventListener('state', () => !isPlaying() && current() && soon(false));
  if (queued().length === 0) {
    await restore().catch(() => {});
  }
}
