// Playlists: reading them into records, writing and editing them, the catalogue of them, and the
// player's queue files.
//
// A playlist is a file (m3u, m3u8, pls or wpl) in a shared folder, in a user's music or in a user's
// own playlist folder. Reading one gives a singly linked list of PLAYLIST_REC (varn/mediaindex.h)
// in the file's order. A list belongs to the receiver of its head and is freed whole with
// VARNPlaylistRecFree.
//
// A virtual song, one track of a cue sheet, is named in playlists by its file's path, "_" and the
// number of the track (IsVirtualPath).
//
// The path of a playlist may be the path of a descriptor, "/proc/self/fd/N"
// (varn::DescriptorPath), of a playlist that the caller holds open: then that very file is read
// and written, even if another one has taken its place. Its format is that of the name that it has
// now; one that has been deleted is refused.
//
// "library" is a library kind of tonvale/library.h; user id 4294967295 is no user and is refused.
// Failures are reported by the result and logged with syslog(3) at error level. Nothing throws.
// Some calls switch the effective user of the process for their length, as their comments tell:
// they are for single-threaded processes.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tonvale/export.h"
#include "varn/handles.h"
#include "varn/playerinfo.h"

extern "C" {

// ---- records and reading -----------------------------------------------------------------------

// Reads a range of a playlist's entries, each with the song's record out of the user's library, in
// two statements whatever the length of the list.
//   uid         whose browse library the songs are looked up in
//   fillExtra   not null: ratings and replay gain of the songs go into this hash
//               (GetSongHashValue)
//   countOut    the number of entries of the whole playlist; unchanged on failure, may be null
//   offset      the first entry, counted from 0
//   limit       how many; 0 means to the end, below 0 none
//   columns     the columns to fill, "*" for all. The look-up needs path, and track and is_virtual
//               for virtual songs
//   actualOnly  not 0: files only, no virtual songs
// An entry that matches nothing in the library keeps its place, its path and id 0. A remote entry
// (an address of any scheme) has id 0 and the tags that the playlist tells: no title where it tells
// none. Tags are read for the first 100,000 addresses. A later http or https address has the end of
// its URL as title.
// Null both on failure and for a range without entries; countOut tells which.
TONVALE_EXPORT PLAYLIST_REC *VARNPlaylistParseByPath(uid_t uid, const char *path,
                                                     PVLIBSZHASH *fillExtra, int *countOut,
                                                     int offset, int limit, const char *columns,
                                                     int actualOnly) noexcept;

// Looks a song up in the user's browse library by its path or virtual name. The path of a file that
// a cue sheet splits finds one of its tracks, which are all that is browsed of it: compare the
// record's virtual name where the file itself is meant. 0, or -1 with the record unchanged (no such
// song, unknown user, the library does not answer).
TONVALE_EXPORT int VARNPlaylistGetOneByPath(uid_t uid, const char *songPath,
                                            VARN_MEDIA_INFO *recordOut) noexcept;

// 0 when the playlist has the song, compared byte by byte by path or virtual name; -1 when it does
// not, or on failure. The playlist's links are followed with root's rights.
TONVALE_EXPORT int VARNPlaylistCheckSong(uid_t uid, const char *playlistPath,
                                         const char *songPath) noexcept;

// Writes the path (of a virtual song the virtual name) of a playlist's first entry, cut to outSize,
// and its record. A local song is looked up anew when it is virtual, when the user's personal
// library is switched off or when it is in no personal library; that look-up failing gives -1.
// Either output may be null.
TONVALE_EXPORT int VARNPlaylistGetFirstSong(const char *playlistPath, uid_t uid,
                                            VARN_MEDIA_INFO *recordOut, char *out,
                                            size_t outSize) noexcept;

// For each song of `list` in turn, removes and frees the first entry of *other with the same path
// that is not virtual or has the same track number. With failOnDuplicate not 0 the first such entry
// gives -1 instead and *other stays whole. `flags` is ignored. 0 otherwise, also for null lists.
TONVALE_EXPORT int VARNPlaylistRemoveDuplicateSongs(const PLAYLIST_REC *list, PLAYLIST_REC **other,
                                                    int failOnDuplicate, int flags) noexcept;

// Takes the first "/.." of a path away together with the component before it; more of them stay.
// "/a/b/../c" becomes "/a/c"; a component without a slash before it stays, "a/../c" becomes "a/c".
// At most 4095 bytes of the path are read, the result is cut to outSize. 0, or -1 (null argument,
// size below 1).
TONVALE_EXPORT int VARNPathRelativeToABS(const char *path, char *out, int outSize) noexcept;

// The number of entries, 0 for null; and the list the other way round, in place.
TONVALE_EXPORT int VARNPlaylistRecCount(const PLAYLIST_REC *list) noexcept;
TONVALE_EXPORT PLAYLIST_REC *PlaylistRecReverse(PLAYLIST_REC *list) noexcept;

// Runs a query on the user's browse library (with actualOnly not 0 its files only) and makes a list
// of the rows. `listOut` is null when there are none; `fillExtra` as above. The number of rows, or
// -1 with *listOut null. An empty condition is refused: it would read the whole library.
TONVALE_EXPORT int VARNAudioWebapiUtilsGetPlaylistByDBQuery(uid_t uid, PLAYLIST_REC **listOut,
                                                            PVLIBSZHASH *fillExtra,
                                                            const char *condition,
                                                            const char *columns,
                                                            int actualOnly) noexcept;

// ---- writing and editing -----------------------------------------------------------------------

// Writes a whole playlist, in the format of its extension (m3u, pls, wpl, in any case; anything
// else, m3u8 included, leaves an empty file). The file is made or emptied, locked with flock(2)
// and set to mode 0777, all as root; afterwards the process runs as the package's account. An
// entry whose path cannot be written (neither absolute nor remote) is left out.
// A null list makes an empty playlist; the array ends with a null pointer. Nothing is freed.
// 0, or -1: null path or array, the file cannot be opened or written, another process holds the
// lock. The file is then empty or cut short.
TONVALE_EXPORT int VARNWriteMusicPlaylist(const PLAYLIST_REC *list,
                                          const char *playlistPath) noexcept;
TONVALE_EXPORT int VARNWriteMusicPlaylistWithMediaList(const VARN_MEDIA_INFO *const *records,
                                                       const char *playlistPath) noexcept;

// Editing: a playlist is read whole, changed and written anew. The first three arguments name a
// playlist row: "shared" or "personal", the user, the row's id in decimal. The personal calls name
// a file instead, one of the user's own playlist folder. Positions count from 0.
// `songs` stays the caller's and as it was. Of two edits at once one may be lost: reading takes no
// lock. A playlist of an extension that is not written, m3u8 included, is left empty. 0, or -1
// (unknown playlist, one that cannot be read, a bad position, writing failed). A file that is not
// there is made where songs are added or replaced, and cannot be read otherwise.

// Puts `songs` in the place of `length` entries from `start` on; length below 0 means to the end.
// A start at the end appends; one after it is refused.
TONVALE_EXPORT int VARNPlaylistUpdateSongs(const char *library, uid_t uid, const char *playlistId,
                                           int start, int length,
                                           const PLAYLIST_REC *songs) noexcept;
TONVALE_EXPORT int VARNPersonalPlaylistUpdateSongs(uid_t uid, const char *playlistPath, int start,
                                                   int length, const PLAYLIST_REC *songs) noexcept;

// The same without songs that the playlist has already, in the part that stays: with
// skipDuplicate "false" one such song is a failure and nothing is written; with any other text, and
// null, such songs are left out.
TONVALE_EXPORT int VARNPlaylistUpdateSongsList(const char *library, uid_t uid,
                                               const char *playlistId, int start, int length,
                                               const PLAYLIST_REC *songs,
                                               const char *skipDuplicate) noexcept;

// Adds songs at the end. skipDuplicates not 0 leaves out those that the playlist has.
TONVALE_EXPORT int VARNPlaylistAppendSongs(const char *library, uid_t uid, const char *playlistId,
                                           const PLAYLIST_REC *songs) noexcept;
TONVALE_EXPORT int VARNPersonalPlaylistAppendSongs(uid_t uid, const char *playlistPath,
                                                   const PLAYLIST_REC *songs,
                                                   int skipDuplicates) noexcept;

// Removes the entries at the positions of `selection`, "0,4,2"; what is no position of an entry
// there is passed over.
TONVALE_EXPORT int VARNPlaylistRemoveSongs(const char *library, uid_t uid, const char *playlistId,
                                           const char *selection) noexcept;

// Removes every entry of the song, named by its path or virtual name.
TONVALE_EXPORT int VARNPersonalPlaylistRemoveSongByPath(uid_t uid, const char *playlistPath,
                                                        const char *songPath) noexcept;

// Removes the entries that the user's library does not know. Remote ones and those on USB volumes
// stay. Songs that the user does not browse are unknown: those of others, tracks of split files
// for a user who does not see them, the split files themselves.
TONVALE_EXPORT int VARNPlaylistRemoveMissing(const char *library, uid_t uid,
                                             const char *playlistId) noexcept;
TONVALE_EXPORT int VARNPersonalPlaylistRemoveMissing(uid_t uid, const char *playlistPath) noexcept;

// ---- catalogue ---------------------------------------------------------------------------------

// One playlist of the catalogue, singly linked; a list is freed whole with VARNPlayListFree.
typedef struct _VARN_PLAYLIST_ {
    uint32_t id;  // row id; 0 for a file of a user's own playlist folder
    char title[256];
    char path[4096];
    char album[256];  // name of the folder that the playlist is in
    struct _VARN_PLAYLIST_ *next;
} VARN_PLAYLIST;

// The number of playlists, 0 for null; the list the other way round, in place; its end.
TONVALE_EXPORT int VARNPlaylistCount(const VARN_PLAYLIST *list) noexcept;
TONVALE_EXPORT VARN_PLAYLIST *PlaylistReverse(VARN_PLAYLIST *list) noexcept;
TONVALE_EXPORT void VARNPlayListFree(VARN_PLAYLIST *list) noexcept;

// Lists a page of a library's playlists by title, then folder, in any case; cue sheets are never
// among them. *listOut must be null or a list, whose reverse then stands before what is found.
// limit 0 or below means no limit. playlistsFolderOnly not 0: those in folders named "playlists".
// 0, also when the library does not answer (*listOut is then only reversed); -1 for a null library
// or uid 4294967295, with *listOut freed and null.
TONVALE_EXPORT int VARNPlaylistListAll(const char *library, uid_t uid, VARN_PLAYLIST **listOut,
                                       int offset, int limit, int playlistsFolderOnly) noexcept;

// How many playlists VARNPlaylistListAll would list without a page, or -1.
TONVALE_EXPORT int VARNPlaylistTotalGet(const char *library, uid_t uid,
                                        int playlistsFolderOnly) noexcept;

// The path of a playlist row; `library` is "personal" or "shared". 0, or -1 with `pathOut` as "".
TONVALE_EXPORT int VARNPlaylistPathGet(const char *library, uid_t uid, int playlistId,
                                       char *pathOut, int pathSize) noexcept;

// The id of the playlist row with a path, shared or the user's own, in decimal. 0, or -1 with
// `idOut` as "".
TONVALE_EXPORT int VARNPlaylistIDGet(const char *path, uid_t uid, char *idOut, int size) noexcept;

// The title of a shared playlist's row by its id in decimal, and of any playlist's row that the
// user may see by its path. 0, or -1 with `titleOut` as "". The first one runs as root and leaves
// the process running as the package's account.
TONVALE_EXPORT int VARNPlaylistTitleGet(const char *idText, char *titleOut, int size) noexcept;
TONVALE_EXPORT int VARNPlaylistTitleGetByPath(const char *path, char *titleOut, int size,
                                              uid_t uid) noexcept;

// Adds a shared playlist's row (path, title, album) and tells the indexer of the new file. Runs as
// root and leaves the process running as the package's account. 0, or -1.
TONVALE_EXPORT int VARNPlaylistDBSave(const VARN_MEDIA_INFO *record) noexcept;

// Changes a playlist's row by its id, in the table of `library` ("shared" or "personal"), and tells
// the indexer: that the file changed or, with an old path, where it was moved from. 0, or -1.
TONVALE_EXPORT int VARNPlaylistDBUpdate(const char *library, uid_t uid,
                                        const VARN_MEDIA_INFO *record,
                                        const char *oldPath) noexcept;

// Removes a playlist's row and tells the indexer, whether there was such a row or not. A shared row
// that could not be removed is left to the indexer, which runs and is waited for. 0 when the row
// was removed, here or by the indexer, otherwise -1.
TONVALE_EXPORT int VARNPlaylistDBDelete(const char *library, const char *playlistId) noexcept;

// Removes a playlist's file, as root, and its row with VARNPlaylistDBDelete, whether the file could
// be removed or not. Leaves the process running as the package's account. 0 when the row was
// removed and no file is left, otherwise -1.
TONVALE_EXPORT int VARNPlayListUnlink(const char *library, const char *path,
                                      const char *playlistId) noexcept;

// Lists the m3u files of a user's own playlist folder by path; ids are 0, titles the files' names.
// The folder is read as root. *listOut must be null. 0, or -1 (null argument, unknown user).
TONVALE_EXPORT int VARNPersonalPlaylistListAll(const char *userName,
                                               VARN_PLAYLIST **listOut) noexcept;

// How many those are, or -1.
TONVALE_EXPORT int VARNPersonalPlaylistTotalGet(const char *userName) noexcept;

// True when the playlist lies in the user's own playlist folder, however that folder is named in
// the path: the same folder of the file system.
TONVALE_EXPORT bool VARNPlaylistIsOriginalPersonalPlaylist(const char *playlistPath,
                                                           const char *userName) noexcept;

// Lists a page of the songs of a smart playlist, by album, disc, track and path.
//   rules     the SQL condition that the songs meet; it goes into the statement as it is
//   hash      not null: ratings and replay gain, as VARNPlaylistParseByPath
//   countOut  the number of songs without the page; 0 where the page is empty. May be null
//   library   a library kind
// The number of songs listed, or -1 with *listOut null.
TONVALE_EXPORT int VARNPlaylistSmartListSongs(uid_t uid, PLAYLIST_REC **listOut, PVLIBSZHASH *hash,
                                              const char *rules, int *countOut, int offset,
                                              int limit, const char *library) noexcept;

}  // extern "C"

