// What the web API is made of: identifiers of songs and playlists, track objects, and the playlist
// pages.
//
// Identifiers are a stable vocabulary: clients keep them, and shares and pins store them. Songs:
//   music_ID, music_v_ID              a song of the shared library by its row id, the second a
//                                     track of a cue sheet
//   music_p_ID, music_p_v_ID          the same in the calling user's own library
//   music_PATH, music_p_PATH          a file that the library does not know, by its volume path
//   remote_TAGS URL                   a stream; TAGS is compact JSON with a line feed at its end
//   radio_NAME URL                    a radio station
// Playlists: "playlist_", "personal" or "shared", "_", "normal" or "smart", "/" and a key. The key
// is the base name of a file in the user's preference folder (personal normal), the row id in the
// playlist catalogue (shared normal, and personal normal with a personal library), or the name of a
// smart playlist.
//
// The parsers leave outputs that they do not reach as they were: start from empty ones. Failures
// are logged with syslog(3) at error level. Nothing throws. Calls that switch the effective user
// of the process say so: they are for single-threaded processes.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tonvale/export.h"
#include "varn/mediaindex.h"
#include "varn/webapi.h"

// ---- identifiers -------------------------------------------------------------------------------

// The row id in a song's identifier, as text: the digits after the last "_" of a text that begins
// with "music_". The four forms with a row id are not told apart, and a path that happens to end in
// "_" and digits reads as one too. 0, or -1 when there are no such digits.
TONVALE_EXPORT int VARNAudioWebapiUtilsParseSongId(const std::string &id,
                                                   std::string &number) noexcept;

// Splits a radio station's identifier at its last blank. The text before it without the six
// characters of "radio_", which are not looked at, is the name; a shorter text leaves `name` as it
// is. 1, or 0 when there is no blank.
TONVALE_EXPORT int VARNAudioWebapiUtilsParseRadioId(const std::string &id, std::string &name,
                                                    std::string &url) noexcept;

// Splits a stream's identifier at its last blank. The text before it without the seven characters
// of "remote_", which are not looked at, is JSON with the tags; a tag that is missing or of a wrong
// type reads as "" or 0. Where that is not a JSON object, `title` becomes the URL and the other
// tags stay as they are. `duration` is in whole seconds, a fraction being cut off. 1, or 0 when
// there is no blank.
TONVALE_EXPORT int VARNAudioWebapiUtilsParseRemoteId(const std::string &id, std::string &title,
                                                     std::string &url, std::string &artist,
                                                     std::string &album, std::string &cover,
                                                     int &duration) noexcept;

// The tags of a stream's identifier: an object with title, artist, album, cover (the record's
// comment, where a stream keeps its cover's address) and duration (whole seconds), on one line with
// a line feed at its end. "" for null.
TONVALE_EXPORT std::string VARNAudioWebapiUtilsGetInfoJsonStringByInfo(
    const VARN_MEDIA_INFO *record) noexcept;

// The same from a client's object with title, album, duration and albumArtURL. The artist is taken
// from the title as well: identifiers that are kept carry it so. Anything that is no object reads
// as an empty one, and values are passed on as they are.
TONVALE_EXPORT std::string VARNAudioWebapiUtilsGetInfoJsonStringByJson(
    const Json::Value &json) noexcept;

// Takes a playlist's identifier apart. The words before the first "/" are three or four; the second
// is compared with "shared", the third with "smart", nothing else is looked at. A key that contains
// "../" is refused; ".." and "x/.." are not, so that a key is no safe file name. 1, or 0 (no "/",
// such a key, another number of words).
TONVALE_EXPORT int VARNAudioWebapiUtilsParsePlaylistId(const std::string &id, bool &shared,
                                                       bool &smart, std::string &key) noexcept;

// The display name and the file of a playlist.
//   uid             the calling user
//   userDir         the user's preference folder
//   byRecordNumber  the key of a personal normal playlist is a row id, as it is for a user with a
//                   personal library; otherwise it is the base name of a file in
//                   `userDir`/playlists
// The user's list of shared songs lies elsewhere and is not found by its identifier.
// 1 with both outputs set, or 0.
// Looking for a file of the user's folder switches the effective user to root and, when it is
// there, to the package's account afterwards. When it is missing the process stays root.
TONVALE_EXPORT int VARNAudioWebapiUtilsGetPlaylistNamePath(const std::string &id, unsigned uid,
                                                           const std::string &userDir,
                                                           bool byRecordNumber, std::string &name,
                                                           std::string &path) noexcept;

