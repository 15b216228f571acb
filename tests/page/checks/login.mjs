// Logging in, and a session that ends.

import assert from 'node:assert/strict';
import { ask, browser, foreignTexts, isPlaying, logIn, openView, password, playLong, userName }
  from '../steps.mjs';
import { until } from '../webdriver.mjs';

const LIST = 'Made at the end of a session';

export const checks = {
  'a wrong password is refused, the right one lets in': async () => {
    await browser.send('DELETE', '/cookie');
    await openView('/', 'dialog.login');
    await browser.type('dialog.login [name=name]', userName);
    await browser.type('dialog.login [name=password]', `${password}!`);
    await browser.click('dialog.login .is-main');
    await until('the refusal', () => browser.text('dialog.login .trouble'));
    await logIn();
    await browser.find('.shelf .card-link');
    assert.deepEqual(await foreignTexts(), []);
  },
  'the login opens when a session ends; a form, the music and the queue go on': async () => {
    await playLong();
    await until('the queue to be kept', () => browser.run(() =>
      JSON.parse(localStorage['tonvale.queue.seen'] ?? '{}').isNew === false));
    await browser.click('.side-head button');
    await browser.type('dialog [name=name]', LIST);
    await browser.send('DELETE', '/cookie');
    // Another request may already have opened the login, which covers the form.
    await browser.run(() => document.querySelector('dialog .is-main').click());
    await browser.find('dialog.login');
    await isPlaying();
    const song = await browser.text('player-bar .now-title');
    await logIn();
    await browser.click(`side-bar a[title="${LIST}"]`);
    await browser.click('player-bar [aria-label=Next]');
    await until('the next song', async () => await browser.text('player-bar .now-title') !== song);
    await isPlaying();
    const { playlists } = await ask('Playlist', 'list');
    await ask('Playlist', 'delete', { id: playlists.find(({ name }) => name === LIST).id });
  },
};