namespace Tonvale {

// A list of playlists that frees itself.
using OwnedPlaylists = std::unique_ptr<VARN_PLAYLIST, varn::Releaser<VARNPlayListFree>>;

}  // namespace Tonvale

// The library kind that a user browses: "shared" for one whose personal library is switched off and
// for an unknown user, "personal" for one who prefers that, otherwise "all".
TONVALE_EXPORT std::string VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid_t uid) noexcept;

// Makes the two conditions that find a range of a playlist's entries in the library: `real` those
// of files, `virtualCondition` those of virtual songs; "" for one that no entry needs. A *limit
// that goes beyond the end of the list is set to what is left of it. 0, or -1 with both conditions
// "" (null argument, memory).
TONVALE_EXPORT int VARNAudioWebapiUtilsGetDBQueryByCandidateList(
    const VLIBSZLIST *candidates, int *offset, int *limit, std::string &real,
    std::string &virtualCondition) noexcept;

// ---- queue files of the player -----------------------------------------------------------------

// A play queue: the player's state and the songs in order. A new one holds the state 0, 1, 0, 0.
class TONVALE_EXPORT PlaylistInfo {
  public:
    PlaylistInfo();
    virtual ~PlaylistInfo();
    PlaylistInfo(const PlaylistInfo &) = delete;
    PlaylistInfo &operator=(const PlaylistInfo &) = delete;

