// The keys of a keyboard or headset, and the lock screen of a phone.

import { coverOfSong, sized } from './covers.js';
import { player, playing } from './playing.js';

function showSong() {
  const song = player().current();
  const cover = coverOfSong(song);
  navigator.mediaSession.metadata = song
    ? new MediaMetadata({
      title: song.title,
      artist: song.artist,
      album: song.album,
      artwork: cover ? [{ src: sized(cover, 384) }] : [],
    })
    : null;
}

function showTime() {
  const length = player().duration();
  navigator.mediaSession.setPositionState(length > 0
    ? { duration: length, position: Math.min(player().time(), length), playbackRate: 1 }
    : undefined);
}

export function startMediaSession() {
  if (!('mediaSession' in navigator)) {
    return;
  }
  const session = navigator.mediaSession;
  const seekBy = (/** @type {number} */ seconds) => player().seek(player().time() + seconds);
  session.setActionHandler('play', () => player().isPlaying() || player().toggle());
  session.setActionHandler('pause', () => player().isPlaying() && player().toggle());
  session.setActionHandler('nexttrack', () => player().next());
  session.setActionHandler('previoustrack', () => player().previous());
  session.setActionHandler('seekto', ({ seekTime }) => player().seek(seekTime ?? 0));
  session.setActionHandler('seekbackward', ({ seekOffset }) => seekBy(-(seekOffset ?? 10)));
  session.setActionHandler('seekforward', ({ seekOffset }) => seekBy(seekOffset ?? 10));
  playing.addEventListener('song', showSong);
  playing.addEventListener('state', () => {
    session.playbackState = player().isPlaying() ? 'playing' : 'paused';
  });
  playing.addEventListener('time', showTime);
  showSong();
}
