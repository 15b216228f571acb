// Makes every call that the package subsonic-api has, and compares its outcome.
// node calls.mjs URL USER KEY get|post
import SubsonicAPI from 'subsonic-api';

const [url, username, password, way] = process.argv.slice(2);
const api = new SubsonicAPI({ url, auth: { username, password }, post: way === 'post' });

const { song: [song] } = (await api.search3({ query: '', songCount: 1 })).searchResult3;
const id = song.id;
const { albumId, artistId } = song;
const made = (await api.createPlaylist({ name: `made by ${way}`, songId: [id, id] })).playlist;
const share = (await api.createShare({ id, description: `shared by ${way}` })).shares.share[0];
const stations = async () => (await api.getInternetRadioStations())
    .internetRadioStations.internetRadioStation;

// The arguments of a call, and its code if it must be refused; in the order of the calls.
const CALLS = {
    ping: [], getLicense: [], getOpenSubsonicExtensions: [], getMusicFolders: [], getIndexes: [],
    getMusicDirectory: [{ id: song.parent }], getGenres: [], getArtists: [],
    getArtist: [{ id: artistId }], getAlbum: [{ id: albumId }], getSong: [{ id }], getVideos: [],
    getVideoInfo: [{ id }, 70], getArtistInfo: [{ id: artistId }],
    getArtistInfo2: [{ id: artistId }], getAlbumInfo: [{ id: albumId }],
    getAlbumInfo2: [{ id: albumId }], getSimilarSongs: [{ id }],
    getSimilarSongs2: [{ id: artistId }], getTopSongs: [{ artist: song.artist }],
    getAlbumList: [{ type: 'newest' }], getAlbumList2: [{ type: 'alphabeticalByName' }],
    getRandomSongs: [], getSongsByGenre: [{ genre: 'Jazz' }], getNowPlaying: [],
    star: [{ id, albumId, artistId }], getStarred: [], getStarred2: [],
    unstar: [{ id, albumId, artistId }], search2: [{ query: 'a' }], search3: [{ query: '' }],
    createPlaylist: [{ playlistId: made.id, songId: [id] }],
    updatePlaylist: [{ playlistId: made.id, songIdToAdd: [id, id], songIndexToRemove: [0] }],
    getPlaylists: [], getPlaylist: [{ id: made.id }], deletePlaylist: [{ id: made.id }],
    stream: [{ id, format: 'mp3', maxBitRate: 64 }], download: [{ id }], hls: [{ id }, 70],
    getCaptions: [{ id }, 70], getCoverArt: [{ id: song.coverArt, size: 200 }],
    getLyrics: [{ artist: song.artist, title: song.title }], getLyricsBySongId: [{ id }],
    getAvatar: [{ username }, 70], setRating: [{ id, rating: 4 }],
    scrobble: [{ id, submission: true, time: Date.now() }], reportPlayback: [{ mediaId: id }, 70],
    getShares: [], createShare: [{ id: [id, id] }],
    updateShare: [{ id: share.id, expires: Date.now() + 86400000 }],
    deleteShare: [{ id: share.id }],
    getPodcasts: [], getNewestPodcasts: [], refreshPodcasts: [undefined, 70],
    createPodcastChannel: [{ url: 'http://127.0.0.1/' }, 70], deletePodcastChannel: [{ id }, 70],
    deletePodcastEpisode: [{ id }, 70], downloadPodcastEpisode: [{ id }, 70],
    getPodcastEpisode: [{ id }, 70], jukeboxControl: [{ action: 'status' }, 0],
    createInternetRadioStation: [{ name: 'one', streamUrl: 'http://radio.example/' }],
    getInternetRadioStations: [],
    updateInternetRadioStation: [
        async () => ({ id: (await stations())[0].id, name: '2', streamUrl: 'http://r.example/' })],
    deleteInternetRadioStation: [async () => ({ id: (await stations())[0].id })],
    getChatMessages: [], addChatMessage: [{ message: 'x' }, 70], getUser: [{ username }],
    getUsers: [], createUser: [{ username: 'x', password: 'x', email: 'x' }, 50],
    updateUser: [{ username: 'x' }, 50], deleteUser: [{ username: 'x' }, 50],
    changePassword: [{ username, password: 'x' }, 50],
    createBookmark: [{ id, position: 1000, comment: 'here' }], getBookmarks: [],
    deleteBookmark: [{ id }], savePlayQueue: [{ id: [id], current: id, position: 5 }],
    getPlayQueue: [], getScanStatus: [], startScan: [],
};
// Names that are no call of the protocol.
const OTHERS = /^(constructor|custom|customJSON|baseURL|\w+Session)$/;

// The code that a call was refused with, -1 for none.
async function codeOf(name, given) {
    const answer = await api[name](typeof given === 'function' ? await given() : given)
        .catch((error) => ({ error: { code: error.code ?? String(error) } }));
    if (!(answer instanceof Response)) {
        return answer.error?.code ?? -1;
    }
    const bytes = await answer.arrayBuffer();
    if (!/xml|json/.test(answer.headers.get('content-type'))) {
        return bytes.byteLength > 100 ? -1 : 'too few bytes';
    }
    return Number(/code"?[=:]\s*"?(\d+)/.exec(new TextDecoder().decode(bytes))?.[1] ?? -1);
}

let wrong = 0;
for (const name of Object.getOwnPropertyNames(SubsonicAPI.prototype)) {
    if (!OTHERS.test(name) && !(name in CALLS)) {
        console.log(`${name}: this script does not call it`);
        wrong += 1;
    }
}
for (const [name, [given, wanted = -1]] of Object.entries(CALLS)) {
    if (name in api) {
        const code = await codeOf(name, given);
        if (code !== wanted) {
            console.log(`${name}: ${code} in place of ${wanted}`);
            wrong += 1;
        }
    }
}
process.exit(wrong === 0 ? 0 : 1);
