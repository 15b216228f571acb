// Searching, addresses, and a phone.

import assert from 'node:assert/strict';
import { asPhone, ask, browser, foreignTexts, newRequests, openView } from '../steps.mjs';
import { sleep, until } from '../webdriver.mjs';

export const checks = {
  'search asks once for letters that are typed at once': async () => {
    const { songs: [song] } = await ask('Song', 'list', { limit: 1 });
    await newRequests();
    await browser.press('/');
    await browser.type('.search-input', Array.from(song.title).slice(0, 6).join(''));
    await browser.find('.found song-row');
    const asked = (await newRequests()).filter((one) => /Search&.*method=all/.test(one));
    assert.ok(new Set(asked.map((one) => /keyword=([^&]*)/.exec(one)[1])).size === 1, asked.join());
    assert.deepEqual(await foreignTexts(), []);
  },
  'the address, the way back and a reload show the same': async () => {
    await openView('/albums?sort=year', '.card-link');
    await browser.click('.card-link');
    const title = await until('an album', () => browser.text('.banner h1'));
    await browser.send('POST', '/refresh');
    await until('the same album', async () => await browser.text('.banner h1') === title);
    await browser.send('POST', '/back');
    await browser.find('.albums .card-link');
  },
  'a phone sees all of the page, and the dark': async () => {
    await asPhone();
    for (const path of ['/', '/albums', '/artists', '/songs', '/queue', '/settings', '/more']) {
      await openView(path);
      await sleep(400);
      const seen = await browser.run(() => ({
        wide: document.documentElement.scrollWidth > innerWidth ||
          document.querySelector('main').scrollWidth > innerWidth,
        tabs: document.querySelector('tab-bar').getBoundingClientRect().bottom <= innerHeight + 1,
        dark: /^rgb\((\d|[1-4]\d), /.test(getComputedStyle(document.body).backgroundColor),
      }));
      assert.deepEqual(seen, { wide: false, tabs: true, dark: true }, path);
    }
    await openView('/albums', '.card-link');
    await browser.click('.card-link');
    await browser.click('.banner .is-main');
    await browser.click('player-bar .now-cover');
    await browser.find('dialog.now[open]');
  },
};
