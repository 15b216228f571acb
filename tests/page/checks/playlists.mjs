// Playlists: made, filled, put in order, deleted.

import assert from 'node:assert/strict';
import { ask, browser, foreignTexts, openView } from '../steps.mjs';
import { keys, until } from '../webdriver.mjs';

const list = 'Checked by a browser';

export const checks = {
  'a playlist is made, filled, put in order by mouse and keys, and deleted': async () => {
    const { songs } = await ask('Song', 'list', { limit: 3 });
    const ids = songs.map(({ id }) => id);
    const left = (await ask('Playlist', 'list')).playlists.find((one) => one.name === list);
    if (left) {
      await ask('Playlist', 'delete', { id: left.id }, true);
    }
    await openView('/playlists');
    await browser.click('.playlists .page-head .button');
    await browser.type('dialog [name=name]', list);
    await browser.click('dialog .is-main');
    await browser.click(`side-bar a[title="${list}"]`);
    await browser.find('.playlist .empty');
    const id = await browser.run(() => decodeURIComponent(location.pathname.split('/')[2]));
    await ask('Playlist', 'add', { id, songs: ids.join() }, true);
    await openView('/songs', 'song-row');
    await openView(`/playlists/${encodeURIComponent(id)}`);
    const order = async () => (await ask('Playlist', 'get', { id })).songs.map((song) => song.id);
    const row = (place) => `song-row[aria-posinset="${place}"]`;
    await browser.drag(row(1), row(3));
    await until('the new order', async () =>
      String(await order()) === String([ids[1], ids[2], ids[0]]));
    await until('the list', () => browser.run((selector) => {
      document.querySelector(selector)?.focus();
      return document.activeElement.matches(selector);
    }, `${row(1)} [data-focus]`));
    await browser.press(keys.down, keys.alt);
    await until('the order by keys', async () =>
      String(await order()) === String([ids[2], ids[1], ids[0]]));
    await browser.drag(`${row(1)} .row-names`, `side-bar a[title="${list}"]`);
    await until('the song that was dropped', async () => (await order()).length === 4);
    assert.deepEqual(await foreignTexts(), []);
    await browser.click('.banner [aria-haspopup=menu]');
    await browser.click('.menu .menu-item:last-child');
    await browser.click('dialog .is-danger');
    await until('the list to go', async () =>
      !(await ask('Playlist', 'list')).playlists.some((one) => one.name === list));
  },
};
