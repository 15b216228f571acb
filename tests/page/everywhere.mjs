// All views and dialogs of the page, one after the other.

import { browser, choose, evening, goTo, logIn, openView, playLong, settled } from './steps.mjs';
import { keys } from './webdriver.mjs';

const VIEWS = ['/', '/albums', '/artists', '/genres', '/composers', '/songs', '/folders',
  '/playlists', '/favourites', '/radio', '/servers', '/search?q=a', '/queue', '/settings', '/more'];

/** The view, the element to click on, and what appears. */
const PLACES = [
  ['/albums', '.card-link', '.album song-row'],
  ['/artists', '.card-link', 'main h1:not(:empty)'],
  ['/genres', '.card-link', 'main h1:not(:empty)'],
  ['/playlists', 'main .row-list a, main .card-link', '.playlist song-row'],
];

/** The view, the element to click on, the item of its menu or none, and what appears. */
const DIALOGS = [
  ['/songs', 'song-row .row-menu', '', '.menu-item'],
  ['/songs', 'song-row .row-menu', 'do.about', 'dialog dl'],
  ['/songs', 'song-row .row-menu', 'do.share', 'dialog [type=date]'],
  ['/songs', 'song-row .row-menu', 'do.playlist', '.menu-item'],
  ['/playlists', '.page-head .button', '', 'dialog [name=name]'],
  ['/playlists', '.page-head .button + .button', '', 'dialog .rule-test'],
  ['/radio', 'main .button', '', 'dialog [name=stream]'],
  ['/settings', '.rights ~ .button', '', 'dialog [name=password]'],
  ['/settings', '.setting-group .tools .button', '', 'dialog [name=old]'],
  ['/settings', '.custom-keys .button', '', 'dialog [name=title]'],
];

/** The item of a playlist's menu, and what appears. */
const LIST_DIALOGS = [['do.share', 'dialog [type=date]'], ['do.rename', 'dialog [name=name]'],
  ['do.findMissing', '.missing .empty'], ['do.delete', 'dialog .is-danger']];

async function openDialog(view, button, choice, shown) {
  await goTo(view, button);
  await browser.click(button);
  if (choice) {
    await choose(choice);
  }
  await browser.find(shown);
  await settled();
}

/** @param {(where: string) => Promise<void>} look is called in each of them */
export async function visitViews(look) {
  await openView('/');
  for (const view of VIEWS) {
    await goTo(view);
    await look(view);
  }
  for (const [view, link, shown] of PLACES) {
    await goTo(view, link);
    await browser.click(link);
    await browser.find(shown);
    await settled();
    await look(`one of ${view}`);
  }
}

/** @param {(where: string) => Promise<void>} look is called in each of them */
export async function visitDialogs(look) {
  for (const [view, button, choice, shown] of DIALOGS) {
    await openDialog(view, button, choice, shown);
    await look(`${choice || shown} of ${view}`);
  }
  const list = `/playlists/${encodeURIComponent(await evening())}`;
  for (const [choice, shown] of LIST_DIALOGS) {
    await openDialog(list, '.banner [aria-haspopup=menu]', choice, shown);
    await look(`${choice} of a list`);
  }
  await playLong();
  await browser.press('n');
  await browser.click('dialog.now [aria-label=Lyrics]');
  await browser.find('lyrics-view');
  await settled();
  await look('the large player');
  await browser.press(keys.escape);
  await browser.press('?');
  await browser.find('.key-list');
  await settled();
  await look('the keys');
  await browser.send('DELETE', '/cookie');
  await openView('/', 'dialog.login');
  await look('the login');
  await logIn();
}
