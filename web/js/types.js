// Types that several modules share. Nothing here runs.

/**
 * A song as the page keeps it: a track object of the API made flat.
 * @typedef {object} Song
 * @property {string} id
 * @property {string} title
 * @property {string} path
 * @property {boolean} isStream
 * @property {string} artist
 * @property {string} album
 * @property {string} albumArtist
 * @property {string} composer
 * @property {string} genre
 * @property {string} comment
 * @property {number} disc
 * @property {number} track
 * @property {number} year
 * @property {number} duration seconds, 0: unknown
 * @property {number} rating 0 to 5
 * @property {string} codec
 * @property {string} container
 * @property {number} frequency
 * @property {number} bitrate bit/s
 * @property {number} channels
 * @property {number} size
 * @property {Gain} [gain]
 * @property {ServerSong} [server] where it is, for a song of another media server
 */

/**
 * A song of a public link: all that its page knows of it.
 * @typedef {{address: string, isStream: false, duration: 0, gain?: undefined}} SharedSong
 */

/** @typedef {{url: string, id: string}} ServerSong a song of another media server */

/** @typedef {'state' | 'time' | 'song' | 'order' | 'volume' | 'modes'} PlayerEvent */

/**
 * @typedef {'toggle' | 'stop' | 'next' | 'previous' | 'seek' | 'volume' | 'modes' | 'remove' |
 *           'clear' | 'insert'} PlayerAct
 */

/**
 * What plays songs: this browser (here.js), or the server (server-player.js).
 * @typedef {object} Player
 * @property {'here' | 'server'} name
 * @property {EventTarget} events tells each PlayerEvent; `order` is that of the queue
 * @property {(until: AbortSignal) => void} [start] when it is chosen
 * @property {(what: PlayerAct) => boolean} can now; `insert`: add songs after the current one
 * @property {() => Song | undefined} current
 * @property {() => Song | undefined} upcoming
 * @property {() => boolean} isPlaying
 * @property {() => boolean} isWaiting
 * @property {() => number} time seconds
 * @property {() => number} duration
 * @property {() => unknown} toggle
 * @property {() => unknown} stop
 * @property {() => unknown} next
 * @property {() => unknown} previous
 * @property {(seconds: number) => unknown} seek
 * @property {() => number} volume 0 to 1
 * @property {() => boolean} isMuted
 * @property {(volume: number) => unknown} setVolume
 * @property {() => unknown} toggleMuted
 * @property {() => boolean} isShuffled
 * @property {() => unknown} toggleShuffle
 * @property {() => 'off' | 'all' | 'one'} repeat
 * @property {() => unknown} toggleRepeat
 * @property {(songs: Song[], how?: {first?: number, shuffle?: boolean}) => unknown} playSongs
 * @property {(songs: Song[], next: boolean) => Promise<number>} addSongs how many were added
 * @property {() => Source<Song>} source the queue
 * @property {() => number} count of its songs
 * @property {() => number} seconds of them all, 0: unknown
 * @property {() => number} position of the current one
 * @property {(place: number) => unknown} playAt
 * @property {(places: number[], before: number) => unknown} [move] together
 * @property {(places: number[]) => unknown} remove
 * @property {() => unknown} clear
 */

/** @typedef {{track?: number, trackPeak?: number, album?: number, albumPeak?: number}} Gain */

/** @typedef {{name: string, albumArtist: string, year?: number, star?: number}} Album */

/** @typedef {{name: string, star?: number}} Group an artist, a genre or a composer */

/** @typedef {{id: string, name: string, path: string}} Folder */

/**
 * @typedef {object} Playlist
 * @property {string} id
 * @property {string} name
 * @property {'shared' | 'personal'} library
 * @property {'normal' | 'smart'} type
 */

/** @typedef {{id: string, type: string, name: string, criteria: Record<string, string>}} Pin */

/**
 * @typedef {object} Link a share link
 * @property {string} id
 * @property {string} url
 * @property {string} date_available
 * @property {string} date_expired
 * @property {'valid' | 'invalid' | 'expired'} status
 * @property {string} playlist_id
 * @property {string} name
 * @property {string} [song_url] of one of its songs alone
 */

/**
 * What a long list shows: pages that are fetched when they come into sight.
 * @template T
 * @typedef {object} Source
 * @property {number} pageSize
 * @property {(offset: number, limit: number, signal?: AbortSignal) =>
 *            Promise<{total: number, items: T[]}>} fetch
 */

/**
 * @template T
 * @typedef {object} Look how a long list shows its items
 * @property {(item: T, index: number) => HTMLElement} make
 * @property {number} [rowHeight] of a list
 * @property {{width: number, below: number, ratio?: number}} [grid] least width of a cell, the
 *   height below its picture, and the picture's height by its width
 * @property {string} label for screen readers
 * @property {() => Node} [empty] what stands in place of no items
 * @property {(total: number) => void} [counted]
 */

/**
 * What a view gets from the routes.
 * @typedef {object} Place
 * @property {string} path
 * @property {string} id the rest of the path
 * @property {URLSearchParams} query
 */

export {};
