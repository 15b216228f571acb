// The media index: its record of a song, the handle over a query's rows, and the row readers.
#pragma once

#include <cstdint>

#include "varn/base.h"
#include "varn/db.h"
#include "varn/export.h"

// One song. The layout is part of the interface: the player's queue files hold such records as they
// stand in memory, with zeros behind the end of every text.
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
    float duration;        // seconds; a virtual song may hold minus its start
    unsigned int bitrate;  // bits per second
    int frequency;         // samples per second
    int channel;           // number of channels
    int filesize;          // bytes; 2147483647 for anything larger
    int is_virtual;        // 1: one track of a cue sheet
    int virtual_track;     // its number in the sheet
    int virtual_start;     // where it starts in the file, seconds; 0 for rows without audio_offset
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

// A query's rows and the connection they came over. Whoever allocates a handle owns it; the
// connection and the result are closed with it.
struct MEDIA_DB_HANDLE {
    DBConnect_tag *conn;
    VARNDB_RESULT *result;
    int cursor;     // next row to be read, advanced by the row readers
    int rowCount;   // rows of the result
    int tableType;  // VARN_TABLE_TYPE
};

extern "C" {

// Reads the row at the cursor into *out and advances the cursor. *out is zeroed first; a column
// that the result does not have, and a NULL, leave their field zero. Numbers are read as base 10,
// texts are cut at a UTF-8 character's boundary where they do not fit. Playlist rows fill id, path,
// title and album, folder rows id and path. 0, or -1 at the end of the rows (*out is then
// unchanged).
VARN_EXPORT int MediaInfoDBGet(MEDIA_DB_HANDLE *handle, VARN_MEDIA_INFO *out);

}  // extern "C"
