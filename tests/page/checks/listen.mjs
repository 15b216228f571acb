// Playing, seeking, stars; by mouse and by the keyboard alone.

import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import {
  ask, browser, foreignTexts, isPlaying, music, openView, play, repeat, sound,
} from '../steps.mjs';
import { keys, until } from '../webdriver.mjs';

export const checks = {
  'an album plays after three clicks, and can be sought in': async () => {
    await browser.click('.shelf .card-link');
    await play();
    await browser.click('player-bar seek-bar input');
    const { time, length } = await until('sound', sound);
    assert.ok(Math.abs(time - length / 2) < length / 4, `${time} of ${length}`);
    assert.deepEqual(await foreignTexts(), []);
  },
  'stars are given by a key, and kept': async () => {
    const id = await browser.run(() => JSON.parse(localStorage['tonvale.queue']).songs[0].id);
    const rating = async () => (await ask('Song', 'get', { id, additional: 'song_rating' }))
      .songs[0].additional.song_rating.rating;
    await browser.run(() => document.querySelector('main').focus());
    await browser.run((first) => document.querySelector('song-row [data-focus]').focus(), 0);
    for (const stars of [4, 0]) {
      await browser.press(`${stars}`);
      await until(`${stars} stars`, async () => await rating() === stars);
    }
  },
  'lyrics follow the song, and lead to a place of it': async () => {
    const { songs: [song] } = await ask('Song', 'list', { album: 'Nordlicht', sort_by: 'path' });
    writeFileSync(song.path.replace('/music', music).replace(/mp3$/, 'lrc'),
      '[00:00.10]Über <i>den</i> Sund\n[00:02.00]מרחוק\n');
    await openView('/albums/view?name=Nordlicht&by=Ada%20Lindqvist');
    await play();
    await repeat('one');
    await browser.press('n');
    await browser.click('dialog.now [aria-label=Lyrics]');
    const now = () => browser.text('lyrics-view [aria-current]');
    await until('the first line', async () => await now() === 'Über <i>den</i> Sund');
    await browser.click('lyrics-view :last-child');
    await until('the last line', async () => await now() === 'מרחוק');
    await repeat('off');
  },
  'the keyboard alone reaches an album and plays it': async () => {
    await openView('/albums', '.card-link');
    const focusOn = (selector) => until(`the focus on ${selector}`, async () => {
      await browser.press(keys.tab);
      return browser.run((one) => document.activeElement.matches(one) &&
        getComputedStyle(document.activeElement).outlineStyle !== 'none', selector);
    });
    await browser.run(() => document.activeElement.blur());
    await focusOn('.card-link');
    await browser.press(keys.down + keys.enter);
    await browser.find('.banner .is-main');
    await focusOn('.banner .is-main');
    await browser.press(keys.enter);
    await isPlaying();
  },
};