// The volume path of the song reference of a shared link: a share-relative path in base64 with
// "-" and "_" in place of "+" and "/" (RFC 4648, section 5). It is an encoding, no protection: what
// comes out is checked before it is opened. `userName` is whose home "/home/" means. "" on failure.
TONVALE_EXPORT std::string VARNAudioGetFullPathFromEncSong(const std::string &encoded,
                                                           const std::string &userName) noexcept;

namespace Tonvale {

// A URL in the three parts of WebUtils::ParseURL (varn/webapi.h). All three are empty after a
// failure, which is logged.
class TONVALE_EXPORT UrlParser {
  public:
    explicit UrlParser(const std::string &url) noexcept;

    std::string scheme;
    std::string host;  // with ":port" where the URL has one
    std::string path;
};

}  // namespace Tonvale

namespace Tonvale::webapi::playlist {

// A playlist's identifier as a value.
class TONVALE_EXPORT PlaylistResult {
  public:
    PlaylistResult() = default;
    // Everything stays empty when `id` is no playlist's identifier.
    explicit PlaylistResult(const std::string &id) noexcept;
    // A normal playlist by its key.
    PlaylistResult(const std::string &playlistName, const std::string &key,
                   bool isPersonal) noexcept;
    // A smart playlist.
    PlaylistResult(const std::string &playlistName, bool isPersonal) noexcept;
    // A text, which would be taken for the flag.
    PlaylistResult(const std::string &playlistName, const char *key) = delete;
    PlaylistResult(const std::string &playlistName, const std::string &key, const char *) = delete;

    // The identifier, "" without a key.
    std::string GetId() const noexcept;

    std::string name;  // of a smart playlist
    std::string path;  // the key of a normal one
    bool personal = false;
    bool smart = false;
};

}  // namespace Tonvale::webapi::playlist

// Makes a list of the songs with an array of identifiers, in its order; a song that comes twice
// is there twice. Only identifiers with a row id are taken. The number of songs, or -1 with
// *listOut null (an identifier of another form, a song that the user's browse library does not
// have). The caller frees the list with VARNPlaylistRecFree.
TONVALE_EXPORT int VARNAudioWebapiUtilsGetMediaList(uid_t uid, const Json::Value &ids,
                                                    PLAYLIST_REC **listOut) noexcept;

// ---- track objects -----------------------------------------------------------------------------

namespace Tonvale::webapi {

// Builds the track objects of one user's answers:
//   id, title, path, type             path is share-relative, or a stream's URL; type is "remote"
//                                     for a stream that the library does not know, else "file"
//   additional                        with what the three switches ask for: song_tag, song_audio,
//                                     song_rating
class TONVALE_EXPORT WebapiLibrary {
  public:
    explicit WebapiLibrary(const VARN::APIRequest &request) noexcept;
    WebapiLibrary(unsigned userId, const std::string &user,
                  const std::string &preferenceFolder) noexcept;

    // Fills one track object. A track of a cue sheet that has no duration yet gets it here, in the
    // record and in the library (VARNAudioWebapiCorrectVirtualMusicDuration).
    //   rating  0 to 5 stars
    //   gain    null: none
    // `track` keeps members of other names. A null record changes nothing.
    void GetSingleTrackJson(VARN_MEDIA_INFO *record, unsigned rating,
                            const _REPLAYGAIN_METADATA_ *gain, Json::Value &track) const noexcept;

    // Appends a track object for each entry of a list to the array `tracks`. Ratings and replay
    // gains come from `hash`, for the entries that the library knows; the replay gain of an entry
    // that is not looked up is that of the one before it. An empty list changes nothing.
    void GetTrackJson(PVLIBSZHASH *hash, PLAYLIST_REC *first, Json::Value &tracks) const noexcept;

    // True for a path that begins with "http://" or "https://".
    static bool IsRemoteTrack(const std::string &path) noexcept;

    // The format of a stream by its content type, in exactly this spelling: "mp3", "aacp", "aac",
    // "mp4", "wav", "aiff", or "raw" for any other.
    static std::string TranslateContentTypeToFormat(const std::string &contentType) noexcept;

    // The user's home folder, "" when there is none or it is longer than 1023 bytes.
    std::string GetUserHome() const noexcept;

    // The body of an ORDER BY for a client's sort key and direction. Neither is checked: look the
    // key up in a table first, and take no other direction than ASC or DESC.
    std::string GetSortOrderString(const std::string &sortBy,
                                   const std::string &direction) const noexcept;

    // Whether texts are ordered by the collation, which the system's code page decides.
    static bool IsCollationSortNeeded() noexcept;

    // The COLLATE clause for the first column of an order, "" when it needs none.
    static std::string GetCollationSort(const std::string &orderText) noexcept;

