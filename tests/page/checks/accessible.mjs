// All views and dialogs, on a desk and a phone, in the light and the dark: axe-core finds nothing
// serious, and each text comes from the table.

import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { visitDialogs, visitViews } from '../everywhere.mjs';
import { asPhone, ask, browser, evening, foreignTexts, isTooWide, openView, setTheme, settled,
  takePicture } from '../steps.mjs';

const axe = process.env.AXE ?? '';

/** Serious and critical faults, by all rules or by some. */
async function problems(rules) {
  if (!await browser.run(() => Boolean(window.axe))) {
    await browser.devtools('Runtime.evaluate', { expression: readFileSync(axe, 'utf8') });
  }
  const { violations } = await browser.run((runOnly) => window.axe.run(document,
    { resultTypes: ['violations'], ...runOnly && { runOnly } }), rules);
  return violations.filter(({ impact }) => impact === 'serious' || impact === 'critical')
    .map(({ id, nodes }) => `${id} at ${nodes.slice(0, 3).map((one) => one.target)}`);
}

/** @param {'light' | 'dark'} theme of all checks; of the other one only the contrast is checked */
async function lookAround(theme) {
  const found = [];
  const look = async (where, faults = []) => {
    if (existsSync(axe)) {
      faults.push(...await problems());
      await setTheme(theme === 'light' ? 'dark' : 'light');
      await settled();
      faults.push(...await problems(['color-contrast']));
      await setTheme(theme);
    }
    found.push(...faults.map((fault) => `${where}: ${fault}`));
  };
  const lookAtPage = async (where) =>
    look(where, [...await foreignTexts('body'), ...await isTooWide() ? ['too wide'] : []]);
  await setTheme(theme);
  await visitViews(async (where) => {
    await lookAtPage(where);
    await settled(); // until the colours have changed back
    await takePicture(`${where} in the ${theme}`);
  });
  await visitDialogs(lookAtPage);
  const playlist_id = await evening();
  const { sharing } = await ask('Sharing', 'create', { playlist_id });
  await openView(`/as/sharing/${sharing.id}`, 'li button');
  await look('the page of a link');
  await openView('/');
  await ask('Sharing', 'delete', { playlist_id });
  assert.deepEqual(found, []);
}

export const checks = {
  'all views and dialogs on a desk': () => lookAround('light'),
  'all views and dialogs on a phone': async () => {
    await asPhone();
    await lookAround('dark');
  },
  ...!existsSync(axe) && { 'axe-core checks the page': async () => {
    console.log('        not checked: axe-core is not installed; ./test all fetches it with npm');
    assert.ok(!process.env.NEEDS_AXE, 'npm could not fetch axe-core: is there a network?');
  } },
};
