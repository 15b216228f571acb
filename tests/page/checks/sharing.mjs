// Share links, and their public page.

import assert from 'node:assert/strict';
import { address, asPhone, ask, browser, choose, chooseOfList, isPlaying, longSongs,
  newFaults, newRequests, openView, seekBy, takePicture } from '../steps.mjs';
import { Browser, keys, until } from '../webdriver.mjs';

const addressShown = async () => new URL(await until('the address', () => browser.run(() =>
  document.querySelector('dialog .copy input')?.value))).pathname;

async function openShareOfSong() {
  await openView('/songs', 'song-row');
  await browser.click('song-row .row-menu');
  await choose('do.share');
  await browser.find('dialog .two input');
}

/** Counts each part of an empty date up, in every order that a browser may show. */
async function countUp(selector, times) {
  await browser.click(selector);
  await browser.press([...Array(3).fill(keys.left),
    ...[1, 2, 3].flatMap(() => [...Array(times).fill(keys.up), keys.right])]);
}

export const checks = {
  'a song is shared, and its link ended': async () => {
    await openShareOfSong();
    await countUp('dialog .two :first-child > input', 1);
    await countUp('dialog .two :last-child > input', 2);
    const days = await browser.run(() =>
      [...document.querySelectorAll('dialog .two input')].map(({ value }) => value));
    assert.ok(days[0] > '2000' && days[0] < days[1], String(days));
    await browser.click('dialog footer .is-main');
    const path = await addressShown();
    assert.equal((await fetch(address + path)).status, 200);
    const link = (await ask('Sharing', 'list')).sharings.find(({ id }) => path.includes(id));
    assert.deepEqual([link.date_available, link.date_expired], days);
    await openShareOfSong();
    await addressShown();
    await browser.click('dialog footer .button');
    await until('the end of the link', async () => (await fetch(address + path)).status === 404);
  },
  'a list is shared, and heard in another browser without a login or scripts': async () => {
    const songs = (await longSongs()).reverse(); // a page of a link can seek in MP3
    const made = { name: 'Shared', songs: songs.map(({ id }) => id).join() };
    const { id } = await ask('Playlist', 'create', made);
    await openView(`/playlists/${encodeURIComponent(id)}`, 'song-row');
    await chooseOfList('do.share');
    await browser.click('dialog footer .is-main');
    const path = await addressShown();
    const visitor = await Browser.start();
    try {
      await visitor.devtools('Emulation.setScriptExecutionDisabled', { value: true });
      await visitor.open(address + path);
      assert.equal(await visitor.run(() => document.querySelectorAll('audio[controls]').length), 2);
      await visitor.run(() => document.querySelector('audio').play());
      await isPlaying(visitor);
      await visitor.devtools('Emulation.setScriptExecutionDisabled', { value: false });
      await visitor.open(address + path);
      await visitor.click('li button');
      await isPlaying(visitor);
      const part = await seekBy('.player .range', visitor);
      assert.ok(Math.abs(part - 0.5) < 0.1, String(part));
      const first = await visitor.text('.player strong');
      await visitor.click('.player .buttons button:last-child');
      await until('the next song', async () => await visitor.text('.player strong') !== first);
      await takePicture('the page of a link', visitor);
      await asPhone(visitor);
      await takePicture('the page of a link on a phone', visitor);
      const asked = (await newRequests(visitor)).filter((one) => !one.startsWith('data:'));
      assert.deepEqual(asked.filter((one) => !one.startsWith(address) ||
        (one.includes('/webapi/') && !/Sharing\.Page&.*sharing_id=/.test(one))), []);
      assert.deepEqual(await newFaults(visitor), []);
    } finally {
      await visitor.end();
    }
    await browser.click('dialog footer .button');
    await until('the end of the link', async () => (await fetch(address + path)).status === 404);
    await ask('Playlist', 'delete', { id });
  },
};
