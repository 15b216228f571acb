// The media index: its record of a song, the handle over a query's rows, and the row readers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "varn/base.h"
#include "varn/db.h"
#include "varn/export.h"

// One song. The layout is part of the interface: the player's queue files hold such records as they
// stand in memory, with zeros after the end of every text.
typedef struct _VARN_MEDIA_INFO_ {
    uint32_t id;      // row id in the library; 0: the song is not in it
    char path[4096];  // volume path, or the URL of a stream
    char title[256];
    char album[256];
    char artist[256];
    char album_artist[256];
    char composer[256];
    char genre[256];  // all genres of the song, joined
    char comment[4096];
    char container[64];
    char codec[64];
    int year;  // 0 when unknown, like disc and track
    int disc;
    int track;
    float duration;        // seconds; a virtual song may hold its start, negated
    unsigned int bitrate;  // bits per second
    int frequency;         // samples per second
    int channel;           // number of channels
    int filesize;          // bytes; 2147483647 for anything larger
    int is_virtual;        // 1: one track of a cue sheet
    int virtual_track;     // its number in the sheet
    int virtual_start;     // where it starts in the file, seconds; 0 for rows without audio_offset
                           // (GetVirtualMusicStartPosition asks the library then)
    uint32_t userid;       // owner; 0: shared
    char reserved[1804];
} VARN_MEDIA_INFO;

static_assert(sizeof(VARN_MEDIA_INFO) == 11712, "the layout of queue files");
static_assert(alignof(VARN_MEDIA_INFO) == 4, "the layout of queue files");

// One song of a list, singly linked.
typedef struct _PLAYLIST_REC_ {
    VARN_MEDIA_INFO info;
    struct _PLAYLIST_REC_ *next;  // null at the end
} PLAYLIST_REC;

// Replay gain of a song: gains in decibels, peaks as a fraction of full scale.
typedef struct {
    float track_gain;
    float track_peak;
    float album_gain;
    float album_peak;
} _REPLAYGAIN_METADATA_;

// Table types of a query.
enum VARN_TABLE_TYPE {
    VARN_TABLE_MUSIC = 0,  // the track view
    VARN_TABLE_PLAYLIST = 3,
    VARN_TABLE_DIRECTORY = 4,  // folders
};

// A query's rows and their connection. The code that allocates a handle owns it and closes
// connection and result with it.
struct MEDIA_DB_HANDLE {
    DBConnect_tag *conn;
    VARNDB_RESULT *result;
    int cursor;     // next row to be read, advanced by the row readers
    int rowCount;   // rows of the result
    int tableType;  // VARN_TABLE_TYPE
};

extern "C" {

// Reads the row at the cursor into *out and advances the cursor. *out is zeroed first; a column
// that the result does not have, and a NULL, leave their field zero. Numbers are read as base 10.
// Texts that do not fit are cut at the boundary of a UTF-8 character. Playlist rows fill id, path,
// title and album, folder rows id and path. A comment that is a virtual song's descriptor is left
// out: the flag marks these songs. 0, or -1 at the end of the rows (*out is then unchanged).
VARN_EXPORT int MediaInfoDBGet(MEDIA_DB_HANDLE *handle, VARN_MEDIA_INFO *out);

// Opens the rows of a shared table as the package's account: "track" for VARN_TABLE_MUSIC,
// "playlist" or "directory". Columns, condition and order are SQL; empty or null, they mean all
// columns, every row, no order. limit 0 means no limit. Null on failure, error state set; closed
// with MediaInfoDBClose, which accepts null.
VARN_EXPORT MEDIA_DB_HANDLE *MediaInfoDBOpen(int tableType, const char *columns,
                                             const char *condition, const char *order, int offset,
                                             int limit);
VARN_EXPORT void MediaInfoDBClose(MEDIA_DB_HANDLE *handle);

// Rows of the shared playlists: adds one (the record's path, title and album; its id is not looked
// at), changes the one with the record's id, removes the one with an id in decimal. The only table
// type is VARN_TABLE_PLAYLIST: the indexer alone changes songs and folders. 0, or -1 with the error
// state set; VLIB_ERR_NOT_FOUND when there is no such row.
VARN_EXPORT int MediaInfoDBSave(int tableType, const VARN_MEDIA_INFO *record);
VARN_EXPORT int MediaInfoDBUpdate(int tableType, const VARN_MEDIA_INFO *record);
VARN_EXPORT int MediaInfoDBDelete(int tableType, const char *idText);

// The same for a user's own playlists. A record with id 0 is added, any other changes the user's
// row with that id. An id belongs to one user, so removing needs none.
VARN_EXPORT int PersonalLibraryInfoDBSaveByID(uint32_t uid, int tableType,
                                              const VARN_MEDIA_INFO *record);
VARN_EXPORT int PersonalLibraryInfoDBDelete(int tableType, const char *idText);

// Frees a list of songs from `list` to its end; null is accepted. Every entry must have come from
// calloc(3) or malloc(3).
VARN_EXPORT void VARNPlaylistRecFree(PLAYLIST_REC *list);

// Keeps the star rating and the replay gain of the row that MediaInfoDBGet has just read into
// `record`, under the record's id in decimal. A column that the row does not have counts as
// unknown. 0, or -1 (null argument or hash, no row read yet).
VARN_EXPORT int SetSongHashValueByDBHandler(PVLIBSZHASH *hash, const MEDIA_DB_HANDLE *handle,
                                            const VARN_MEDIA_INFO *record);

// Looks up what SetSongHashValueByDBHandler kept for an entry's id.
//   rating  the star rating in decimal, "" when the hash does not have the song
//   gain    in and out. A song with a replay gain fills *gain, which is allocated when it is null;
//           for one without, *gain is freed and becomes null. The caller releases it with free(3)
//           after the last look-up. May be null
// 0, or -1 (null hash or entry, a song that the hash does not have) with *gain released as for a
// song without.
VARN_EXPORT int GetSongHashValue(PVLIBSZHASH *hash, const PLAYLIST_REC *entry, std::string &rating,
                                 _REPLAYGAIN_METADATA_ **gain);

// Splits the name of a virtual song, PATH_NUMBER: the number of the track in its cue sheet, greater
// than 0 and without leading zeros, after the last "_" of a path whose file name has an extension
// before it. "/m/a.flac_3" is one, "/m/track_01" and "/m/song_7" are files. True with the file's
// path and the number written; false with both outputs unchanged (no such name, or a path that does
// not fit). Either output may be null; `size` is then 0.
VARN_EXPORT bool IsVirtualPath(const char *text, char *pathOut, size_t size, int *trackOut);

// Fills the path of a song that the library does not have, and its title with the path's last
// component. Texts that do not fit are cut at the boundary of a UTF-8 character; null arguments
// change nothing.
VARN_EXPORT void SetMediaPathTitle(const char *path, VARN_MEDIA_INFO *record);

}  // extern "C"

// True for one track of a cue sheet. A record tells by its flag or by the descriptor in its
// comment, a comment by that descriptor: "virtual_track:SECONDS", the track's start in its file.
// False for null.
VARN_EXPORT bool IsVirtualMusic(const char *comment);
VARN_EXPORT bool IsVirtualMusic(const VARN_MEDIA_INFO *record);

// Where a virtual song starts in its file, in seconds: what its comment's descriptor says, what the
// row said, or else what the library has for its id. 0 for an ordinary song, and for null.
VARN_EXPORT int64_t GetVirtualMusicStartPosition(const char *comment);
VARN_EXPORT int64_t GetVirtualMusicStartPosition(const VARN_MEDIA_INFO *record);
