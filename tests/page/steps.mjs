// Steps that checks share, in the one browser and the one session of a run.

import { mkdirSync, writeFileSync } from 'node:fs';
import { en } from '../../web/js/texts/en.js';
import { Browser, until } from './webdriver.mjs';

const [base, login, pictures] = process.argv.slice(2);
if (!login) {
  console.error('Usage: node check.mjs ADDRESS NAME:PASSWORD [FOR-SCREENSHOTS [THEME...]]');
  process.exit(2);
}

export const address = base;

/** The folder of the server's music, where it is on this machine. */
export const music = process.env.MUSIC;

export const [userName, password] = login.split(/:(.*)/s);
export const browser = await Browser.start();

const lists = async () => (await ask('Playlist', 'list')).playlists.map(({ id }) => id);
let firstLists;

/** Called one after the other at the end of the run. */
export const endings = [() => browser.end()];

/** The API's answer to the page's own session. */
export const ask = (api, method, params = {}) => browser.run(async (form) => {
  const asked = { method: 'POST', body: new URLSearchParams(form) };
  return (await (await (window.plainFetch ?? fetch)('/webapi/entry.cgi', asked)).json()).data;
}, { api: `VARN.Tonvale.${api}`, version: '1', method, ...params });

/** A playlist of the demo library. */
export const evening = async () =>
  (await ask('Playlist', 'list')).playlists.find(({ name }) => name === 'Evening').id;

// Each document counts its requests and those without an answer, and keeps a way to ask that is not
// counted.
await browser.devtools('Page.addScriptToEvaluateOnNewDocument', { source: `
  window.asked = 0;
  window.underWay = 0;
  window.plainFetch = window.fetch;
  window.fetch = async (...asked) => {
    ++window.asked;
    ++window.underWay;
    const end = () => setTimeout(() => --window.underWay);
    try {
      const answer = await window.plainFetch(...asked);
      answer.clone().arrayBuffer().then(end, end);
      return answer;
    } catch (error) {
      end();
      throw error;
    }
  };` });

/** Waits until the page has all its answers. Ends animations. */
export const settled = (of = browser) => until('the page to be still', () => of.run(async () => {
  for (let still = 0; still < 3;) {
    await new Promise(requestAnimationFrame);
    const moving = document.getAnimations().filter((one) => one.playState === 'running' &&
      one.effect.getComputedTiming().endTime !== Infinity);
    moving.forEach((one) => one.finish());
    const isBusy = window.underWay || document.querySelector('.pending') || moving.length > 0;
    still = isBusy ? 0 : still + 1;
  }
  return true;
}));

/** Opens a view and waits for an element and all answers. */
export async function openView(path, selector = 'main h1') {
  await browser.open(address + path);
  await browser.find(selector);
  await settled();
}

/** The same within the document that is open, as a link does it. */
export async function goTo(path, selector = 'main h1') {
  await browser.run(async (to) => {
    document.querySelectorAll('dialog').forEach((one) => one.close());
    document.querySelectorAll('.menu').forEach((one) => one.hidePopover());
    document.querySelector('main').firstElementChild.classList.add('of-before');
    (await import('/js/routes.js')).go(to);
  }, path);
  await browser.find('main > :not(.of-before)');
  await browser.find(selector);
  await settled();
}

/** Chooses an item of the open menu by its name in the table of texts. */
export const choose = (text) => until(text, () => browser.run((words) => {
  const all = [...document.querySelectorAll('.menu-item')];
  const found = all.find((one) => one.textContent === words);
  found?.click();
  return Boolean(found);
}, en[text]));

/** Drags once the page is still. */
export const drag = (from, to) => settled().then(() => browser.drag(from, to));

/** Chooses from the menu of the shown playlist. */
export async function chooseOfList(text) {
  await browser.click('.banner [aria-haspopup=menu]');
  await choose(text);
}

/** The position in the song that plays, or null. */
export const sound = (of = browser) => of.run(() =>
  [...document.querySelectorAll('audio')].find((audio) => !audio.paused)?.currentTime ?? null);

export function isPlaying(of = browser) {
  const seen = new Set([null]);
  return until('sound that goes on', async () => seen.add(await sound(of)).size > 2);
}

/** Plays the album or list of the open view. */
export async function play() {
  await browser.click('.banner .is-main');
  await isPlaying();
}

/** The two longest songs, by path. They still play when a slow machine has finished a check. */
export async function longSongs() {
  const { songs } = await ask('Song', 'list',
    { sort_by: 'duration', sort_direction: 'DESC', limit: 2, additional: 'song_tag' });
  return songs.sort((a, b) => a.path < b.path ? -1 : 1);
}

/** Plays their album. */
export async function playLong() {
  const [song] = await longSongs();
  const { album: name, album_artist: by } = song.additional.song_tag;
  await openView(`/albums/view?${new URLSearchParams({ name, by })}`, 'song-row');
  await play();
}

/** Clicks on the middle of a seek bar. Returns the part of the song that it leads to. */
export async function seekBy(selector, of = browser) {
  await of.run(() => {
    window.sought = 0;
    document.addEventListener('seeking', ({ target }) => {
      window.sought ||= target.currentTime / target.duration; // 0 where a song begins
    }, true);
  });
  return until('the song to be sought in', async () => {
    await of.click(selector);
    return of.run(() => window.sought);
  });
}

