// All that is known about a song.

import { titleOf } from '../actions.js';
import { h } from '../dom.js';
import { clock, joined, t } from '../texts.js';
import { songCover } from './cover-art.js';
import { openDialog } from './dialog.js';
import { coverButton } from './large-cover.js';

/** @param {import('../types.js').Song} song */
function formatOf({ codec, container, size }) {
  const kind = codec && container && codec !== container ? `${codec} (${container})` : codec;
  return joined([
    kind.toUpperCase(),
    size >= 1e6 ? t('unit.megabytes', { value: Math.round(size / 1e5) / 10 })
      : size > 0 ? t('unit.kilobytes', { value: Math.ceil(size / 1000) }) : '',
  ]);
}

/** @param {import('../types.js').Song} song */
function qualityOf({ bitrate, frequency, channels }) {
  return joined([
    bitrate > 0 ? t('unit.kilobits', { value: Math.round(bitrate / 1000) }) : '',
    frequency > 0 ? t('unit.kilohertz', { value: frequency / 1000 }) : '',
    channels > 0 ? t('about.channels', { count: channels }) : '',
  ]);
}

/** @param {import('../types.js').Song} song */
export function aboutSong(song) {
  const { gain } = song;
  const track = joined([song.disc > 0 ? t('album.disc', { disc: song.disc }) : '',
    song.track > 0 ? String(song.track) : '']);
  const decibel = (/** @type {number | undefined} */ value) => value?.toFixed(1) ?? '–';
  /** @type {[import('../texts.js').TextName, string][]} */
  const rows = [
    ['about.title', titleOf(song)], ['about.artist', song.artist], ['about.album', song.album],
    ['about.albumArtist', song.albumArtist], ['about.composer', song.composer],
    ['about.genre', song.genre], ['about.year', song.year > 0 ? String(song.year) : ''],
    ['about.track', track], ['about.length', song.duration > 0 ? clock(song.duration) : ''],
    ['about.format', formatOf(song)],
    ['about.quality', qualityOf(song)],
    ['about.gain', gain
      ? t('about.gain.value', { track: decibel(gain.track), album: decibel(gain.album) }) : ''],
    ['about.comment', song.comment], ['about.path', song.path],
  ];
  const known = rows.filter(([, value]) => value);
  const list = h('dl', { class: 'facts' }, ...known.map(([name, value]) =>
    h('div', {}, h('dt', {}, t(name)), h('dd', { dir: 'auto' }, value))));
  openDialog(t('do.about'), h('div', { class: 'about' }, coverButton(songCover(song)), list))
    .classList.add('is-wide');
}
