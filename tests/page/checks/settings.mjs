// Settings: people, keys, the password.

import assert from 'node:assert/strict';
import { ask, browser, openView, password } from '../steps.mjs';
import { keys, until } from '../webdriver.mjs';

export const checks = {
  'a user is added and removed, keys are made, the password is changed': async () => {
    const send = async (values, trouble) => {
      for (const [field, value] of Object.entries(values)) {
        await browser.type(`dialog [name=${field}]`, value);
      }
      await browser.click('dialog .is-main');
      await until('the answer', () => trouble ? browser.text('dialog .trouble')
        : browser.run(() => !document.querySelector('dialog [name]')));
      return trouble && browser.text('dialog .trouble');
    };
    const names = async () => (await ask('User', 'list')).users.map((one) => one.name);
    await openView('/settings');
    await browser.click('.rights ~ .button');
    assert.match(await send({ name: 'dora', password: 'short' }, true), /8 to 256/);
    await send({ password: 'long enough' });
    const dora = '.rights [aria-label="More for dora"]';
    await browser.click(dora);
    await browser.click('.menu .menu-item:last-child');
    await browser.click('dialog .is-danger');
    await until('dora to go', async () => !(await names()).includes('dora') &&
      !await browser.run((one) => document.querySelector(one), dora));
    await browser.click('.setting-group .tools .button:nth-child(2)');
    await send({ for: 'a phone' });
    assert.equal((await ask('User', 'keys')).keys.length, 1);
    await browser.press(keys.escape);
    await browser.click('.custom-keys li:nth-child(2) .button');
    await send({ title: 'sky', type: 'a' });
    assert.equal((await ask('Setting', 'get')).custom_keys[1].title, 'sky');
    await browser.click('.setting-group .tools .button');
    assert.match(await send({ old: 'wrong', new: password }, true), /wrong/);
    await send({ old: password });
    await until('a new session', async () => (await ask('User', 'keys')).keys.length === 0);
  },
};
