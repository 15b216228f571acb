// Share links, and their public page.

import assert from 'node:assert/strict';
import { address, ask, asPhone, browser, choose, isPlaying, openView, shareList, sound, takePicture }
  from '../steps.mjs';
import { Browser, until } from '../webdriver.mjs';

async function shareSong() {
  await openView('/songs', 'song-row');
  await browser.click('song-row .row-menu');
  await choose('do.share');
  await until('the dialog', () => browser.run(() => document.querySelector('dialog .two input')));
  await browser.run((day) => {
    const [, until] = document.querySelectorAll('dialog .two input');
    until.value = day;
    document.querySelector('dialog .is-main').click();
  }, '2099-12-31');
  return new URL(await until('the address', () => browser.run(() =>
    document.querySelector('dialog .copy input')?.value))).pathname;
}

export const checks = {
  'a song is shared, and no more': async () => {
    const path = await shareSong();
    assert.equal((await fetch(address + path)).status, 200);
    assert.equal((await ask('Sharing', 'list')).sharings[0].date_expired, '2099-12-31');
    await shareSong();
    await browser.click('dialog footer .button');
    await until('the end of the link', async () => (await fetch(address + path)).status === 404);
  },
  'a list is heard in another browser without a login and without its API': async () => {
    const { path, end } = await shareList();
    const visitor = await Browser.start();
    try {
      await visitor.open(address + path);
      await visitor.click('li button');
      await isPlaying(visitor);
      const first = await visitor.text('.player strong');
      await visitor.click('.player .buttons button:last-child');
      await until('the next song', async () => await visitor.text('.player strong') !== first);
      await visitor.click('.player .range');
      const { time, length } = await until('sound', () => sound(visitor));
      assert.ok(time > length / 4, `${time} of ${length}`);
      await takePicture('the page of a link', visitor);
      await asPhone(visitor);
      await takePicture('the page of a link on a phone', visitor);
      const asked = (await visitor.log('performance')).map(({ message }) => JSON.parse(message).message)
        .filter(({ method }) => method === 'Network.requestWillBeSent')
        .map(({ params }) => params.request.url).filter((one) => !one.startsWith('data:'));
      assert.deepEqual(asked.filter((one) => !one.startsWith(address) ||
        (one.includes('/webapi/') && !/Sharing\.Page&.*sharing_id=/.test(one))), []);
      assert.deepEqual((await visitor.log('browser')).filter(({ level }) => level === 'SEVERE'), []);
    } finally {
      await visitor.end();
      await end();
    }
  },
};
