// Links by which others hear a playlist or a song without a login.

import { attempt, copyText, titleOf } from '../actions.js';
import { call, change, Refusal } from '../api.js';
import { h, refill } from '../dom.js';
import { t } from '../texts.js';
import { field, openDialog } from './dialog.js';
import { toast } from './toast.js';

/** @typedef {import('../types.js').Link} Link */

/** @param {string} url */
function addressField(url) {
  const input = h('input', { readOnly: true, value: url, onfocus: () => input.select() });
  return h('div', { class: 'copy' }, field(t('share.address'), input),
    h('button', { class: 'button', type: 'button', onclick: () => copyText(url) }, t('do.copy')));
}

/** @param {Link} link */
export function statusOf(link) {
  const days = { from: link.date_available, until: link.date_expired };
  return t(`share.${link.status}`, days);
}

/** @param {import('../types.js').Song} song */
export async function shareSong(song) {
  const data = await attempt(() => change('Sharing', 'share_song', { id: song.id }));
  if (data) {
    const end = h('button', {
      class: 'button', type: 'button',
      onclick: () => attempt(async () => {
        await change('Sharing', 'unshare_song', { id: song.id });
        dialog.close();
        toast(t('share.ended'));
      }),
    }, t('share.end'));
    const dialog = openDialog(t('share.title', { name: titleOf(song) }),
      h('p', { class: 'soft' }, t('share.song')), addressField(data.sharing.song_url),
      h('footer', {}, end));
  }
}

/** @param {string} id of a playlist */
async function linkOf(id) {
  try {
    return /** @type {Link} */ ((await call('Sharing', 'get', { playlist_id: id })).sharing);
  } catch (error) {
    if (error instanceof Refusal && error.code === 404) {
      return null;
    }
    throw error;
  }
}

/** @param {import('../types.js').Playlist} playlist */
export async function sharePlaylist({ id, name }) {
  const found = await attempt(() => linkOf(id));
  if (found === undefined) {
    return;
  }
  const body = h('div', { class: 'share' });
  const dialog = openDialog(t('share.title', { name }),
    h('p', { class: 'soft' }, t('share.hint')), body);
  const draw = (/** @type {Link | null} */ link) => {
    const day = (/** @type {string} */ value) => (value && value !== '0' ? value : '');
    const from = h('input', { type: 'date', value: day(link?.date_available ?? '') });
    const until = h('input', { type: 'date', value: day(link?.date_expired ?? '') });
    const save = () => attempt(async () => {
      until.required = from.value !== ''; // a first day alone is refused
      if (!until.reportValidity()) {
        return;
      }
      const params = {
        playlist_id: id, date_expired: until.value || '0',
        date_available: until.value ? from.value || undefined : '0',
      };
      draw((await change('Sharing', link ? 'update' : 'create', params)).sharing);
      toast(t('done.saved'));
    });
    const end = () => attempt(async () => {
      await change('Sharing', 'delete', { playlist_id: id });
      dialog.close();
      toast(t('share.ended'));
    });
    refill(body,
      link && h('p', { class: `status is-${link.status}` }, statusOf(link)),
      link && addressField(link.url),
      h('div', { class: 'two' }, field(t('share.from'), from), field(t('share.until'), until)),
      h('footer', {},
        link && h('button', { class: 'button', type: 'button', onclick: end }, t('share.end')),
        h('button', { class: 'button is-main', type: 'button', onclick: save },
          t(link ? 'share.change' : 'share.make'))));
  };
  draw(found);
}
