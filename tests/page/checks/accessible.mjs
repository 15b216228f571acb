// What holds in all views and dialogs, on a desk and a phone, in the light and the dark: axe-core
// finds nothing serious, and each text is of the table.

import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { visitDialogs, visitViews } from '../everywhere.mjs';
import { asPhone, browser, foreignTexts, isTooWide, openView, setTheme, settled, shareList,
  takePicture } from '../steps.mjs';

const axe = process.env.AXE ?? '';

/** What is serious or worse, with where it is. */
async function problems(where) {
  await browser.devtools('Runtime.evaluate', { expression: readFileSync(axe, 'utf8') });
  const { violations } = await browser.run(() => window.axe.run(document,
    { resultTypes: ['violations'] }));
  return violations.filter(({ impact }) => impact === 'serious' || impact === 'critical')
    .map(({ id, nodes }) => `${where}: ${id} at ${nodes.slice(0, 3).map((one) => one.target)}`);
}

/** @param {string} on the desk or the phone */
async function lookAround(on) {
  const found = [];
  const look = async (where) => {
    for (const theme of on === 'desk' ? ['dark', 'light'] : ['light', 'dark']) {
      await setTheme(theme);
      await settled();
      found.push(...(existsSync(axe) ? await problems(`${where} in the ${theme}`) : []));
    }
    await takePicture(`${on} ${where}`);
  };
  const lookAtPage = async (where) => {
    await look(where);
    found.push(...(await foreignTexts('body')).map((text) => `${where}: ${text}`));
    if (await isTooWide()) {
      found.push(`${where} is too wide`);
    }
  };
  await visitViews(lookAtPage);
  await visitDialogs(lookAtPage);
  const { path, end } = await shareList();
  await openView(path, 'li button');
  await look('the page of a link');
  await openView('/');
  await end();
  assert.deepEqual(found, []);
}

export const checks = {
  'all views and dialogs on a desk': () => lookAround('desk'),
  'all views and dialogs on a phone': async () => {
    await asPhone();
    await lookAround('phone');
  },
  ...!existsSync(axe) && { 'axe-core looks at the page': async () => {
    console.log('        not checked: axe-core is not installed; ./test all fetches it with npm');
    assert.ok(!process.env.NEEDS_AXE, 'npm could not fetch axe-core: is there a network?');
  } },
};
