// The server's own player in the bar, another media server, and downloads.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { appendFileSync, existsSync, mkdtempSync, readdirSync, readFileSync, rmSync }
  from 'node:fs';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import {
  ask, browser, choose, foreignTexts, isPlaying, music, newRequests, openView, playLong, repeat,
  settled, sound,
} from '../steps.mjs';
import { sleep, until } from '../webdriver.mjs';

// Only this run's own server has a known root and player.
const { PROGRAMS, TONVALE_ROOT } = process.env;
const player = PROGRAMS && existsSync('/usr/bin/mpd')
  ? spawn(`${PROGRAMS}/varnplayer`, ['--output', 'null'], { stdio: 'ignore' }) : null;
process.once('exit', () => player?.kill());

const info = () => ask('Player', 'info');
const comesTo = (state) => until(`the player to ${state}`, async () =>
  (await info()).state === state);

/** @param {string} label of a button of the bar */
const press = (label) => browser.click(`player-bar [aria-label="${label}"]:enabled`);

/** @param {string} text of the table */
async function playOn(text) {
  await browser.click('player-bar [aria-label="Play on"]');
  await choose(text);
}

/** Plays one song as a ContentDirectory, for any object. */
function otherServer() {
  const song = readFileSync(`${music}/Vigil/Small Hours.mp3`);
  const server = createServer(async (request, response) => {
    if (request.method === 'GET') {
      response.writeHead(200, { 'Content-Type': 'audio/mpeg' }).end(song);
      return;
    }
    const { port } = server.address();
    const didl = '<DIDL-Lite xmlns="urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/" '
      + 'xmlns:dc="http://purl.org/dc/elements/1.1/"><item id="7" parentID="0" restricted="1">'
      + '<dc:title>From afar &lt;b&gt;</dc:title><res protocolInfo="http-get:*:audio/mpeg:*" '
      + `duration="0:00:30.5">http://127.0.0.1:${port}/song</res></item></DIDL-Lite>`;
    const asked = (await request.setEncoding('utf8').toArray()).join('');
    const isFirst = asked.includes('<StartingIndex>0<');
    const inside = isFirst ? didl.replaceAll('&', '&amp;').replaceAll('<', '&lt;') : '';
    response.end('<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>'
      + '<u:BrowseResponse xmlns:u="urn:schemas-upnp-org:service:ContentDirectory:1">'
      + `<Result>${inside}</Result><NumberReturned>${isFirst ? 1 : 0}</NumberReturned>`
      + '<TotalMatches>1</TotalMatches></u:BrowseResponse></s:Body></s:Envelope>');
  });
  return new Promise((resolve) => {
    server.listen(0, '127.0.0.1', () => resolve(server));
  });
}

const ofPlayer = player && {
  'the bar drives the server’s player, and has no dead button': async () => {
    await until('the player', async () => (await info())?.state);
    await playLong();
    await playOn('places.server');
    await until('no dead button', () => browser.run(() => document.querySelectorAll(
      'transport-buttons button:enabled[aria-label=Next], seek-bar input:enabled').length === 0));
    await browser.click('.banner .is-main');
    await comesTo('play');
    assert.equal(await sound(), null);
    const { song, total } = await info();
    await until('its song', async () => await browser.text('player-bar .now-title') === song.title);
    const before = await browser.text('player-bar .seek-time');
    await until('the time to move', async () =>
      await browser.text('player-bar .seek-time') !== before);
    await press('Next');
    await until('the next song', async () => (await info()).index === 1);
    await press('Pause');
    await comesTo('pause');
    await press('Play');
    await comesTo('play');
    await browser.click('player-bar volume-bar input');
    await until('the volume', async () => Math.abs((await info()).volume - 50) < 5);
    await press('Shuffle');
    await until('the mode', async () => (await info()).mode === 3);
    await press('Shuffle');
    await press('Queue');
    await until('the queue, and what plays in it', async () => total === await browser.run(() =>
      document.querySelectorAll('.queue .is-current').length &&
        document.querySelectorAll('.queue song-row').length));
    assert.equal(await browser.run(() => document.querySelectorAll('.is-current').length), 1);
    assert.deepEqual(await foreignTexts(), []);
    await playOn('places.server');
    await browser.click('player-bar [aria-label="Play on"]');
    await browser.click('.menu [role=menuitemcheckbox]');
    await until('the output to be off', async () =>
      !(await ask('Player', 'list')).renderers[0].enabled);
    await ask('Player', 'control', { action: 'enable', value: 'output:0' });
    await press('Stop');
    await comesTo('stop');
    await ask('Player', 'control', { action: 'clear' });
    await playOn('places.here');
    await settled();
    await newRequests();
    await sleep(3000);
    assert.deepEqual((await newRequests()).filter((one) => /Tonvale\.Player/.test(one)), []);
  },
};

const ofServers = PROGRAMS && {
  'songs of another server play in the browser and on the server': async () => {
    appendFileSync(`${TONVALE_ROOT}/var/packages/Tonvale/etc/audio.conf`,
      'media_server_any_address="yes"\n');
    const other = await otherServer();
    const url = `http://127.0.0.1:${other.address().port}/ctl`;
    await openView(`/servers?${new URLSearchParams({ url, id: '0', name: 'Other' })}`,
      '.folder-row button');
    await repeat('one');
    await browser.click('.folder-row button');
    await isPlaying();
    assert.equal(await browser.text('player-bar .now-title'), 'From afar <b>');
    await browser.run(() => {
      const range = document.querySelector('player-bar seek-bar input');
      range.value = '1';
      range.dispatchEvent(new Event('change'));
    });
    await until('the sound from there on', async () =>
      (await newRequests()).some((one) => /MediaServer.*position=1/.test(one)));
    await isPlaying();
    await repeat('off');
    if (player) {
      await ask('Player', 'control', { action: 'clear' });
      await playOn('places.server');
      await browser.click('.folder-row button');
      await comesTo('play');
      assert.equal((await info()).total, 1);
      await ask('Player', 'control', { action: 'clear' });
      await playOn('places.here');
    }
    other.close();
  },
};

export const checks = {
  ...ofPlayer,
  ...ofServers,
  'an album is downloaded as an archive': async () => {
    const folder = mkdtempSync(`${tmpdir()}/tonvale-downloads-`);
    await browser.devtools('Browser.setDownloadBehavior',
      { behavior: 'allow', downloadPath: folder });
    await openView('/albums', '.card-link');
    await browser.click('.card-link');
    await browser.click('.banner [aria-haspopup=menu]');
    await choose('do.downloadAll');
    const name = await until('the archive', () =>
      readdirSync(folder).find((one) => one.endsWith('.zip')));
    assert.equal(String(execFileSync('unzip', ['-tqq', `${folder}/${name}`])), '');
    assert.equal(name, `${await browser.text('.banner-name')}.zip`);
    rmSync(folder, { recursive: true });
  },
};
