// Favourites, plays, the queue that the server keeps, and radio stations.

import assert from 'node:assert/strict';
import { ask, browser, choose, openView, playLong, repeat, settled } from '../steps.mjs';
import { until } from '../webdriver.mjs';

const inShelf = (text) => until(text, () => browser.run((name) =>
  [...document.querySelectorAll('.shelf')].some((one) => one.textContent.includes(name)), text));

const queueHere = () => browser.run(() => JSON.parse(localStorage['tonvale.queue']).songs.length);

export const checks = {
  'hearts are given to an album by a click, and to a song by a key': async () => {
    await openView('/albums', '.card-link');
    await browser.click('.card-link');
    await browser.click('.banner heart-button button');
    await browser.find('song-row [data-focus]');
    await browser.run(() => document.querySelector('song-row [data-focus]').focus());
    await browser.press('f');
    const { albums } = await until('both to be kept', async () => {
      const found = await ask('Favourite', 'list');
      return found.albums.length === 1 && found.songs.length === 1 && found;
    });
    await openView('/favourites', 'song-row');
    await inShelf(albums[0].name);
    await browser.click('song-row .row-menu');
    await choose('do.noFavourite');
    await until('the song to go', () => browser.run(() => !document.querySelector('song-row')));
    assert.equal((await ask('Favourite', 'list')).songs.length, 0);
    await openView('/', '.shelf .card-link');
    await inShelf('Your favourites');
  },
  'a play is noted after half of a song': async () => {
    const counts = async () => (await ask('Song', 'list', { additional: 'song_plays' })).songs
      .map(({ id, additional }) => [id, additional.song_plays?.count ?? 0]);
    await openView('/albums/view?name=Nordlicht&by=Ada%20Lindqvist', 'song-row');
    const before = new Map(await counts());
    await repeat('off');
    await browser.click('.banner .is-main');
    const [id, count] = await until('the play', async () =>
      (await counts()).find((one) => one[1] > before.get(one[0])));
    assert.equal(count, before.get(id) + 1);
    await openView('/', '.shelf .card-link');
    await inShelf('Most played');
    await inShelf('Recently played');
  },
  'a new browser goes on with the queue, and asks before it replaces another one': async () => {
    await playLong();
    const count = await queueHere();
    await until('the queue to be kept', async () =>
      (await ask('Queue', 'get')).songs.length === count);
    await browser.run(() => [localStorage, sessionStorage].forEach((one) =>
      one.removeItem('tonvale.queue')));
    await openView('/queue', 'song-row');
    assert.equal(await queueHere(), count);
    const [first] = (await ask('Song', 'list', { limit: 1 })).songs;
    await openView('/albums', '.card-link');
    await browser.click('.card-link');
    await browser.find('.banner .is-main');
    await settled();
    assert.equal(await browser.run(() => document.querySelector('dialog')), null);
    await ask('Queue', 'set', { songs: first.id, client: 'phone' });
    await browser.click('.banner .is-main');
    await browser.find('dialog form');
    assert.deepEqual((await ask('Queue', 'get')).songs, [first.id.replace('_p_', '_')]);
    await browser.click('dialog footer .is-main');
    await until('the other queue', async () => await queueHere() === 1);
  },
  'stations are added, shown and removed': async () => {
    await openView('/radio', '.empty');
    await browser.click('main .button');
    await browser.type('dialog [name=name]', 'Jazz <b>FM</b>');
    await browser.type('dialog [name=stream]', 'http://127.0.0.1:9/jazz');
    await browser.click('dialog .is-main');
    await until('the station', () => browser.run(() =>
      document.querySelector('.row-list strong')?.textContent === 'Jazz <b>FM</b>'));
    await browser.click('.row-list [aria-haspopup]');
    await choose('do.delete');
    await browser.click('dialog .is-danger');
    await browser.find('main .empty');
  },
};
