// Bad luck: a song that is deleted while the album plays, a slow network, names without an end.

import assert from 'node:assert/strict';
import { renameSync } from 'node:fs';
import { asPhone, ask, browser, freshPage, isPlaying, isTooWide, music, openView, takePicture } from '../steps.mjs';
import { sleep, until } from '../webdriver.mjs';

const LONG = `<b>مرحبا</b> שלום 🎵 ${'ä endless name & '.repeat(250)}`.slice(0, 4000);

// The song that is gone, and covers of albums that are called otherwise.
export const expected = /method=stream.* 40[04] |method=get&(album|id)=.* 40[04] |ERR_/;

async function setNetwork(latency, bytes) {
  await browser.devtools('Network.enable');
  await browser.devtools('Network.emulateNetworkConditions',
    { offline: false, latency, downloadThroughput: bytes, uploadThroughput: bytes });
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
  'names of 4,000 characters, from right to left, break no view': async () => {
    const { identifier } = await browser.devtools('Page.addScriptToEvaluateOnNewDocument', { source: `
      const plain = window.fetch;
      const long = ${JSON.stringify(LONG)};
      window.fetch = async (...given) => {
        const answer = await plain(...given);
        if (!answer.headers.get('Content-Type')?.startsWith('application/json')) {
          return answer;
        }
        const names = ['title', 'artist', 'album', 'album_artist', 'composer', 'name', 'path'];
        const text = JSON.stringify(await answer.json(), (key, value) =>
          names.includes(key) && typeof value === 'string' ? value + long : value);
        return new Response(text, answer);
      };` });
    for (const isPhone of [false, true]) {
      if (isPhone) {
        await asPhone();
      }
      for (const path of ['/', '/albums', '/artists', '/genres', '/songs', '/folders', '/playlists',
        '/search?q=a', '/settings']) {
        await openView(path);
        await sleep(600);
        await takePicture(`long names ${isPhone ? 'phone' : 'desk'} ${path}`);
        assert.ok(!await isTooWide(), `${path} on a ${isPhone ? 'phone' : 'desk'}`);
      }
    }
    await browser.devtools('Page.removeScriptToEvaluateOnNewDocument', { identifier });
    await freshPage();
  },
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
    const { identifier } = await browser.devtools('Page.addScriptToEvaluateOnNewDocument', { source: `
      new MutationObserver((all, watch) => {
        if (document.querySelector('.shelf .card-link')) {
          window.firstList = performance.now();
          watch.disconnect();
        }
      }).observe(document, { childList: true, subtree: true });` });
    const times = [];
    let sizes = 0;
    for (let i = 0; i < 5; ++i) {
      await openView('/', '.shelf .card-link');
      times.push(await browser.run(() => window.firstList));
      sizes = await browser.run(() => performance.getEntriesByType('resource')
        .filter(({ name, startTime }) => /\.(js|css)$|\/$/.test(name) && startTime < window.firstList)
        .reduce((sum, one) => sum + one.encodedBodySize, 0));
    }
    await browser.devtools('Network.setCacheDisabled', { cacheDisabled: false });
    await browser.devtools('Page.removeScriptToEvaluateOnNewDocument', { identifier });
    console.log(`        first list after ${Math.round(Math.min(...times))} ms, ${sizes} bytes`);
    assert.ok(Math.min(...times) < 1000, times.join());
    assert.ok(sizes > 0 && sizes < 120000, String(sizes));
  },
};