    void setPlayerInfo(const __tag_PlayerInfo__ &info);
    const __tag_PlayerInfo__ &playerInfo() const { return *state_; }

    // Appends a copy of a record.
    void addSong(const VARN_MEDIA_INFO &song);
    const std::vector<std::unique_ptr<VARN_MEDIA_INFO>> &songs() const { return songs_; }

  private:
    std::unique_ptr<__tag_PlayerInfo__> state_;
    std::vector<std::unique_ptr<VARN_MEDIA_INFO>> songs_;
};

// A queue file is the state's 24 bytes and the records as they stand in memory. Reading or
// writing one takes its lock (flock(2)) and does not wait for it.
namespace AudioFile {

// Writes a queue. 0, or -1 (null argument, the file cannot be opened, is locked or cannot be
// written), with the file removed.
TONVALE_EXPORT int PlaylistFileSave(const char *path, const PlaylistInfo *queue) noexcept;

// Reads at most `count` songs of a queue from `start` on, and its state; what the file has not is
// zero. Records come as they stand in the file: in a damaged one a text may have no end. A file
// that is missing is made, and empty. A negative start or count gives no songs. The caller deletes
// the queue. Null when the file cannot be opened, locked or read.
TONVALE_EXPORT PlaylistInfo *PlaylistFileLoad(const char *path, int start, int count) noexcept;

// Replaces a queue file by random songs of a library kind, as the user sees it. True when the file
// was written; otherwise there is none any more.
TONVALE_EXPORT bool PlaylistRandomCreate(uid_t uid, const char *library, const char *path,
                                         int count = 100) noexcept;

}  // namespace AudioFile
