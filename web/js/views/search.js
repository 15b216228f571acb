// Search: all kinds at once, while somebody types.

import { choice, choose } from '../choices.js';
import { afterPause, h, refill } from '../dom.js';
import { icon } from '../icons.js';
import { albumCard, emptyNote, groupCard, shelf } from '../parts/cards.js';
import { page } from '../parts/page-view.js';
import { songList } from '../parts/song-list.js';
import { attempt } from '../parts/toast.js';
import { go } from '../routes.js';
import { search } from '../search.js';
import { t } from '../texts.js';
import { playlistCard } from './playlists.js';

const PAUSE = 220;
const MOST_KEPT = 8;

/** @param {import('../search.js').Found} found */
function results(found) {
  const { albums, artists, genres, composers, playlists, songs, source } = found;
  return [
    shelf(t('nav.artists'), artists.map((one) => groupCard('artist', one))),
    shelf(t('nav.albums'), albums.map((one) => albumCard(one))),
    shelf(t('nav.playlists'), playlists.map(playlistCard)),
    shelf(t('nav.genres'), genres.map((one) => groupCard('genre', one))),
    shelf(t('nav.composers'), composers.map((one) => groupCard('composer', one))),
    ...(songs > 0 ? [
      h('h2', { class: 'disc' }, t('nav.songs'), ' ', h('small', { class: 'soft' }, songs)),
      songList(source, { label: t('nav.songs'), withAlbum: true }),
    ] : []),
  ];
}

/**
 * What was searched on the way to a longer text is not kept.
 * @param {string} text
 */
function remember(text) {
  const others = choice('searches').filter((one) => !text.startsWith(one));
  choose('searches', [text, ...others].slice(0, MOST_KEPT));
}

/** @param {(text: string) => void} pick */
function start(pick) {
  const before = choice('searches');
  return before.length === 0
    ? emptyNote('search', t('search.start'), t('search.start.hint'))
    : h('section', {}, h('h2', { class: 'disc' }, t('search.recent')),
      h('div', { class: 'chips' }, ...before.map((text) =>
        h('button', { class: 'chip', dir: 'auto', onclick: () => pick(text) }, text))));
}

/** @param {import('../types.js').Place} place */
export function view({ query }) {
  return page('search', t('nav.search'), (view) => {
    const found = h('div', { class: 'found' });
    const status = h('p', { class: 'unseen', role: 'status' });
    /** @type {AbortController | null} */
    let asked = null;

    const look = async (/** @type {string} */ text) => {
      asked?.abort();
      asked = new AbortController();
      const { signal } = asked;
      if (text === '') {
        refill(found, start(pick));
        return;
      }
      found.classList.add('is-busy');
      await attempt(async () => {
        const parts = results(await search(text, signal)).filter(Boolean);
        status.textContent = t('search.found', { text });
        refill(found, ...(parts.length > 0 ? parts
          : [emptyNote('search', t('search.none', { text }), t('search.none.hint'))]));
        if (parts.length > 0) {
          remember(text);
        }
      }, (trouble) => refill(found, emptyNote('search', trouble)));
      if (!signal.aborted) {
        found.classList.remove('is-busy');
      }
    };
    const typed = afterPause(PAUSE, () => {
      if (view.isConnected) {
        const text = input.value.trim();
        go(text ? `/search?${new URLSearchParams({ q: text })}` : '/search',
          { replace: true, quiet: true });
        look(text);
      }
    });
    const pick = (/** @type {string} */ text) => {
      input.value = text;
      typed();
      input.focus();
    };
    const input = h('input', {
      type: 'search', class: 'search-input', 'aria-label': t('search.label'),
      placeholder: t('search.hint'), value: query.get('q') ?? '', dir: 'auto', maxLength: 400,
      autocomplete: 'off', spellcheck: false, enterkeyhint: 'search', 'data-first-focus': '',
      oninput: typed,
    });
    view.append(h('h1', { class: 'unseen' }, t('nav.search')),
      h('form', { class: 'search-field', role: 'search', onsubmit: (/** @type {Event} */ event) => {
        event.preventDefault();
        input.blur();
      } }, icon('search'), input), status, found);
    view.signal.addEventListener('abort', () => asked?.abort());
    look(input.value.trim());
  });
}
