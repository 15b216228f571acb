// Links by which others hear a playlist or a song without a login.

import { copyText, titleOf } from '../actions.js';
import { call, change, Refusal } from '../api.js';
import { h, refill } from '../dom.js';
import { button } from '../icons.js';
import { t } from '../texts.js';
import { field, openDialog } from './dialog.js';
import { attempt, toast } from './toast.js';

/** @typedef {import('../types.js').Link} Link */

/** The playlist of the songs that a user shares one by one; it has one link. */
const SONGS = 'playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__';

/** @param {string} url */
function addressField(url) {
  const input = h('input', { readOnly: true, value: url, onfocus: () => input.select() });
  return h('div', { class: 'copy' }, field(t('share.address'), input),
    button(t('do.copy'), () => copyText(url)));
}

/** @param {Link} link */
export function statusOf(link) {
  const days = { from: link.date_available, until: link.date_expired };
  return t(`share.${link.status}`, days);
}

/**
 * @param {string} method
 * @param {import('../api.js').Params} params
 * @returns {Promise<Link | null>}
 */
async function find(method, params) {
  try {
    return (await call('Sharing', method, params)).sharing;
  } catch (error) {
    if (error instanceof Refusal && error.code === 404) {
      return null;
    }
    throw error;
  }
}

/**
 * @typedef {object} Shared
 * @property {string} name
 * @property {string} hint
 * @property {Link | null} link
 * @property {Link | null} [like] whose days a new link has
 * @property {(days: Record<string, string | undefined>, link: Link | null) => Promise<Link>} save
 * @property {() => Promise<unknown>} end
 */

/** @param {Shared} shared */
function openShare({ name, hint, link: found, like = found, save, end }) {
  const body = h('div', { class: 'share' });
  const dialog = openDialog(t('share.title', { name }), h('p', { class: 'soft' }, hint), body);
  const draw = (/** @type {Link | null} */ link, /** @type {Link | null} */ days) => {
    const day = (/** @type {string} */ value) => (value && value !== '0' ? value : '');
    const from = h('input', { type: 'date', value: day(days?.date_available ?? '') });
    const until = h('input', { type: 'date', value: day(days?.date_expired ?? '') });
    const send = () => attempt(async () => {
      until.required = from.value !== ''; // a first day alone is refused
      if (!until.reportValidity()) {
        return;
      }
      const now = await save({
        date_expired: until.value || '0',
        date_available: until.value ? from.value || undefined : '0',
      }, link);
      draw(now, now);
      toast(t('done.saved'));
    });
    const stop = () => attempt(async () => {
      await end();
      dialog.close();
      toast(t('share.ended'));
    });
    refill(body,
      link && h('p', { class: `status is-${link.status}` }, statusOf(link)),
      link && addressField(link.song_url ?? link.url),
      h('div', { class: 'two' }, field(t('share.from'), from), field(t('share.until'), until)),
      h('footer', {},
        link && button(t('share.end'), stop),
        button(t(link ? 'share.change' : 'share.make'), send, { look: 'is-main' })));
  };
  draw(found, like);
  return dialog;
}

/** @param {import('../types.js').Song} song */
export function shareSong(song) {
  const { id } = song;
  return attempt(async () => {
    const link = await find('get_song', { id });
    openShare({
      name: titleOf(song), hint: t('share.song'), link,
      like: link ?? await find('get', { playlist_id: SONGS }),
      save: async (days, shared) => {
        const now = shared ?? (await change('Sharing', 'share_song', { id })).sharing;
        await change('Sharing', 'update', { id: now.id, ...days });
        return (await call('Sharing', 'get_song', { id })).sharing;
      },
      end: () => change('Sharing', 'unshare_song', { id }),
    });
  });
}

/** @param {{id: string, name: string}} playlist */
export function sharePlaylist({ id, name }) {
  return attempt(async () => openShare({
    name, hint: t(id === SONGS ? 'share.songs' : 'share.hint'),
    link: await find('get', { playlist_id: id }),
    save: async (days, shared) =>
      (await change('Sharing', shared ? 'update' : 'create', { playlist_id: id, ...days })).sharing,
    end: () => change('Sharing', 'delete', { playlist_id: id }),
  }));
}
