// Checks the page in a real browser, against a server with the music of packaging/demo-library or
// any other that has a few albums.
//
// Usage: node check.mjs ADDRESS NAME:PASSWORD [FOR-SCREENSHOTS]

import assert from 'node:assert/strict';
import { mkdirSync, writeFileSync } from 'node:fs';
import { en } from '../../web/js/texts/en.js';
import { Browser, keys, sleep, until } from './webdriver.mjs';

const [base, login, pictures] = process.argv.slice(2);
if (!login) {
  console.error('Usage: node check.mjs ADDRESS NAME:PASSWORD [FOR-SCREENSHOTS]');
  process.exit(2);
}
const [name, password] = login.split(/:(.*)/s);
const list = 'Checked by a browser';
const browser = await Browser.start();
const requests = [];
const faults = [];

/** What the API answers to the page's own session. */
function ask(api, method, params = {}, post = false) {
  return browser.run(async (form, isPost) => {
    const body = new URLSearchParams(form);
    const answer = await (isPost ? fetch('/webapi/entry.cgi', { method: 'POST', body })
      : fetch(`/webapi/entry.cgi?${body}`));
    return (await answer.json()).data;
  }, { api: `VARN.Tonvale.${api}`, version: '1', method, ...params }, post);
}

const sound = () => browser.run(() => {
  const playing = [...document.querySelectorAll('audio')].find((audio) => !audio.paused);
  return playing ? { time: playing.currentTime, length: playing.duration } : null;
});

async function isPlaying() {
  const before = await until('sound', sound);
  await until('the time to move', async () => {
    const now = await sound();
    return now && now.time !== before.time;
  });
}

async function logIn() {
  await browser.find('dialog.login');
  await browser.type('dialog.login [name=name]', name);
  await browser.type('dialog.login [name=password]', password);
  await browser.click('dialog.login .is-main');
  await until('the login to close', async () => !await browser.run(() =>
    document.querySelector('dialog.login') !== null));
}

async function readRequests() {
  for (const { message } of await browser.log('performance')) {
    const { method, params } = JSON.parse(message).message;
    if (method === 'Network.requestWillBeSent') {
      requests.push(params.request.url + (params.request.postData ?? ''));
    }
  }
}

/** Faults of the console; a refused login is none. */
async function readFaults() {
  faults.push(...(await browser.log('browser')).filter(({ level, message }) =>
    level === 'SEVERE' && !/status of 401/.test(message)).map(({ message }) => message));
}

