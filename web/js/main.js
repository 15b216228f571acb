// Starts the page: texts, shell, login, routes.

import { connection, needLogin } from './api.js';
import { choice, choices, writeStored } from './choices.js';
import { h } from './dom.js';
import { startEvents } from './events.js';
import { learnFavourites } from './favourites.js';
import { startKeys } from './keys.js';
import { startMediaSession } from './media-session.js';
import { startLogin } from './parts/login-form.js';
import { SideBar, TabBar } from './parts/navigation.js';
import { PlayerBar } from './parts/player-bar.js';
import { attempt, toast } from './parts/toast.js';
import { learnPerson } from './person.js';
import { player } from './player.js';
import { startPlays } from './plays.js';
import { fetchViews, showAgain, startRoutes } from './routes.js';
import { startSharedQueue } from './shared-queue.js';
import { startTexts, t } from './texts.js';

const VIEWS_PAUSE = 3000;

/** Says at the top that the server is away, as long as it is. */
function awayNote() {
  const note = h('div', { class: 'away', role: 'status' });
  connection.addEventListener('away', () => {
    note.textContent = t('app.away');
  });
  connection.addEventListener('back', () => {
    note.textContent = '';
  });
  return note;
}

async function start() {
  await startTexts();
  const sideBar = new SideBar();
  const main = h('main', { id: 'main', class: 'scroller', tabindex: '-1' });
  document.body.prepend(
    h('a', { class: 'skip', href: '#main', onclick: (/** @type {Event} */ event) => {
      event.preventDefault(); // of another address
      main.focus();
    } }, t('app.skip')),
    h('div', { class: 'shell' }, sideBar, main, new PlayerBar(), new TabBar()), awayNote());

  let isStarted = false;
  const learn = () => {
    startEvents();
    sideBar.learn();
    attempt(learnFavourites);
  };
  startLogin(async () => {
    const isSame = await learnPerson();
    if (isStarted) {
      learn();
      isSame || showAgain();
    }
  });
  player.addEventListener('missing', (event) => {
    const song = /** @type {CustomEvent} */ (event).detail;
    toast(t('player.missing', { name: song.title }));
  });
  choices.addEventListener('theme', () => applyTheme(choice('theme')));
  choices.addEventListener('library', showAgain);
  choices.addEventListener('language', () => location.reload());
  startKeys();
  startMediaSession();
  // Where no login was kept, the first request would only be refused. Without storage it is sent:
  // there may be a session all the same.
  if (choice('name') === '' && writeStored('tonvale.tried', true)) {
    needLogin();
  }
  startRoutes(main);
  await learnPerson();
  isStarted = true;
  learn();
  startPlays();
  startSharedQueue();
  setTimeout(fetchViews, VIEWS_PAUSE);
}

start();