    unsigned uid = 0;
    std::string userName;
    std::string preferenceDir;
    bool addSongTag = false;
    bool addSongAudio = false;
    bool addSongRating = false;
};

// The tags of a song: album, artist, album_artist, composer, genre, comment, disc, track, year and,
// with a replay gain, rg_track_gain, rg_track_peak, rg_album_gain, rg_album_peak as text. Null for
// a null record.
TONVALE_EXPORT Json::Value GetSongTagObject(const VARN_MEDIA_INFO *record,
                                            const _REPLAYGAIN_METADATA_ *gain) noexcept;

// The audio properties: duration (whole seconds), frequency, bitrate, channel, filesize, container,
// codec. Null for a null record.
TONVALE_EXPORT Json::Value GetSongAudioObject(const VARN_MEDIA_INFO *record) noexcept;

}  // namespace Tonvale::webapi

// Gives a track of a cue sheet its duration, which is stored as minus its start until it is known:
// the duration of the whole file plus that value, written into the record and the library. A file
// without a duration changes nothing. 1, or 0 with the record unchanged unless the library could
// not be written.
TONVALE_EXPORT int VARNAudioWebapiCorrectVirtualMusicDuration(VARN_MEDIA_INFO *record) noexcept;

// A number in six significant digits, without zeros at its end.
TONVALE_EXPORT std::string VARNAudioWebapiUtilsGetStringFromFloat(float number) noexcept;

// The share-relative path of a volume path; a stream's URL stays as it is. A path that no share
// holds gets a "/" in front, and a log line: AudioFile::GetSharePathByVolPath (tonvale/paths.h)
// gives "" instead. 1 with `out` (size bytes, cut where it does not fit) set, or 0 for a null path
// or buffer or a size of 0.
TONVALE_EXPORT int VARNAudioWebapiUtilsGetSharePathByVolPath(const char *volPath, char *out,
                                                             size_t size) noexcept;

// The text after the last "/", and with `cutExtension` before its last "."; a name without "/"
// whose only "." is its first character stays whole.
TONVALE_EXPORT std::string VARNAudioWebapiUtilsGetFileName(const std::string &path,
                                                           bool cutExtension) noexcept;

// The text after the last "." of a path, be it in a folder's name; "" without one.
TONVALE_EXPORT std::string VARNAudioWebapiUtilsGetFileExt(const std::string &path) noexcept;

// ---- conditions of song lists ------------------------------------------------------------------

namespace Tonvale::webapi::playlist {

// A text as it may stand between single quotes in SQL.
class TONVALE_EXPORT EscapedKeyword {
  public:
    explicit EscapedKeyword(const std::string &value) noexcept;
    ~EscapedKeyword();
    EscapedKeyword(const EscapedKeyword &) = delete;
    EscapedKeyword &operator=(const EscapedKeyword &) = delete;

    // Owned by this object; null for a text that is not UTF-8 or has a NUL, and when memory
    // was short.
    const char *Get() const noexcept { return text_; }

  private:
    char *text_;
};

// The tags that a song list is narrowed by. The first of each pair tells whether the filter is
// given; a given one with an empty text asks for songs without that tag.
class TONVALE_EXPORT ListTrackCondition {
  public:
    // The condition for one column, which goes into the text as it is; "" for an empty one.
    // "artist" asks for the artist and the album artist, without regard to case, any other column
    // for exactly the value. A value that cannot be escaped leaves the condition open after the
    // first quote, which makes the statement fail.
    static std::string GetSingleCondition(const std::string &column,
                                          const std::string &value) noexcept;

    // All given filters, joined with AND; "" for none.
    std::string GetConditionString() const noexcept;

    std::pair<bool, std::string> album;
    std::pair<bool, std::string> albumArtist;
    std::pair<bool, std::string> artist;
    std::pair<bool, std::string> composer;
    std::pair<bool, std::string> genre;
};

}  // namespace Tonvale::webapi::playlist

// ---- ratings -----------------------------------------------------------------------------------
//
// A rating is kept twice: as a row of "rating_track", which the lists read, and in the file
// VARNAUDIO_SONG_RATING of the song's extended-attribute folder (of a track of a cue sheet under
// its virtual name, PATH_NUMBER), which outlives the database. That file is a key-value file with
// the user's id as key and the stars as value.

// Rates songs for a user, 0 to 5 stars. Identifiers of anything but songs with a row id are passed
// over. Whether the user may browse the songs is not asked. Holders of locks of the songs' files
// are waited for 2 seconds altogether. Ends with the process running as the
// package's account when a song was rated.
// 1, also when none of the identifiers is a song's or a file could not be written, which is
// logged; 0 for no identifiers, user id 4294967295, more stars (none of these is logged), or a
// database that could not be written, with no file written then.
TONVALE_EXPORT int VARNAudioWebapiSetSongRating(unsigned uid,
                                                const std::vector<std::string> &identifiers,
                                                unsigned star) noexcept;

