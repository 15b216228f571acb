// Trouble: songs that are deleted while they play, a server that is away, a slow network, very long
// names and lists.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { existsSync, readdirSync, renameSync } from 'node:fs';
import { visitDialogs, visitViews } from '../everywhere.mjs';
import { address, asPhone, ask, browser, endings, freshPage, isPlaying, isTooWide, longSongs,
  music, openView, play, playLong, seekBy, settled, slowDown, takePicture, withScript }
  from '../steps.mjs';
import { until } from '../webdriver.mjs';

const LONG = `<b>مرحبا</b> שלום 🎵 ${'ä endless name & '.repeat(250)}`.slice(0, 4000);
const LONG_TEXT = JSON.stringify(LONG);
const views = readdirSync(new URL('../../../web/js/views/', import.meta.url));

/** A script that changes what the page asks and what it receives: the bodies of two functions. */
const answering = (asking, change) => `
  const counted = window.fetch;
  const asking = (address, how) => { ${asking} };
  const change = (answer, address) => { ${change} };
  window.fetch = async (address, how) => {
    const answer = await counted(asking(address, how), how);
    return answer.headers.get('Content-Type')?.startsWith('application/json')
      ? new Response(JSON.stringify(change(await answer.json(), address)), answer) : answer;
  };`;

/** Notes when the first list is there. The page does not fetch the code of the other views. */
const WATCH = `
  const later = window.setTimeout;
  window.setTimeout = (run, pause, ...given) =>
    String(run).includes('fetchViews') ? 0 : later(run, pause, ...given);
  new MutationObserver((all, watch) => {
    if (document.querySelector('.shelf .card-link')) {
      window.firstList = performance.now();
      watch.disconnect();
    }
  }).observe(document, { childList: true, subtree: true });`;

// The song that is gone, covers of albums with another name, a server that is away.
export const expected = /method=stream.* 40[04] |method=get&(album|id)=.* 40[04] |ERR_/;

async function setNetwork(latency, bytes) {
  await browser.devtools('Network.enable');
  await browser.devtools('Network.emulateNetworkConditions',
    { offline: false, latency, downloadThroughput: bytes, uploadThroughput: bytes });
}

/** @param {object} song whose file is gone while something runs */
async function withoutFile(song, run) {
  const file = song.path.replace('/music', music);
  renameSync(file, `${file}.gone`);
  try {
    await run();
  } finally {
    renameSync(`${file}.gone`, file);
  }
}

const { PROGRAMS, SERVER } = process.env;

/** Replaces the run's server. It ends with the run, also when that breaks off. */
function startServer() {
  const { port } = new URL(address);
  const server = spawn(`${PROGRAMS}/tonvale`, ['serve', '--port', port], { stdio: 'ignore' });
  const ended = new Promise((resolve) => server.once('exit', resolve));
  process.once('exit', () => server.kill());
  endings.push(() => server.kill() && ended);
}

const titleNow = () => browser.text('player-bar .now-title');

/** Scrolls through the open list. Returns frames a second, and places without a row. */
const scrollSmoothly = async () => {
  const main = document.querySelector('main');
  const { left, top, width, height } = main.getBoundingClientRect();
  let blank = 0;
  const start = performance.now();
  for (let frame = 0; frame < 120; ++frame) {
    main.scrollTop += 90;
    await new Promise(requestAnimationFrame);
    await new Promise((resolve) => setTimeout(resolve));
    for (const part of [0.3, 0.5, 0.7]) {
      const found = document.elementFromPoint(left + width / 2, top + height * part);
      blank += found?.closest('song-row, .pending') ? 0 : 1;
    }
  }
  return { blank, rate: Math.round(120000 / (performance.now() - start)) };
};

