// Searching, addresses, and a phone.

import assert from 'node:assert/strict';
import { asPhone, ask, browser, foreignTexts, openView, play } from '../steps.mjs';
import { until } from '../webdriver.mjs';

export const checks = {
  'search asks once for letters that are typed in a row': async () => {
    const { songs: [song] } = await ask('Song', 'list', { limit: 1 });
    const letters = Array.from(song.title).slice(0, 6);
    await browser.press('/');
    await browser.find('.search-input');
    const typed = await browser.run((all) => {
      const input = document.querySelector('.search-input');
      for (const letter of all) {
        input.value += letter;
        input.dispatchEvent(new Event('input', { bubbles: true }));
      }
      return performance.now();
    }, letters);
    await browser.find('.found song-row');
    const asked = await browser.run(() => performance.getEntriesByType('resource')
      .filter(({ name }) => /Search&.*method=all/.test(name))
      .map(({ name, startTime }) => [new URL(name).searchParams.get('keyword'), startTime]));
    assert.deepEqual(asked.map(([keyword]) => keyword), [letters.join('')]);
    assert.ok(asked[0][1] >= typed + 150, `${asked[0][1]} after ${typed}`);
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
  'a phone shows the whole page, in the dark': async () => {
    await asPhone();
    for (const path of ['/', '/songs', '/settings']) {
      await openView(path);
      const seen = await browser.run(() => ({
        tabs: document.querySelector('tab-bar').getBoundingClientRect().bottom <= innerHeight + 1,
        dark: /^rgb\((\d|[1-4]\d), /.test(getComputedStyle(document.body).backgroundColor),
      }));
      assert.deepEqual(seen, { tabs: true, dark: true }, path);
    }
    await openView('/albums', '.card-link');
    await browser.click('.card-link');
    await play();
    await browser.click('player-bar .now-cover');
    await browser.find('dialog.now[open]');
  },
};
