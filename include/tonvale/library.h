// Queries on the music library.
//
// Every read goes through one frame: the caller names a library kind, a user, a table type,
// columns, a condition, a grouping, an order and a page; the frame builds the view of the tracks
// which that user may see, wraps the caller's pieces round it and runs the statement.
//
// Library kinds, exactly these nine:
//   all, personal, shared                      real tracks that no cue sheet splits, and virtual
//                                              tracks in place of a file that one splits
//   actual, actual_personal, actual_shared     real tracks only
//   virtual, virtual_personal, virtual_shared  virtual tracks only
// The first of each three means shared tracks (user 0) and the user's own, a "personal" kind the
// user's own. For user 0 "personal" means everybody's, and of playlists and folders so do all three
// personal kinds. A user who has virtual tracks switched off (AudioFileGetUserShowVirtualLib) gets
// the "actual" kinds for the first three.
//
// Conditions, column lists, groupings and orders are SQL and go into the statement as they are:
// values belong into them through varn::Sql (varn/sql.h) only, and a name that came from outside
// only after it was found in a closed table. An empty condition means every row: do not pass on a
// condition that could not be built.
//
// Failures are reported by the result and, unless a call says otherwise, logged with syslog(3) at
// error level. Nothing throws. The calls switch the effective user of the process while they
// connect, and keep no state between calls: they are for single-threaded processes. Afterwards the
// effective ids and the groups are those of the account that the effective user had before.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tonvale/export.h"
#include "varn/handles.h"

