// The queue as the server keeps it, so that another device goes on with it.

import { call, change, Refusal } from './api.js';
import { readOfWindow, readStored, writeOfWindow, writeStored } from './choices.js';
import { h } from './dom.js';
import { button } from './icons.js';
import { isOfLibrary, sharedId } from './ids.js';
import { songsById } from './library.js';
import { openForm } from './parts/dialog.js';
import { attempt } from './parts/toast.js';
import { person } from './person.js';
import { isPlaying, pause, player, seek, time } from './player.js';
import { current, position, queue, queued, setQueue } from './queue.js';
import { t } from './texts.js';

const PAUSE = 2000; // milliseconds after a change
const KEY = 'tonvale.queue.seen';
const CLIENT = 'tonvale.client';

// What this browser calls itself when it keeps a queue.
const client = String(readStored(CLIENT) ?? `page ${Math.random().toString(36).slice(2, 10)}`);
writeStored(CLIENT, client);

/** @type {any} what this window knows; another one of this browser may know more */
let kept = readOfWindow(KEY);
let isRestoring = false;
let isAsking = false;
let timer = 0;

/**
 * `changed` of the queue that this browser has read or written last, and whether songs or their
 * order are to be written, also after a reload.
 */
function known() {
  const uid = person()?.user.uid;
  return kept?.uid === uid ? { changed: Number(kept.changed) || 0, isNew: Boolean(kept.isNew) }
    : { changed: 0, isNew: true };
}

/** @param {{changed?: number, isNew?: boolean}} what */
function note(what) {
  kept = { uid: person()?.user.uid, ...known(), ...what };
  writeOfWindow(KEY, kept);
}

/**
 * The songs with these identifiers, undefined for one that is gone.
 * @param {string[]} ids
 */
async function songsOf(ids) {
  const found = new Map((await songsById(ids)).map((song) => [sharedId(song.id), song]));
  return ids.map((id) => found.get(id));
}

/** @param {{overwrites?: boolean}} how */
async function save({ overwrites = false } = {}) {
  const songs = queued().map(({ song }, index) => ({ song, index }))
    .filter(({ song }) => isOfLibrary(song));
  const at = songs.findIndex(({ index }) => index >= position());
  const isHere = at >= 0 && songs[at].index === position();
  const place = {
    current: Math.max(at, 0), position: isHere ? Math.round(time() * 1000) : 0, client,
    seen: overwrites ? undefined : known().changed,
  };
  const isWhole = known().isNew || overwrites;
  if (!isWhole && !isOfLibrary(current())) {
    return;
  }
  note({ isNew: false });
  try {
    const { changed } = isWhole
      ? await change('Queue', 'set', { ...place, songs: songs.map(({ song }) => song.id).join() })
      : await change('Queue', 'move', { ...place, song: current()?.id });
    note({ changed });
  } catch (error) {
    note({ isNew: true }); // it is tried again with the next change
    if (error instanceof Refusal && error.code === 409) {
      await attempt(settle);
    }
  }
}

// The queue of the server is another one than this window has seen last.
async function settle() {
  const { client: other, changed } = await call('Queue', 'get');
  if (other === client) { // the answer of this browser's own change was lost, as in a reload
    note({ changed });
    soon(false);
  } else {
    ask();
  }
}

// Another device has kept a queue since: the person chooses one.
function ask() {
  if (isAsking) {
    return;
  }
  isAsking = true;
  const dialog = openForm({
    title: t('queue.other'), send: t('queue.takeOther'),
    fields: [h('p', {}, t('queue.other.hint')), button(t('queue.keepThis'), async () => {
      dialog.close();
      await save({ overwrites: true });
    })],
    onSend: restore,
  });
  dialog.addEventListener('close', () => {
    isAsking = false;
  });
}

async function restore() {
  const found = await call('Queue', 'get');
  const all = await songsOf(found.songs);
  const songs = all.flatMap((song) => song ?? []);
  isRestoring = true;
  if (isPlaying()) {
    pause();
  }
  if (songs.length > 0) {
    setQueue(songs, all.slice(0, found.current).filter(Boolean).length, false);
    seek(all[found.current] ? found.position / 1000 : 0);
  }
  note({ changed: found.changed, isNew: false });
  isRestoring = false;
}

/** @param {boolean} order whether songs or their order changed */
function soon(order) {
  if (!isRestoring && !isAsking && person()) {
    if (order) {
      note({ isNew: true });
    }
    clearTimeout(timer);
    timer = setTimeout(save, PAUSE);
  }
}

/** To be called when it is known who is logged in. */
export async function startSharedQueue() {
  queue.addEventListener('order', () => soon(true));
  queue.addEventListener('current', () => soon(false));
  let played = isPlaying();
  player.addEventListener('state', () => {
    if (played && !isPlaying() && current()) {
      soon(false);
    }
    played = isPlaying();
  });
  if (queued().length === 0) {
    await attempt(restore);
  } else if (known().isNew) {
    soon(true);
  }
}
