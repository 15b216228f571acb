// Share links, and their public page.

import assert from 'node:assert/strict';
import { address, browser, choose, isPlaying, openView, takePicture } from '../steps.mjs';
import { until } from '../webdriver.mjs';

async function shareSong() {
  await openView('/songs', 'song-row');
  await browser.click('song-row .row-menu');
  await choose('do.share');
  return new URL(await until('the address', () => browser.run(() =>
    document.querySelector('dialog .copy input')?.value))).pathname;
}

export const checks = {
  'a song is shared, heard without a login, and no more': async () => {
    const path = await shareSong();
    assert.equal((await fetch(address + path)).status, 200);
    await browser.open(address + path);
    await browser.run(() => document.querySelector('audio').play());
    await isPlaying();
    await takePicture('the-page-of-a-link');
    await shareSong();
    await browser.click('dialog footer .button');
    await until('the end of the link', async () => (await fetch(address + path)).status === 404);
  },
};
