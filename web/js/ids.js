// What the identifiers of songs tell: `music_12`, `music_p_12` for a personal library, `music_v_12`
// for a track of a cue sheet, `music_/PATH` for an entry of a playlist whose song is missing.

/**
 * True for a song that the server can keep: neither a stream nor an entry whose song is missing.
 * @param {{id: string, isStream?: boolean} | undefined} song
 */
export function isOfLibrary(song) {
  return song !== undefined && !song.isStream && /^music_[pv_]*\d+$/.test(song.id);
}

/** @param {{id: string}} song an entry whose song the library does not know keeps its path */
export function isMissing({ id }) {
  return /^music_(p_)?(v_)?\//.test(id);
}

/** @param {{id: string}} song that a cue sheet may cut from a file */
export function isTrack({ id }) {
  return /^music_(p_)?v_/.test(id);
}

/**
 * The identifier that a song has in every library: personal and shared ones have one numbering.
 * @param {string} id
 */
export function sharedId(id) {
  return id.replace(/^music_p_/, 'music_');
}