/** @param {'off' | 'all' | 'one'} how songs are repeated */
export const repeat = (how) => browser.run(async (value) =>
  (await import('/js/choices.js')).choose('repeat', value), how);

export async function logIn() {
  await browser.type('dialog.login [name=name]', userName);
  await browser.type('dialog.login [name=password]', password);
  await browser.click('dialog.login .is-main');
  await until('the login to close', () => browser.run(() =>
    !document.querySelector('dialog.login')));
}

/** Opens the first view, on a desk in the light, with a login. Songs then repeat without an end. */
export async function freshPage() {
  await browser.devtools('Emulation.clearDeviceMetricsOverride');
  await browser.devtools('Emulation.setTouchEmulationEnabled', { enabled: false });
  await slowDown(Number(process.env.SLOWER ?? 1));
  await setTheme('light');
  await openView('/', 'dialog.login, .shelf .card-link');
  if (await browser.run(() => document.querySelector('dialog.login') !== null)) {
    await logIn();
  }
  await repeat('all');
  await browser.find('.shelf .card-link');
  await settled();
  firstLists ??= await lists();
}

/** The visible texts, in short, and the faults of the console. */
export async function seen() {
  return [...await browser.run(() => [location.href,
    ...[...document.querySelectorAll('main, dialog, .menu, .toast, .away:not(:empty)')].map((one) =>
      `${one.localName}.${one.className}: ${one.innerText.replace(/\s+/g, ' ').slice(0, 300)}`),
  ]), ...await newFaults()];
}

/** Removes what a failed check has left: held keys, dialogs, a queue, playlists. */
export async function cleanUp() {
  await browser.send('DELETE', '/actions');
  await browser.run(() => [localStorage, sessionStorage].forEach((one) => one.clear()));
  await freshPage();
  const left = process.env.SERVER ? await lists() : []; // another server has other users
  await Promise.all(left.filter((id) => !firstLists.includes(id))
    .map((id) => ask('Playlist', 'delete', { id })));
}

/** @param {number} rate by which the page's processor is slower than the machine's */
export const slowDown = (rate) => browser.devtools('Emulation.setCPUThrottlingRate', { rate });

/** @param {'light' | 'dark'} value */
export function setTheme(value, of = browser) {
  return of.devtools('Emulation.setEmulatedMedia',
    { features: [{ name: 'prefers-color-scheme', value }] });
}

/** A phone of 390 by 844 pixels, in the dark. */
export async function asPhone(of = browser) {
  await of.devtools('Emulation.setDeviceMetricsOverride',
    { width: 390, height: 844, deviceScaleFactor: 1, mobile: true });
  await setTheme('dark', of);
}

/** Runs something while each new document starts with a script. */
export async function withScript(source, run) {
  const script = await browser.devtools('Page.addScriptToEvaluateOnNewDocument', { source });
  try {
    await run();
  } finally {
    await browser.devtools('Page.removeScriptToEvaluateOnNewDocument', script);
  }
}

/** True where something reaches beyond the screen's sides. */
export const isTooWide = () => browser.run(() =>
  document.documentElement.scrollWidth > innerWidth ||
    (document.querySelector('main')?.scrollWidth ?? 0) > innerWidth);

/** Addresses and forms of the requests since the last call. */
export const newRequests = async (of = browser) => (await of.log('performance'))
  .map(({ message }) => JSON.parse(message).message)
  .filter(({ method }) => method === 'Network.requestWillBeSent')
  .map(({ params: { request } }) => request.url + (request.postData ?? ''));

/** Faults of the console since the last call; a refused login and a busy server are none. */
export async function newFaults(of = browser) {
  return (await of.log('browser')).filter(({ level, message }) =>
    level === 'SEVERE' && !/status of (401|503|504)/.test(message)).map(({ message }) => message);
}

/** Visible texts that are not from the table, but for data (dir=auto), figures and languages. */
export async function foreignTexts(place = '.shell') {
  const known = [...Object.values(en), 'English'].map((text) => {
    const parts = text.replace(/ …$/, '').split(/\{\w+\}/)
      .map((part) => part.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'));
    return new RegExp(`^${parts.join('.*')}( …)?$`, 's');
  });
  const shown = await browser.run((selector) => {
    const others = '[dir=auto], [aria-hidden=true], script, noscript, kbd';
    return [...document.querySelectorAll(`${selector}, ${selector} *`)].flatMap((one) => [
      ...one.closest(others) ? [] : [...one.childNodes].map((node) =>
        node.nodeType === Node.TEXT_NODE ? node.data.trim() : ''),
      one.matches('[role=list]') ? '' : one.getAttribute('aria-label') ?? '',
      one.getAttribute('placeholder') ?? '']);
  }, place);
  return shown.filter((text) => /\p{L}/u.test(text) && !known.some((one) => one.test(text)));
}

/** @param {string} what */
export async function takePicture(what, of = browser) {
  if (pictures) {
    mkdirSync(pictures, { recursive: true });
    const picture = await of.send('GET', '/screenshot').catch(() => '');
    writeFileSync(`${pictures}/${what.replace(/[^a-z0-9]+/g, '-')}.png`, picture, 'base64');
  }
}