/** Texts in sight that are neither data (dir=auto), figures, nor of the table. */
async function foreignTexts() {
  const known = Object.values(en).map((text) => {
    const parts = text.split(/\{\w+\}/).map((part) => part.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'));
    return new RegExp(`^${parts.join('.*')}$`, 's');
  });
  const shown = await browser.run(() => {
    const texts = [];
    const walk = document.createTreeWalker(document.querySelector('.shell'), NodeFilter.SHOW_TEXT);
    for (let node = walk.nextNode(); node; node = walk.nextNode()) {
      if (!node.parentElement.closest('[dir=auto], [aria-hidden=true]')) {
        texts.push(node.data.trim());
      }
    }
    for (const one of document.querySelectorAll('.shell [aria-label]:not([role=list])')) {
      texts.push(one.getAttribute('aria-label'));
    }
    return texts;
  });
  return shown.filter((text) => /\p{L}/u.test(text) && !known.some((one) => one.test(text)));
}

const checks = {
  'a wrong password is refused, the right one lets in': async () => {
    await browser.open(`${base}/`);
    await browser.type('dialog.login [name=name]', name);
    await browser.type('dialog.login [name=password]', 'wrong');
    await browser.click('dialog.login .is-main');
    await until('the refusal', () => browser.text('dialog.login .trouble'));
    await logIn();
    await browser.find('.shelf .card-link');
    assert.deepEqual(await foreignTexts(), []);
  },
  'an album plays after three clicks, and can be sought in': async () => {
    await browser.click('.shelf .card-link');
    await browser.click('.banner .is-main');
    await isPlaying();
    await browser.click('player-bar seek-bar input');
    const { time, length } = await until('sound', sound);
    assert.ok(Math.abs(time - length / 2) < length / 4, `${time} of ${length}`);
    assert.deepEqual(await foreignTexts(), []);
  },
  'stars are given by a key, and kept': async () => {
    const id = await browser.run(() => JSON.parse(localStorage['tonvale.queue']).songs[0].id);
    const rating = async () => (await ask('Song', 'get', { id, additional: 'song_rating' }))
      .songs[0].additional.song_rating.rating;
    await browser.run(() => document.querySelector('main').focus());
    await browser.run((first) => document.querySelector('song-row [data-focus]').focus(), 0);
    for (const stars of [4, 0]) {
      await browser.press(`${stars}`);
      await until(`${stars} stars`, async () => await rating() === stars);
    }
  },
  'search asks once for letters that are typed at once': async () => {
    const { songs: [song] } = await ask('Song', 'list', { limit: 1 });
    await readRequests();
    const before = requests.length;
    await browser.press('/');
    await browser.type('.search-input', Array.from(song.title).slice(0, 6).join(''));
    await browser.find('.found song-row');
    await readRequests();
    const asked = requests.slice(before).filter((one) => /Search&.*method=all/.test(one));
    assert.ok(new Set(asked.map((one) => /keyword=([^&]*)/.exec(one)[1])).size === 1, asked.join());
    assert.deepEqual(await foreignTexts(), []);
  },
  'a playlist is made, filled, put in order by mouse and keys, and deleted': async () => {
    const { songs } = await ask('Song', 'list', { limit: 3 });
    const ids = songs.map(({ id }) => id);
    const left = (await ask('Playlist', 'list')).playlists.find((one) => one.name === list);
    if (left) {
      await ask('Playlist', 'delete', { id: left.id }, true);
    }
    await browser.open(`${base}/playlists`);
    await browser.click('.playlists .page-head .button');
    await browser.type('dialog [name=name]', list);
    await browser.click('dialog .is-main');
    await browser.click(`side-bar a[title="${list}"]`);
    await browser.find('.playlist .empty');
    const id = await browser.run(() => decodeURIComponent(location.pathname.split('/')[2]));
    await ask('Playlist', 'add', { id, songs: ids.join() }, true);
    await browser.open(`${base}/songs`);
    await browser.find('song-row');
    await browser.open(`${base}/playlists/${encodeURIComponent(id)}`);
    const order = async () => (await ask('Playlist', 'get', { id })).songs.map((song) => song.id);
    const row = (place) => `song-row[aria-posinset="${place}"]`;
    await browser.drag(row(1), row(3));
    await until('the new order', async () =>
      String(await order()) === String([ids[1], ids[2], ids[0]]));
    await until('the list', () => browser.run((selector) => {
      document.querySelector(selector)?.focus();
      return document.activeElement.matches(selector);
    }, `${row(1)} [data-focus]`));
    await browser.press(keys.down, keys.alt);
    await until('the order by keys', async () =>
      String(await order()) === String([ids[2], ids[1], ids[0]]));
    await browser.drag(`${row(1)} .row-names`, `side-bar a[title="${list}"]`);
    await until('the song that was dropped', async () => (await order()).length === 4);
    assert.deepEqual(await foreignTexts(), []);
    await browser.click('.banner [aria-haspopup=menu]');
    await browser.click('.menu .menu-item:last-child');
    await browser.click('dialog .is-danger');
    await until('the list to go', async () =>
      !(await ask('Playlist', 'list')).playlists.some((one) => one.name === list));
  },
  'somebody is added and removed, a key is made, the password changed': async () => {
    const send = async (values, trouble) => {
      for (const [field, value] of Object.entries(values)) {
        await browser.type(`dialog [name=${field}]`, value);
      }
      await browser.click('dialog .is-main');
      await until('the answer', () => trouble ? browser.text('dialog .trouble')
        : browser.run(() => !document.querySelector('dialog [name]')));
      return trouble && browser.text('dialog .trouble');
    };
    const names = async () => (await ask('User', 'list')).users.map((one) => one.name);
    await browser.open(`${base}/settings`);
    await browser.click('.rights ~ .button');
    assert.match(await send({ name: 'dora', password: 'short' }, true), /8 to 256/);
    await send({ password: 'long enough' });
    await until('dora', async () => (await names()).includes('dora'));
    await browser.click('.setting-group:has(.rights) .rights:has(legend):last-of-type .icon-button');
    await browser.click('.menu .menu-item:last-child');
    await browser.click('dialog .is-danger');
    await until('dora to go', async () => !(await names()).includes('dora'));
    await browser.click('.setting-group .tools .button:nth-child(2)');
    await send({ for: 'a phone' });
    assert.equal((await ask('User', 'keys')).keys.length, 1);
    await browser.press(keys.escape);
    await browser.click('.setting-group .tools .button');
    assert.match(await send({ old: 'wrong', new: password }, true), /wrong/);
    await send({ old: password });
    await until('a new session', async () => (await ask('User', 'keys')).keys.length === 0);
  },
  'the address, the way back and a reload show the same': async () => {
    await browser.open(`${base}/albums?sort=year`);
    await browser.click('.card-link');
    const title = await until('an album', () => browser.text('.banner h1'));
    await browser.send('POST', '/refresh');
    await until('the same album', async () => await browser.text('.banner h1') === title);
    await browser.send('POST', '/back');
    await browser.find('.albums .card-link');
  },
  'a song is shared, heard without a login, and no more': async () => {
    const share = async () => {
      await browser.open(`${base}/songs`);
      await browser.click('song-row .row-menu');
      await browser.run((text) => [...document.querySelectorAll('.menu-item')]
        .find((one) => one.textContent === text).click(), en['do.share']);
      return new URL(await until('the address', () => browser.run(() =>
        document.querySelector('dialog .copy input')?.value))).pathname;
    };
    const pathname = await share();
    assert.equal((await fetch(base + pathname)).status, 200);
    await browser.open(base + pathname);
    await browser.run(() => document.querySelector('audio').play());
    await isPlaying();
    await takePicture('the-page-of-a-link');
    await share();
    await browser.click('dialog footer .button');
    await until('the end of the link', async () => (await fetch(base + pathname)).status === 404);
  },
  'the keyboard alone reaches an album and plays it': async () => {
    await browser.open(`${base}/albums`);
    await browser.find('.card-link');
    const focusOn = (selector) => until(`the focus on ${selector}`, async () => {
      await browser.press(keys.tab);
      return browser.run((one) => document.activeElement.matches(one) &&
        getComputedStyle(document.activeElement).outlineStyle !== 'none', selector);
    });
    await browser.run(() => document.activeElement.blur());
    await focusOn('.card-link');
    await browser.press(keys.down + keys.enter);
    await browser.find('.banner .is-main');
    await focusOn('.banner .is-main');
    await browser.press(keys.enter);
    await isPlaying();
  },
  'a session that ends brings the login, and the music goes on': async () => {
    await browser.send('DELETE', '/cookie');
    await browser.click('side-bar [data-nav=artists]');
    await browser.find('dialog.login');
    await isPlaying();
    await logIn();
    await browser.find('.groups .card-link');
  },
  'a phone sees all of the page, and the dark': async () => {
    await browser.devtools('Emulation.setDeviceMetricsOverride',
      { width: 390, height: 844, deviceScaleFactor: 1, mobile: true });
    await browser.devtools('Emulation.setEmulatedMedia',
      { features: [{ name: 'prefers-color-scheme', value: 'dark' }] });
    for (const path of ['/', '/albums', '/artists', '/songs', '/queue', '/settings', '/more']) {
      await browser.open(base + path);
      await browser.find('main h1');
      await sleep(400);
      const seen = await browser.run(() => ({
        wide: document.documentElement.scrollWidth > innerWidth ||
          document.querySelector('main').scrollWidth > innerWidth,
        tabs: document.querySelector('tab-bar').getBoundingClientRect().bottom <= innerHeight + 1,
        dark: /^rgb\((\d|[1-4]\d), /.test(getComputedStyle(document.body).backgroundColor),
      }));
      assert.deepEqual(seen, { wide: false, tabs: true, dark: true }, path);
    }
    await browser.click('player-bar .now-cover');
    await browser.find('dialog.now[open]');
  },
  'nothing went wrong unseen, and no other host was asked': async () => {
    await readRequests();
    const others = requests.filter((one) => !one.startsWith(base) && !one.startsWith('data:'));
    assert.deepEqual(others, []);
    await readFaults();
    assert.deepEqual(faults, []);
  },
};

/** @param {string} what */
async function takePicture(what) {
  if (pictures) {
    mkdirSync(pictures, { recursive: true });
    const picture = await browser.send('GET', '/screenshot').catch(() => '');
    writeFileSync(`${pictures}/${what.replace(/[^a-z]+/g, '-')}.png`, picture, 'base64');
  }
}

let failed = 0;
for (const [what, check] of Object.entries(checks)) {
  try {
    await check();
    console.log(`ok      ${what}`);
  } catch (error) {
    ++failed;
    console.log(`FAILED  ${what}\n        ${error.message}`);
  }
  await takePicture(what);
}
await browser.end();
process.exit(failed > 0 ? 1 : 0);