export const checks = {
  'a song that is deleted while it plays, or before its turn, is passed over': async () => {
    const [first, second] = await longSongs();
    await playLong();
    assert.equal(await titleNow(), first.title);
    await withoutFile(first, async () => {
      await seekBy('player-bar seek-bar input');
      await until('the song after it', async () => await titleNow() === second.title);
      await isPlaying();
    });
    const { songs: album } = await ask('Song', 'list', { album: 'Night Radio', sort_by: 'path' });
    await withoutFile(album[1], async () => {
      await openView('/albums/view?name=Night%20Radio&by=Various%20Artists', 'song-row');
      await play();
      await until('the song after it', async () => await titleNow() === album[2].title);
      await isPlaying();
    });
  },
  ...SERVER && {
    'the page tells that the server is away, and goes on afterwards': async () => {
      const name = `After a rest ${Date.now()}`;
      await openView('/albums/view?name=Nordlicht&by=Ada%20Lindqvist', 'song-row');
      await play();
      await until('the code of all views', () => browser.run((all) => {
        const there = performance.getEntriesByType('resource').map((one) => one.name);
        return all.every((file) => there.some((one) => one.endsWith(`/views/${file}`)));
      }, views));
      process.kill(SERVER);
      await until('no server', () => !existsSync(`/proc/${SERVER}`));
      try {
        await browser.click('side-bar [data-nav=artists]');
        await until('a note of it', () => browser.text('.away'));
        const tries = () => browser.run(() => window.asked);
        const before = await tries();
        await until('three more tries', async () => await tries() > before + 2);
      } finally {
        startServer();
      }
      await browser.find('.groups .card-link');
      await until('no note of it', async () => await browser.text('.away') === '');
      await isPlaying();
      const { id } = await ask('Playlist', 'create', { name });
      await browser.find(`side-bar a[title="${name}"]`); // events are heard again
      await ask('Playlist', 'delete', { id });
    },
  },
  'names of 4,000 characters, with markup, from right to left, break no view': () =>
    withScript(answering(`
    how?.body?.forEach((value, name) => how.body.set(name, value.replaceAll(${LONG_TEXT}, '')));
    return address.replaceAll(new URLSearchParams({ '': ${LONG_TEXT} }).toString().slice(1), '');`,
    `
    const names = ['title', 'artist', 'album', 'album_artist', 'composer', 'genre', 'name', 'path'];
    return JSON.parse(JSON.stringify(answer, (key, value) =>
      names.includes(key) && typeof value === 'string' ? value + ${LONG_TEXT} : value));`),
    async () => {
      const look = async (where) => {
        assert.ok(!await isTooWide(), where);
        assert.equal(await browser.run(() => document.querySelector('b')), null, where);
        if (where === 'one of /albums') {
          const isShown = () => browser.run((name) =>
            document.querySelector('.banner h1')?.textContent.endsWith(name), LONG);
          await until('the name', isShown);
          await browser.send('POST', '/refresh');
          await until('the name after a reload', isShown);
        }
      };
      await visitViews(look);
      await takePicture('long names on a desk');
      await asPhone();
      await visitViews(look);
      await visitDialogs(look);
      await openView('/songs', 'song-row');
      await takePicture('long names on a phone');
    }),
  'a hundred thousand songs scroll without a blank row, to their end in 60 MB': () =>
    withScript(answering('return address.replace(/offset=\\d+/, "offset=0");', `
    const offset = Number(/[?&]offset=(\\d+)/.exec(address)?.[1] ?? 0);
    const { songs } = answer.data ?? {};
    if (songs?.length > 0) {
      answer.data.total = 100000;
      answer.data.songs = Array.from({ length: 100 }, (_, i) => ({ ...songs[i % songs.length],
        id: 'music_1' + i, title: 'Song ' + (offset + i + 1) }));
    }
    return answer;`),
    async () => {
      await freshPage();
      await openView('/songs', 'song-row');
      const { blank, rate } = await browser.run(scrollSmoothly);
      console.log(`        ${rate} frames a second while it scrolls`);
      assert.equal(blank, 0);
      for (let part = 1; part <= 20; ++part) {
        await browser.run((share) => {
          const main = document.querySelector('main');
          main.scrollTop = main.scrollHeight * share;
        }, part / 20);
        await settled();
      }
      await browser.find('song-row[aria-posinset="100000"]');
      await browser.devtools('HeapProfiler.collectGarbage');
      await browser.devtools('Performance.enable');
      const { metrics } = await browser.devtools('Performance.getMetrics');
      const used = metrics.find(({ name }) => name === 'JSHeapUsedSize').value;
      assert.ok(used < 60e6, `${used} bytes`);
    }),
  'a slow network and a slow processor show the first list, and play': async () => {
    await setNetwork(300, 50000);
    await slowDown(6);
    try {
      await openView('/', '.shelf .card-link');
      await browser.click('.shelf .card-link');
      await play();
    } finally {
      await setNetwork(0, -1);
      await freshPage();
    }
  },
  'the first load is below 120 kB': async () => {
    await browser.devtools('Network.enable');
    await browser.devtools('Network.setCacheDisabled', { cacheDisabled: true });
    await withScript(WATCH, () => openView('/', '.shelf .card-link'));
    await browser.devtools('Network.setCacheDisabled', { cacheDisabled: false });
    const [time, size] = await browser.run(() => [window.firstList,
      performance.getEntriesByType('resource').filter(({ name }) => /\.(js|css)$/.test(name))
        .reduce((sum, one) => sum + one.encodedBodySize, 0)]);
    console.log(`        first list after ${Math.round(time)} ms, ${size} bytes`);
    assert.ok(size > 0 && size < 120000, String(size));
  },
};