// Writes the table's rows over the connection of `database`, which may have no transaction open,
// and adds to `paths` the path or virtual name of each song that was rated. An id that the library
// does not have is passed over. A rating of 0 is kept as a row too. All rows are written or none;
// what was refused, as of two first ratings at once, is tried once more. A locked table,
// as the indexer leaves it while it gives moved songs their ids back, is waited for 10 seconds.
// 1, or 0 (an id that is not made of digits, a statement that failed, a lock that stayed) with
// `paths` and the table unchanged.
TONVALE_EXPORT int VARNAudioWebapiSaveDBStar(const std::vector<std::string> &numbers,
                                             std::vector<std::string> &paths,
                                             MEDIA_DB_HANDLE *database, unsigned uid,
                                             unsigned star) noexcept;

// Writes one user's rating into a song's file; 0 removes it, and the file with its last line. Runs
// as root, and leaves the process running as the package's account, unless the arguments are
// refused (null, user id 4294967295, more than 5 stars). A locked file is waited for,
// 2 seconds. 1, or 0.
TONVALE_EXPORT int VARNSetSongRatingToEA(const char *path, unsigned uid, unsigned star) noexcept;

// ---- playlist pages ----------------------------------------------------------------------------

namespace Tonvale::webapi {

// The ratings and replay gains of a page's songs, which the playlist readers fill and GetTrackJson
// reads.
class TONVALE_EXPORT HashRating {
  public:
    HashRating() noexcept;
    ~HashRating();
    HashRating(const HashRating &) = delete;
    HashRating &operator=(const HashRating &) = delete;

    // Where readers and writers find the hash; it holds null when memory was short.
    PVLIBSZHASH *Get() noexcept { return &hash_; }

  private:
    PVLIBSZHASH hash_;
};

}  // namespace Tonvale::webapi

// Whose a playlist is. Calls take it as an int and say how they read other values.
enum _tag_PLAYLIST_TYPE_ : int {
    PLAYLIST_TYPE_PERSONAL = 0,
    PLAYLIST_TYPE_SHARED = 1,
};

namespace Tonvale::webapi::playlist {

// The list of a user's single shared songs (tonvale/sharing.h): its identifier, and the key in it.
inline constexpr char kSharedSongsId[] = "playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__";
inline constexpr const char *kSharedSongsKey = kSharedSongsId + sizeof "playlist_personal_normal";

// The playlist pages of one user.
class TONVALE_EXPORT PlaylistLibrary : public WebapiLibrary {
  public:
    explicit PlaylistLibrary(const VARN::APIRequest &request) noexcept;
    PlaylistLibrary(unsigned userId, const std::string &user,
                    const std::string &preferenceFolder) noexcept;

    // Appends a page of a normal playlist's songs to `tracks`.
    //   key            the key of the playlist's identifier
    //   type           1: shared; any other: personal
    //   offset, limit  the page, in entries; limit 0: to the end
    // The number of entries in the whole playlist, or -1 with `tracks` as it was. The playlist is
    // found as GetPlaylistPath does.
    int GetTrackFromNormalPlaylist(const std::string &key, int type, int offset, int limit,
                                   Json::Value &tracks) const noexcept;

    // The file of a normal playlist, key and type as above; "" for one that the library does not
    // have. As a personal key kSharedSongsId names the list of shared songs, a file beside the
    // user's preferences that need not be there. Finding the playlist of a user without a personal
    // library runs as root for a moment.
    std::string GetPlaylistPath(const std::string &key, int type) const noexcept;

    // Appends a page of the songs that a smart playlist's rules select.
    //   type           0: personal; any other: shared
    //   selector       the library kind that is looked through (tonvale/library.h)
    // The number of songs that the rules select, or -1 with `tracks` as it was.
    int GetTrackFromSmartPlaylist(const std::string &name, int type, const std::string &selector,
                                  int offset, int limit, Json::Value &tracks) const noexcept;

    // How many songs a condition (VarnAudioUtils::LoadSmartPlsRules, varn/playlistsvc.h) selects,
    // or -1.
    int GetTotalFromSmartPlaylist(const std::string &rules,
                                  const std::string &selector) const noexcept;

    // Whether the user may edit shared playlists: the right "playlist" of AudioUsers
    // (tonvale/settings.h). False for an empty user name.
    bool GetSharedPlaylistPrivilege() const noexcept;
};

}  // namespace Tonvale::webapi::playlist
