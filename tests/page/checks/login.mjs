// Logging in, and a session that ends.

import assert from 'node:assert/strict';
import { browser, foreignTexts, isPlaying, logIn, openView, password, play, userName }
  from '../steps.mjs';
import { until } from '../webdriver.mjs';

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
  'a session that ends brings the login, and the music goes on': async () => {
    await browser.click('.shelf .card-link');
    await play();
    await browser.send('DELETE', '/cookie');
    await browser.click('side-bar [data-nav=artists]');
    await browser.find('dialog.login');
    await isPlaying();
    await logIn();
    await browser.find('.groups .card-link');
  },
};
