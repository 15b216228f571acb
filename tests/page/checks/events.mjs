// Events of the server: changes of the library, scans.

import assert from 'node:assert/strict';
import { ask, browser, openView } from '../steps.mjs';
import { until } from '../webdriver.mjs';

const scanNow = '.setting-group:has(progress) .tools .button';
const requests = () => browser.run(() => performance.getEntriesByType('resource')
  .filter(({ name }) => name.includes('api=VARN.Tonvale.Song')).length);

/** Inside the page: waits for an event of the library. */
const hears = async () => {
  const { onEvent } = await import('/js/events.js');
  await new Promise((resolve) => onEvent('library', resolve));
};

export const checks = {
  'the settings show a scan, and that it found nothing': async () => {
    await openView('/settings');
    await browser.find(`${scanNow}:enabled`);
    const { started } = await ask('Index', 'state');
    await until('another second', async () => Date.now() / 1000 > started + 2);
    const state = '.setting-group:has(progress) [role=status]';
    await browser.run((selector) => {
      const text = document.querySelector(selector);
      new MutationObserver(() => text.classList.add('has-heard'))
        .observe(text, { childList: true });
    }, state);
    // The indexer also starts by itself. If a scan has found something, the next one finds nothing.
    await until('a scan that found nothing', async () => {
      await browser.click(`${scanNow}:enabled`);
      await until('the scan', async () => (await ask('Index', 'state')).started > started);
      await browser.find(`${state}.has-heard + progress[hidden]`);
      return /nothing new/.test(await browser.text(state));
    });
  },
  'one window passes events on to the other, which goes on alone': async () => {
    await openView('/playlists');
    const name = `windows ${Date.now()}`;
    const first = await browser.send('GET', '/window');
    const { handle } = await browser.send('POST', '/window/new', { type: 'window' });
    const see = (one) => browser.send('POST', '/window', { handle: one });
    try {
      await see(handle);
      await openView('/playlists');
      await browser.run(hears);
      await ask('Playlist', 'create', { name });
      for (const one of [handle, first]) {
        await see(one);
        await browser.find(`side-bar a[title="${name}"]`);
      }
    } finally {
      await see(handle);
      await browser.send('DELETE', '/window');
      await see(first);
    }
    const { playlists } = await ask('Playlist', 'list');
    await ask('Playlist', 'delete', { id: playlists.find((one) => one.name === name).id });
    await until('the list to go from the window that is left', () => browser.run((title) =>
      !document.querySelector(`side-bar a[title="${title}"]`), name));
  },
  'a list is fetched again after a change of the library, and keeps its place': async () => {
    await openView('/songs');
    await browser.find('.song-list song-row');
    await browser.run(hears);
    await browser.run(() => {
      window.dispatchEvent(new Event('wheel')); // nothing scrolls back to where a reload was
      document.querySelector('#main').scrollTop = 50;
      document.querySelector('song-row').dataset.kept = 'yes';
    });
    const before = await requests();
    const made = { name: `events ${Date.now()}`, songs: 'music_1' };
    const { id } = await ask('Playlist', 'create', made);
    await until('a new request', async () => await requests() > before);
    assert.deepEqual(await browser.run(() => [document.querySelector('#main').scrollTop,
      document.querySelectorAll('[data-kept=yes]').length]), [50, 1]);
    await ask('Playlist', 'delete', { id });
  },
};
