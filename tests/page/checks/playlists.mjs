// Playlists: made, filled, put in order, deleted.

import assert from 'node:assert/strict';
import { appendFileSync } from 'node:fs';
import { ask, browser, chooseOfList, drag, foreignTexts, music, openView, settled }
  from '../steps.mjs';
import { keys, until } from '../webdriver.mjs';

const list = 'Checked by a browser';
const row = (place) => `song-row[aria-posinset="${place}"]`;

const order = async (id) => (await ask('Playlist', 'get', { id })).songs.map((song) => song.id);
const comesTo = (id, ids) => until('order', async () => String(await order(id)) === String(ids));

export const checks = {
  'a playlist is made, filled, put in order by mouse and keys, and deleted': async () => {
    const { songs } = await ask('Song', 'list', { limit: 3 });
    const ids = songs.map(({ id }) => id);
    await openView('/playlists');
    await browser.click('.playlists .page-head .button');
    await browser.type('dialog [name=name]', list);
    await browser.click('dialog .is-main');
    await browser.click(`side-bar a[title="${list}"]`);
    await browser.find('.playlist .empty');
    const id = await browser.run(() => decodeURIComponent(location.pathname.split('/')[2]));
    await ask('Playlist', 'add', { id, songs: ids.join() });
    await openView('/songs', 'song-row');
    await openView(`/playlists/${encodeURIComponent(id)}`);
    await drag(row(1), row(3));
    await comesTo(id, [ids[1], ids[2], ids[0]]);
    await until('the list', () => browser.run((selector, title) => {
      const name = document.querySelector(selector);
      name?.focus();
      return name && name === document.activeElement && name.textContent === title;
    }, `${row(1)} [data-focus]`, songs[1].title));
    await settled();
    await browser.press(keys.down, keys.alt);
    await comesTo(id, [ids[2], ids[1], ids[0]]);
    await settled();
    await browser.press(keys.up + keys.down + keys.up + keys.down, keys.alt);
    await settled();
    await until('all songs after keys in a hurry', async () =>
      String((await order(id)).sort()) === String([...ids].sort()));
    await drag(`${row(1)} .row-names`, `side-bar a[title="${list}"]`);
    await until('the song that was dropped', async () => (await order(id)).length === 4);
    assert.deepEqual(await foreignTexts(), []);
    await chooseOfList('do.delete');
    await browser.click('dialog .is-danger');
    await until('the list to go', async () =>
      !(await ask('Playlist', 'list')).playlists.some((one) => one.name === list));
  },
  'several songs are chosen with Shift and a long press, and moved together': async () => {
    const { songs } = await ask('Song', 'list', { limit: 4 });
    const ids = songs.map(({ id }) => id);
    const { id } = await ask('Playlist', 'create', { name: list, songs: ids.join() });
    await openView(`/playlists/${encodeURIComponent(id)}`, row(4));
    await browser.click(`${row(1)} .row-names`, keys.control);
    await browser.click(`${row(2)} .row-names`, keys.shift);
    await drag(row(2), row(4));
    await comesTo(id, [ids[2], ids[3], ids[0], ids[1]]);
    await settled();
    await browser.hold(`${row(3)} .row-names`, 1500);
    await browser.click(`${row(4)} .row-names`);
    await browser.click('.selection [aria-label="Remove"]');
    await comesTo(id, [ids[2], ids[3]]);
    await settled();
    // Another device has put a song before them when the first removal comes to the server.
    await browser.run((form) => {
      const ask = window.fetch;
      window.fetch = async (...asked) => {
        window.fetch = ask;
        await window.plainFetch('/webapi/entry.cgi',
          { method: 'POST', body: new URLSearchParams(form) });
        return ask(...asked);
      };
      document.querySelectorAll('song-row').forEach((one) =>
        one.look.more().at(-1).run()); // both at once: the second waits, and finds its song again
    }, { api: 'VARN.Tonvale.Playlist', version: '1', method: 'replace', id, position: 0, length: 0,
      songs: ids[0] });
    await comesTo(id, [ids[0]]);
    await ask('Playlist', 'delete', { id });
  },
  'an entry without a song is found, and replaced by the song of its name': async () => {
    const { songs: [song] } = await ask('Song', 'search', { keyword: 'Signal', limit: 1 });
    const { id } = await ask('Playlist', 'create',
      { library: 'shared', name: list, songs: song.id });
    appendFileSync(`${music}/playlists/${list}.m3u`, 'gone/07 - Signal.mp3\n');
    await openView(`/playlists/${encodeURIComponent(id)}`, row(2));
    await chooseOfList('do.findMissing');
    await browser.click('.missing li .button');
    await browser.click('.missing .row-list .row-list .button');
    await browser.find('.missing .empty');
    assert.deepEqual(await order(id), [song.id, song.id]);
    await ask('Playlist', 'delete', { id });
  },
  'a smart playlist is made with a preview and changed; a rule by hand is shown as text':
    async () => {
      await openView('/playlists');
      await browser.click('.playlists .page-head .button + .button');
      await browser.type('dialog [name=name]', list);
      await browser.pick('.rule-test select', 'year');
      await browser.pick('.rule-test select + select', 'atLeast');
      await browser.type('.rule-value input', '1');
      await browser.find('.rule-songs li');
      const count = await until('their number', () => browser.text('.rule-count'));
      assert.deepEqual(await foreignTexts('dialog'), []);
      await browser.click('dialog .is-main');
      await browser.find('.playlist song-row');
      const id = await browser.run(() => decodeURIComponent(
        location.pathname.slice('/playlists/'.length)));
      assert.ok(count.startsWith(`${(await ask('Playlist', 'get', { id })).total} `), count);
      await chooseOfList('do.rule');
      await browser.click('.rule-group .tools .button:last-child');
      await browser.type('.rule-group .rule-group .rule-value input', 'say "hi" \\');
      await browser.click('dialog .is-main');
      const rule = async () => (await ask('Playlist', 'rule', { id })).rule;
      await until('the rule', async () =>
        await rule() === 'year >= 1 and (genre includes "say \\"hi\\" \\\\")');
      const byHand = 'year > 1 # by hand';
      await ask('Playlist', 'set_rule', { id, rule: byHand });
      await chooseOfList('do.rule');
      assert.equal(await until('the rule as text', () => browser.text('.rule-text')), byHand);
      await browser.press(keys.escape);
      await ask('Playlist', 'delete', { id });
    },
};
