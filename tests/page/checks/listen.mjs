// Playing, seeking, stars; by mouse and by the keyboard alone.

import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import {
  ask, browser, foreignTexts, isPlaying, music, openView, play, playLong, repeat, seekBy,
} from '../steps.mjs';
import { keys, until } from '../webdriver.mjs';

export const checks = {
  'an album plays after three clicks, and a click on the bar seeks': async () => {
    await browser.click('.shelf .card-link');
    await play();
    const part = await seekBy('player-bar seek-bar input');
    assert.ok(Math.abs(part - 0.5) < 0.2, String(part));
    assert.deepEqual(await foreignTexts(), []);
  },
  'the next song is there before its turn, and follows without a gap': async () => {
    await playLong();
    const seekBack = (seconds) => browser.run(async (left) => {
      const { duration, seek } = await import('/js/player.js');
      seek(duration() - left);
    }, seconds);
    await seekBack(18);
    await until('the next song', () => browser.run(() =>
      [...document.querySelectorAll('audio')].some((one) => one.paused && one.readyState === 4)));
    await browser.run(() => {
      let end = 0; // when the song that plays will have been played, by its own clock
      let last = null;
      window.loads = 0;
      document.addEventListener('loadstart', () => ++window.loads, true);
      document.addEventListener('timeupdate', ({ target }) => {
        if (!target.paused && !target.ended && target.currentTime > 0.1) {
          const start = performance.now() - 1000 * target.currentTime;
          window.gap ??= last && last !== target ? start - end : undefined;
          last = target;
          end = start + 1000 * target.duration;
        }
      }, true);
    });
    await seekBack(2);
    const gap = await until('the song after it', () => browser.run(() => window.gap));
    console.log(`        a gap of ${Math.round(gap)} ms`);
    assert.equal(await browser.run(() => window.loads), 0);
  },
  'stars are given by a click and by a key, and kept': async () => {
    const { songs: [{ id }] } = await ask('Song', 'list', { album: 'Nordlicht', sort_by: 'path' });
    await openView('/albums/view?name=Nordlicht&by=Ada%20Lindqvist', 'song-row');
    const rating = async () => (await ask('Song', 'get', { id, additional: 'song_rating' }))
      .songs[0].additional.song_rating.rating;
    await browser.click('song-row star-rating [data-stars="4"]');
    await until('four stars', async () => await rating() === 4);
    await browser.run(() => document.querySelector('song-row [data-focus]').focus());
    await browser.press('0');
    await until('no stars', async () => await rating() === 0);
  },
  'lyrics follow the song, and a click on a line seeks': async () => {
    const { songs: [song] } = await ask('Song', 'list', { album: 'Nordlicht', sort_by: 'path' });
    writeFileSync(song.path.replace('/music', music).replace(/mp3$/, 'lrc'),
      '[00:00.10]Über <i>den</i> Sund\n[00:02.00]מרחוק\n');
    await openView('/albums/view?name=Nordlicht&by=Ada%20Lindqvist', 'song-row');
    await repeat('one');
    await play();
    await browser.press('n');
    await browser.click('dialog.now [aria-label=Lyrics]');
    const now = () => browser.text('lyrics-view [aria-current]');
    await until('the first line', async () => await now() === 'Über <i>den</i> Sund');
    await browser.click('lyrics-view :last-child');
    await until('the last line', async () => await now() === 'מרחוק');
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
