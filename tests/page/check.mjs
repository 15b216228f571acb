// Checks the page in a real browser, against a server with the music of packaging/demo-library or
// any other that has a few albums.
//
// Usage: node check.mjs ADDRESS NAME:PASSWORD [FOR-SCREENSHOTS [THEME...]]
//
// Each file of checks/ is a theme. Its `checks` run in their order, in a browser that is logged in,
// on a desk and in the light. `expected` matches faults of the console that the theme causes.
// SLOWER=4 in the environment slows the page's processor down by that.

import assert from 'node:assert/strict';
import { readdirSync } from 'node:fs';
import { address, cleanUp, endings, freshPage, newFaults, newRequests, seen, takePicture }
  from './steps.mjs';

const files = readdirSync(new URL('checks/', import.meta.url)).sort();
const themes = process.argv.length > 5 ? process.argv.slice(5)
  : files.map((file) => file.replace('.mjs', ''));
let failed = 0;

async function tryOut(what, check) {
  const start = Date.now();
  const took = () => `${((Date.now() - start) / 1000).toFixed(1)} s`;
  try {
    await check();
    console.log(`ok      ${what} (${took()})`);
    await takePicture(what);
  } catch (error) {
    ++failed;
    await takePicture(what);
    console.log([`FAILED  ${what} (${took()})`, error.stack.replace(/\n.* at (?!.*checks).*/g, ''),
      ...await seen().catch(({ message }) => [message])].join('\n        '));
    await cleanUp().catch(({ message }) => console.log(`        not cleaned up: ${message}`));
  }
}

for (const theme of themes) {
  const { checks, expected } = await import(`./checks/${theme}.mjs`);
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