extern "C" {

// A new connection to the library database "mediaserver" as role "Tonvale": over the local socket
// in "/var/run/Tonvale" when there is one, otherwise, or when that fails, over the database
// client's defaults. Runs as the package's account while it connects, and switches back. Null on
// failure, the last reason in VARNDBErrorGet(null); the caller closes it with VARNDBClose.
TONVALE_EXPORT DBConnect_tag *AudioInfoDBConnect(void) noexcept;

// Runs a query and returns a handle over its rows, which owns its own connection; released with
// AudioInfoDBClose. Null on failure.
//   library          one of the nine kinds, taken as it is: whether the user may browse it is asked
//                    with NormalizeLibraryKind first
//   uid              the user; need not be known, 4294967295 is refused
//   tableType        VARN_TABLE_MUSIC, VARN_TABLE_PLAYLIST or VARN_TABLE_DIRECTORY
//   columns          column list; null or empty: all
//   condition        null or empty: none. One that contains the word "genre", be it in a value, is
//                    tested against each single genre of a track; a track still comes once
//   groupBy          null or empty: none
//   orderBy          null or empty: none. Exactly "RANDOM()" draws a random sample of `limit`
//                    tracks from the library kind, in place of the condition: `limit` must be
//                    positive
//   offset, limit    the page; limit 0 or below means no limit, below 0 the offset is ignored too
//   withResultCount  not 0: each row carries, in "result_count", the number of rows without the
//                    page. The server then reads every row of the view; a page without it and one
//                    AudioInfoDBGetCount are many times faster
TONVALE_EXPORT MEDIA_DB_HANDLE *AudioInfoDBOpen(const char *library, uid_t uid, int tableType,
                                                const char *columns, const char *condition,
                                                const char *groupBy, const char *orderBy,
                                                int offset, int limit,
                                                int withResultCount) noexcept;

// Frees the rows, closes the connection and frees the handle; null is accepted.
TONVALE_EXPORT void AudioInfoDBClose(MEDIA_DB_HANDLE *handle) noexcept;

// How many rows a query has without its page: what "result_count" tells on the first row. 0 for a
// page without rows, for null, and for rows without that column.
TONVALE_EXPORT int64_t VARNPageTotalRowCount(const MEDIA_DB_HANDLE *handle) noexcept;

// Counts rows: COUNT(countExpression) over the view of the kind that NormalizeLibraryKind gives.
// Only the side tables that the condition names are joined; the count expression and the grouping
// are not looked at ("DISTINCT artist" needs a condition that names artist). With a grouping the
// result is the first group's count.
// escapeCondition 1 doubles the backslashes in the condition's LIKE patterns first; it is not for
// patterns that @VARN:LVAR made safe already.
// Returns the count, or -1, also for a grouping without any group. A personal kind that the user
// may not browse is not logged.
TONVALE_EXPORT int64_t AudioInfoDBGetCount(const char *library, uid_t uid, int tableType,
                                           const char *countExpression, const char *condition,
                                           const char *groupBy, int escapeCondition) noexcept;

// ---- lists of groups ---------------------------------------------------------------------------
//
// One row for each artist, album, or value of a column, in the tracks that the condition lets
// through. The library kind is taken as it is: ask NormalizeLibraryKind first. `condition` and
// `orderBy` are SQL over the track view, null or empty for none; those side tables are joined that
// the condition's words name (UpdateJoinTableArgs), not those of the order. When the genre is
// joined, a track counts once for each of its genres, in the star averages too. A limit of 0 or
// below means no limit, below 0 the offset is ignored too.
//
// The rows are read with VARNDBFetchRow and VARNDBFetchField (varn/db.h) from the handle's result;
// each has "path" and "title", the name of the group; "star", the average of this user's stars for
// its rated tracks, 0 without one (a number that may have a fraction: read it in base 10); and
// "result_count", the number of groups without the page. Null on failure.
//
// The condition is put after others with AND: set brackets round one that has an OR.

// Artists, with "artist" and "artist_sort". A track with an album artist counts for that artist,
// another for its own; one name (without regard to case) and sort name is one row. A condition that
// begins with " ILIKE " (exactly so) is a pattern for the name alone: it finds artists and album
// artists without asking which of the two a track counts for. Conditions are limited to about 980
// bytes: a longer one fails, with a log line.
TONVALE_EXPORT MEDIA_DB_HANDLE *AudioInfoDBOpenWithArtistList(const char *library, uid_t uid,
                                                              const char *condition,
                                                              const char *orderBy, int offset,
                                                              int limit) noexcept;

// The number of artists by their names, two sort names of one name being one artist; or -1.
TONVALE_EXPORT int64_t AudioInfoDBGetCountWithArtistList(const char *library, uid_t uid,
                                                         const char *condition) noexcept;

// Albums, which are told apart by name and album artist, with "album", "album_artist",
// "album_sort", "album_artist_sort", "create_date" (when the newest track came into the library)
// and "year" (0 unless all tracks agree). An order is completed by album_sort, and one by
// album_sort by album_artist_sort.
TONVALE_EXPORT MEDIA_DB_HANDLE *AudioInfoDBOpenWithAlbumList(const char *library, uid_t uid,
                                                             const char *condition,
                                                             const char *orderBy, int offset,
                                                             int limit) noexcept;

// The number of albums by name and album artist, or -1.
TONVALE_EXPORT int64_t AudioInfoDBGetCountWithAlbumList(const char *library, uid_t uid,
                                                        const char *condition) noexcept;

// The values of a column that has a sort column beside it: "genre", "composer", "artist", "album",
// "album_artist" or "title", with the column itself and COLUMN_sort. Null, with a log line, for a
// null or empty column or one of more than 31 bytes; any other text goes into the statement. By
// genre, a track counts for each of its genres.
TONVALE_EXPORT MEDIA_DB_HANDLE *AudioInfoDBOpenWithContainerList(const char *library, uid_t uid,
                                                                 const char *column,
                                                                 const char *condition,
                                                                 const char *orderBy, int offset,
                                                                 int limit) noexcept;

// ---- songs and folders -------------------------------------------------------------------------
//
// Lists of songs (PLAYLIST_REC, varn/mediaindex.h) belong to the caller and are freed whole with
// VARNPlaylistRecFree; null for none.

// Reads the row of an id, from the kind that NormalizeLibraryKind gives. `tableType` is that of a
// VARN_TABLE_TYPE. With `fillHash` not null, what SetSongHashValueByDBHandler keeps of the row goes
// into it. The id text, at most 8186 bytes, goes into the statement unchanged: pass digits only.
// 0, or -1 (bad argument, no such row, no such library for this user, the library does not answer)
// with the record unchanged.
TONVALE_EXPORT int VARNMusicGetOneById(const char *library, uid_t uid, int tableType,
                                       VARN_MEDIA_INFO *recordOut, PVLIBSZHASH *fillHash,
                                       const char *idText) noexcept;

// Writes the path of an indexed folder. Only the kinds "personal" and "shared" are taken. With
// escapeForLike 1 the characters that mean something in a LIKE pattern have a backslash before them
// and quotes are doubled, so that the text can stand in a literal. The id text goes into the
// statement unchanged: pass digits only. 0, or -1 with pathOut as "", also for a path that does not
// fit.
TONVALE_EXPORT int VARNMusicGetPathById(const char *library, uid_t uid, char *pathOut,
                                        size_t pathSize, const char *idText,
                                        int escapeForLike) noexcept;

// Reads the first row with exactly this path; of a file that a cue sheet splits, any of the rows
// that the kind shows. 0, or -1 with the record unchanged.
TONVALE_EXPORT int AudioInfoDBGetOneByPath(const char *library, uid_t uid, int tableType,
                                           const char *path, VARN_MEDIA_INFO *recordOut) noexcept;

// Lists the songs of some ids, decimal and separated by commas, as far as the user's browse library
// (VARNAudioWebapiUtilsGetBrowseLibraryByUid) has them: in the order of the ids, one that comes
// twice is listed twice. Blanks may stand round an id. Anything but digits, commas and blanks is
// refused, and a list that takes more than half of the machine's memory (11.7 KB a song). Rows are
// read 5000 ids at a time. The number of songs, or -1 with *listOut null.
TONVALE_EXPORT int VARNMusicListGetByID(uid_t uid, const char *idList,
                                        PLAYLIST_REC **listOut) noexcept;

// Lists a page of songs, of all or of those with a keyword in their texts.
//   library     taken as it is, see AudioInfoDBOpen
//   keyword     null or empty: all songs. Found without regard to case, anywhere in the text; "%"
//               and "_" stand for any text and any character. A keyword of these alone matches like
//               any pattern. One that is not UTF-8 is refused
//   field       where to look: "title", "artist", "album", "genre" or "composer"; null or anything
//               else: in those and the album artist
//   orderKey    null or empty: by title without regard to case. "random": a random sample of
//               `limit` songs, the keyword having no effect. Anything else goes into the statement
//               as an order and is completed by GenerateOrderString
//   descending  not 0: the order's first column from its end
//   countOut    the number of songs without the page, 0 where the page is empty; unchanged on
//               failure. Null spares the server reading every row of the library
// The number of songs listed, or -1 with *listOut null.
TONVALE_EXPORT int VARNMusicListAll(const char *library, uid_t uid, const char *keyword,
                                    const char *field, const char *orderKey, int descending,
                                    int offset, int limit, PLAYLIST_REC **listOut,
                                    int *countOut) noexcept;

// The older way to list songs, from the kind that NormalizeLibraryKind gives: condition, order and
// page as in AudioInfoDBOpen. The number of songs, or -1 with *listOut null. The second form lists
// the first song alone: 0, or -1 when there is none.
TONVALE_EXPORT int VARNMusicBrowse(const char *library, uid_t uid, const char *condition,
                                   const char *orderBy, int offset, int limit,
                                   PLAYLIST_REC **listOut) noexcept;
TONVALE_EXPORT int VARNMusicBrowseOne(const char *library, uid_t uid, const char *condition,
                                      const char *orderBy, PLAYLIST_REC **listOut) noexcept;

// True when personal libraries are switched on and the record's path begins with the target of the
// link "/var/services/homes". Nothing is logged.
TONVALE_EXPORT bool VARNMusicIsPersonalLibrary(const VARN_MEDIA_INFO *record) noexcept;

// Turns an order by a name into one by its sort name: a text that begins, blanks and case aside,
// with title, album_artist, album, artist, composer or genre comes back without the blanks round it
// and with "_sort" after that word ("Title desc" as "title_sort desc", but "albums" as
// "album_sorts"); any other as it is. 0, or -1 (null, a text that does not fit) with `out` as "".
TONVALE_EXPORT int VARNGetIgnoredOrderString(const char *orderText, char *out,
                                             size_t outSize) noexcept;

// ---- the pieces of a statement -----------------------------------------------------------------

// Which side tables a track view joins: not 0 to join. The order is that of these indexes.
enum VARN_JOIN_TABLE {
    VARN_JOIN_ALBUM,
    VARN_JOIN_ARTIST,
    VARN_JOIN_GENRE,
    VARN_JOIN_COMPOSER,
    VARN_JOIN_VIRTUAL_INFO,
    VARN_JOIN_STAR,
    VARN_JOIN_REPLAY_GAIN,
    VARN_JOIN_TABLES,  // how many there are
};

// Builds what stands after FROM for a library kind, a user and a table type: for tracks the view
// "(SELECT ...) music", for playlists and folders the table or the union of the shared and the
// personal one. `whereOut` becomes the view's own filter for tracks, and "" for the others.
// `joinFlags` has VARN_JOIN_TABLES entries. genreJoin not 0 gives a row for each genre of a track,
// otherwise a track has one row with its genres joined.
// 0, or -1 (a null argument, bad uid, unknown kind or table type, a text that does not fit) with
// both outputs as "".
TONVALE_EXPORT int GenerateTableString(const char *library, uid_t uid, int tableType,
                                       char *tableOut, size_t tableOutSize, char *whereOut,
                                       size_t whereOutSize, const int *joinFlags,
                                       int genreJoin) noexcept;

// Writes the track view for a filter (null: none), cut to outSize-1 bytes. Returns the length of
// the whole text, as snprintf(3) does, or -1 for null `out` or `joinFlags`.
TONVALE_EXPORT int CreateString(char *out, size_t outSize, const int *joinFlags, uid_t uid,
                                const char *whereClause, int genreJoin) noexcept;

// Sets (never clears) the flag of each side table whose word stands in the text: artist, album,
// composer, genre, star. "album_artist" sets two. A null argument changes nothing.
TONVALE_EXPORT void UpdateJoinTableArgs(int *joinFlags, const char *text) noexcept;

// Completes an order: the primary text, if any, then each of album, disc, track, title, artist,
// genre, year, path, duration, star that the primary text does not begin with. The result is
// bounded at 1023 bytes, whatever is cut off, and gets a blank at both ends. Returns its length;
// `out` holds at most outSize-1 bytes of it. -1 for null `out`.
TONVALE_EXPORT int GenerateOrderString(const char *primary, char *out, size_t outSize) noexcept;

}  // extern "C"

