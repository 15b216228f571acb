// Which address gives the sound of a song: the file itself where the browser plays it, else MP3 or
// WAV.

import { addressOf } from './api.js';
import { choice } from './choices.js';
import { isTrack } from './ids.js';

/** @typedef {import('./types.js').Song} Song */

/** @type {Record<string, string>} by the extension of the file */
const TYPES = {
  mp3: 'audio/mpeg',
  flac: 'audio/flac',
  ogg: 'audio/ogg; codecs="vorbis"',
  oga: 'audio/ogg; codecs="vorbis"',
  opus: 'audio/ogg; codecs="opus"',
  wav: 'audio/wav',
  m4a: 'audio/mp4; codecs="mp4a.40.2"',
  aac: 'audio/aac',
};

const LOSSLESS = /^(alac|als|ape|dsd|dst|flac|mlp|pcm$|shorten|tak|truehd|tta|wavpack|wv)/i;

/** Formats that the browser promised to play and did not. */
const broken = new Set();
const probe = new Audio();

/** @param {Song} song */
function formatOf({ path, codec }) {
  const extension = path.slice(path.lastIndexOf('.') + 1).toLowerCase();
  return extension === 'm4a' && codec.toLowerCase().includes('alac') ? 'alac' : extension;
}

/**
 * Tracks of cue sheets are cut out of a file, and come converted: cut files cannot be sought in.
 * @param {Song} song
 */
function playsItself(song) {
  const type = TYPES[formatOf(song)];
  return (
    !choice('alwaysConvert') &&
    !isTrack(song) &&
    type !== undefined &&
    !broken.has(formatOf(song)) &&
    probe.canPlayType(type) !== ''
  );
}

/**
 * The file itself failed: this format comes as MP3 from now on.
 * @param {Song} song
 * @returns {boolean} false: it did come as MP3
 */
export function convertFromNowOn(song) {
  return playsItself(song) && Boolean(broken.add(formatOf(song)));
}

/**
 * @param {Song} song
 * @param {number} [from] the second where a stream is to begin
 */
export function soundAddress(song, from) {
  const position = from || undefined;
  if (song.server) {
    return addressOf('MediaServer', 'stream', { ...song.server, position });
  }
  if (song.isStream) {
    const url = song.path || song.id.replace(/^\S+ /, '');
    return addressOf('Stream', 'remote', { url, format: 'mp3', position });
  }
  if (playsItself(song)) {
    return addressOf('Stream', 'stream', { id: song.id, format: 'raw' });
  }
  if (choice('lossless') && !choice('alwaysConvert') && LOSSLESS.test(song.codec)) {
    return addressOf('Stream', 'stream', { id: song.id, format: 'wav' });
  }
  const high = song.frequency === 0 || song.frequency >= 28000;
  const bitrate = high ? choice('bitrate') : undefined;
  return addressOf('Stream', 'stream', { id: song.id, format: 'mp3', bitrate });
}

/**
 * How much louder or quieter a song is played, so that none is above its peak.
 * @param {import('./decks.js').Song | undefined} song
 */
export function gainOf(song) {
  const mode = choice('gain');
  const { track, trackPeak = 1, album, albumPeak = 1 } = song?.gain ?? {};
  const decibel = mode === 'album' ? album ?? track : track ?? album;
  if (mode === 'off' || decibel === undefined) {
    return 1;
  }
  const peak = mode === 'album' ? albumPeak : trackPeak;
  return Math.min(10 ** (decibel / 20), peak > 0 ? 1 / peak : 1);
}
