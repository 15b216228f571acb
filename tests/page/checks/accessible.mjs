// What axe-core finds on the main views, on a desk and a phone, in the light and the dark.

import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { asPhone, browser, openView, setTheme, shareList } from '../steps.mjs';
import { keys, sleep } from '../webdriver.mjs';

const axe = process.env.AXE ?? '';
const views = ['/', '/albums', '/artists', '/songs', '/folders', '/playlists', '/favourites',
  '/radio', '/servers', '/search?q=a', '/queue', '/settings'];

/** What is serious or worse, with where it is. */
async function problems(where) {
  await sleep(500); // until what appears has appeared
  await browser.devtools('Runtime.evaluate', { expression: readFileSync(axe, 'utf8') });
  const { violations } = await browser.run(() => window.axe.run(document,
    { resultTypes: ['violations'] }));
  return violations.filter(({ impact }) => impact === 'serious' || impact === 'critical')
    .map(({ id, nodes }) => `${where}: ${id} at ${nodes.slice(0, 3).map((one) => one.target)}`);
}

async function lookAround() {
  const found = [];
  for (const path of views) {
    await openView(path);
    found.push(...await problems(path));
  }
  await openView('/albums', '.card-link');
  await browser.click('.card-link');
  await browser.click('.banner .is-main');
  found.push(...await problems('an album'));
  await browser.press('n');
  await browser.click('dialog.now [aria-label=Lyrics]');
  found.push(...await problems('the large player'));
  await browser.press(keys.escape);
  await browser.press('?');
  await browser.find('.key-list');
  found.push(...await problems('the keys'));
  await browser.press(keys.escape);
  await openView('/playlists');
  await browser.click('.playlists .page-head .button + .button');
  await browser.find('.rule-test');
  found.push(...await problems('the rules'));
  const { path, end } = await shareList();
  await openView(path, 'li button');
  found.push(...await problems('the page of a link'));
  await openView('/');
  await end();
  return found;
}

export const checks = existsSync(axe) ? {
  'nothing serious on a desk, in the light and the dark': async () => {
    const light = await lookAround();
    await setTheme('dark');
    assert.deepEqual([...light, ...await lookAround()], []);
  },
  'nothing serious on a phone, in the light and the dark': async () => {
    await asPhone();
    const dark = await lookAround();
    await setTheme('light');
    assert.deepEqual([...dark, ...await lookAround()], []);
  },
} : {
  'axe-core looks at the page': async () => {
    console.log('        not checked: axe-core is not installed; ./test all fetches it with npm');
    assert.ok(!process.env.NEEDS_AXE, 'npm could not fetch axe-core: is there a network?');
  },
};