// The library kind that a user's request really means: for a user whose personal library is
// switched off "all", "actual" and "virtual" become their shared forms. 0, or -1 with `out`
// unchanged for a personal kind that is switched off (not logged), an unknown user, or a null
// library. A text that is no library kind stays as it is.
TONVALE_EXPORT int NormalizeLibraryKind(const char *library, uid_t uid, std::string &out) noexcept;

namespace Tonvale {

// A query's handle that closes itself.
using MediaHandle = std::unique_ptr<MEDIA_DB_HANDLE, varn::Releaser<AudioInfoDBClose>>;

// A library connection for the length of a scope, made when it is first asked for.
class TONVALE_EXPORT DBConnetWrapper {
  public:
    DBConnetWrapper() = default;
    ~DBConnetWrapper();
    DBConnetWrapper(const DBConnetWrapper &) = delete;
    DBConnetWrapper &operator=(const DBConnetWrapper &) = delete;

    // The connection, owned by this object. Null, with a log line, when connecting failed; the next
    // call tries again.
    DBConnect_tag *Get() noexcept;

  private:
    DBConnect_tag *conn_ = nullptr;
};

// A result for the length of a scope.
class TONVALE_EXPORT DBResultWrapper {
  public:
    DBResultWrapper() = default;
    ~DBResultWrapper();
    DBResultWrapper(const DBResultWrapper &) = delete;
    DBResultWrapper &operator=(const DBResultWrapper &) = delete;

    VARNDB_RESULT *Get() const noexcept { return result_; }
    // Where VARNDBExecute and VARNDBSelectLimit write; a result held before is freed.
    VARNDB_RESULT **Receive() noexcept;

  private:
    VARNDB_RESULT *result_ = nullptr;
};

}  // namespace Tonvale
