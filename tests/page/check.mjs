// Checks the page in a real browser, against a server with the music of packaging/demo-library or
// any other that has a few albums.
//
// Usage: node check.mjs ADDRESS NAME:PASSWORD [FOR-SCREENSHOTS [THEME...]]
//
// Each file of checks/ is a theme. Its `checks` run in their order, in a browser that is logged in,
// on a desk and in the light. `expected` are faults of the console that the theme itself causes.
// SLOWER=4 in the environment slows the page's processor down by that.

import assert from 'node:assert/strict';
import { readdirSync } from 'node:fs';
import { address, endings, freshPage, newFaults, newRequests, takePicture } from './steps.mjs';

const here = new URL('checks/', import.meta.url);
const themes = process.argv.slice(5);
let failed = 0;

async function tryOut(what, check) {
  const start = Date.now();
  try {
    await check();
    console.log(`ok      ${what} (${((Date.now() - start) / 1000).toFixed(1)} s)`);
  } catch (error) {
    ++failed;
    console.log(`FAILED  ${what}\n        ${error.message}`);
  }
  await takePicture(what);
}

for (const file of readdirSync(here).sort()) {
  const theme = file.replace('.mjs', '');
  if (themes.length > 0 && !themes.includes(theme)) {
    continue;
  }
  const { checks, expected } = await import(new URL(file, here));
  await tryOut(`${theme}: begins at the first view`, freshPage);
  for (const [what, check] of Object.entries(checks)) {
    await tryOut(what, check);
  }
  await tryOut(`${theme}: nothing went wrong unseen, and no other host was asked`, async () => {
    const others = (await newRequests()).filter((one) =>
      !one.startsWith(address) && !/^(data|blob):/.test(one));
    assert.deepEqual(others, []);
    assert.deepEqual((await newFaults()).filter((one) => !expected?.test(one)), []);
  });
}
for (const end of endings) {
  await end();
}
process.exit(failed > 0 ? 1 : 0);
