// The keys of a keyboard or headset, and the lock screen of a phone.

import { coverAddress, sized } from './library.js';
import { duration, isPlaying, next, pause, play, player, previous, seek, time } from './player.js';
import { current } from './queue.js';

function showSong() {
  const song = current();
  navigator.mediaSession.metadata = song
    ? new MediaMetadata({
      title: song.title,
      artist: song.artist,
      album: song.album,
      artwork: song.isStream ? [] : [{ src: sized(coverAddress({ id: song.id }), 384) }],
    })
    : null;
}

function showTime() {
  const length = duration();
  if (length > 0) {
    navigator.mediaSession.setPositionState({
      duration: length, position: Math.min(time(), length), playbackRate: 1,
    });
  }
}

export function startMediaSession() {
  if (!('mediaSession' in navigator)) {
    return;
  }
  const session = navigator.mediaSession;
  session.setActionHandler('play', play);
  session.setActionHandler('pause', pause);
  session.setActionHandler('nexttrack', next);
  session.setActionHandler('previoustrack', previous);
  session.setActionHandler('seekto', ({ seekTime }) => seek(seekTime ?? 0));
  session.setActionHandler('seekbackward', ({ seekOffset }) => seek(time() - (seekOffset ?? 10)));
  session.setActionHandler('seekforward', ({ seekOffset }) => seek(time() + (seekOffset ?? 10)));
  player.addEventListener('song', showSong);
  player.addEventListener('state', () => {
    session.playbackState = isPlaying() ? 'playing' : 'paused';
    showTime();
  });
  showSong();
}
