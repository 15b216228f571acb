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
