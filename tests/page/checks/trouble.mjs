// Bad luck: a song that is deleted while the album plays, a slow network, names without an end.

import assert from 'node:assert/strict';
import { renameSync } from 'node:fs';
import { asPhone, ask, browser, freshPage, isPlaying, isTooWide, music, openView, play,
  repeat, takePicture, withScript } from '../steps.mjs';
import { sleep, until } from '../webdriver.mjs';

const LONG = `<b>مرحبا</b> שלום 🎵 ${'ä endless name & '.repeat(250)}`.slice(0, 4000);

/** A script by which the page gets other answers; `change` is the inside of a function. */
const answering = (change) => `
  const plain = window.fetch;
  const change = (answer, address) => { ${change} };
  window.fetch = async (address, how) => {
    const answer = await plain(address, how);
    return answer.headers.get('Content-Type')?.startsWith('application/json')
      ? new Response(JSON.stringify(change(await answer.json(), address)), answer) : answer;
  };`;

/** Tells when the first list is there. */
const WATCH = `
  new MutationObserver((all, watch) => {
    if (document.querySelector('.shelf .card-link')) {
      window.firstList = performance.now();
      watch.disconnect();
    }
  }).observe(document, { childList: true, subtree: true });`;

// The song that is gone, and covers of albums that are called otherwise.
export const expected = /method=stream.* 40[04] |method=get&(album|id)=.* 40[04] |ERR_/;

async function setNetwork(latency, bytes, offline = false) {
  await browser.devtools('Network.enable');
  await browser.devtools('Network.emulateNetworkConditions',
    { offline, latency, downloadThroughput: bytes, uploadThroughput: bytes });
}

export const checks = {
  'a song that is deleted while the album plays is passed over': async () => {
    const { songs } = await ask('Song', 'list',
      { album: 'Night Radio', sort_by: 'path', additional: 'song_tag' });
    const file = songs[1].path.replace('/music', music);
    renameSync(file, `${file}.gone`);
    try {
      await openView('/albums/view?name=Night%20Radio&by=Various%20Artists');
      await browser.click('.banner .is-main');
      await isPlaying();
      await until('the song after it', async () =>
        await browser.text('player-bar .now-title') === songs[2].title, 20000);
      await isPlaying();
    } finally {
      renameSync(`${file}.gone`, file);
    }
  },
  'the server is away, and then all goes on': async () => {
    await openView('/', '.shelf .card-link');
    await browser.click('.shelf .card-link');
    await play();
    await repeat('all');
    await sleep(3500); // the code of all views is there
    await setNetwork(0, -1, true);
    await browser.click('side-bar [data-nav=artists]');
    await until('a word of it', () => browser.text('.away'));
    await sleep(8000);
    await setNetwork(0, -1);
    await browser.find('.groups .card-link');
    assert.equal(await browser.text('.away'), '');
    await until('the music', async () => await isPlaying() ?? true, 30000);
    await repeat('off');
  },
  'names of 4,000 characters, from right to left, break no view': () => withScript(answering(`
    const names = ['title', 'artist', 'album', 'album_artist', 'composer', 'name', 'path'];
    return JSON.parse(JSON.stringify(answer, (key, value) =>
      names.includes(key) && typeof value === 'string' ? value + ${JSON.stringify(LONG)} : value));`),
  async () => {
    for (const isPhone of [false, true]) {
      if (isPhone) {
        await asPhone();
      }
      for (const path of ['/', '/albums', '/artists', '/genres', '/songs', '/folders', '/playlists',
        '/search?q=a', '/settings']) {
        await openView(path);
        await sleep(600);
        assert.ok(!await isTooWide(), `${path} on a ${isPhone ? 'phone' : 'desk'}`);
      }
      await takePicture(`long names on a ${isPhone ? 'phone' : 'desk'}`);
    }
  }),
  'a hundred thousand songs scroll to their end in 60 MB': () => withScript(answering(`
    const offset = Number(/[?&]offset=(\\d+)/.exec(address)?.[1] ?? 0);
    const { songs } = answer.data ?? {};
    if (songs?.length > 0) {
      answer.data.total = 100000;
      answer.data.songs = Array.from({ length: 100 }, (_, i) => ({ ...songs[i % songs.length],
        id: 'music_1' + i, title: 'Song ' + (offset + i + 1) }));
    }
    return answer;`).replace('plain(address', 'plain(address.replace(/offset=\\d+/, "offset=0")'),
  async () => {
    await freshPage();
    await openView('/songs', 'song-row');
    for (let part = 1; part <= 20; ++part) {
      await browser.run((share) => {
        const main = document.querySelector('main');
        main.scrollTop = main.scrollHeight * share;
      }, part / 20);
      await sleep(150);
    }
    await browser.find('song-row[aria-posinset="100000"]');
    await browser.devtools('HeapProfiler.collectGarbage');
    await browser.devtools('Performance.enable');
    const { metrics } = await browser.devtools('Performance.getMetrics');
    const used = metrics.find(({ name }) => name === 'JSHeapUsedSize').value;
    assert.ok(used < 60e6, `${used} bytes`);
  }),
  'a slow network shows the first list, and plays': async () => {
    await setNetwork(300, 50000);
    try {
      await openView('/', '.shelf .card-link');
      await browser.click('.shelf .card-link');
      await browser.click('.banner .is-main');
      await isPlaying();
    } finally {
      await setNetwork(0, -1);
    }
  },
  'the first list is there within a second, and the first load below 120 kB': async () => {
    await browser.devtools('Network.enable');
    await browser.devtools('Network.setCacheDisabled', { cacheDisabled: true });
    const times = [];
    let sizes = 0;
    await withScript(WATCH, async () => {
      for (let i = 0; i < 5; ++i) {
        await openView('/', '.shelf .card-link');
        times.push(await browser.run(() => window.firstList));
      }
      sizes = await browser.run(() => performance.getEntriesByType('resource')
        .filter(({ name, startTime }) => /\.(js|css)$/.test(name) && startTime < window.firstList)
        .reduce((sum, one) => sum + one.encodedBodySize, 0));
    });
    await browser.devtools('Network.setCacheDisabled', { cacheDisabled: false });
    console.log(`        first list after ${Math.round(Math.min(...times))} ms, ${sizes} bytes`);
    assert.ok(Math.min(...times) < 1000, times.join());
    assert.ok(sizes > 0 && sizes < 120000, String(sizes));
  },
};
