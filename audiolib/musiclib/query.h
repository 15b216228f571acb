// What opening and counting share: the pieces of a statement and the handle that runs it.
#pragma once

#include <string>

#include "musiclib/source.h"
#include "musiclib/track_view.h"
#include "support/boundary.h"
#include "support/song_list.h"
#include "tonvale/library.h"

namespace Tonvale::musiclib {

// A zeroed handle; null when memory is short.
MediaHandle NewHandle(int tableType);

// Connects a handle. False, with a log line, when that fails.
bool Connect(MEDIA_DB_HANDLE &handle);

// BuildTable with the line that callers of a failed one log.
bool BuildTableOrLog(const Source &source, const JoinFlags &flags, GenreRows genres,
                     TableText &out);

// Sets `out` to "WHERE ..." for a condition, or to "" for none. A condition that contains "genre"
// is tested in a view with one row per genre and picks tracks by id, so that each comes once.
// False, with a log line, when that view cannot be built.
bool WhereClause(const Source &source, const JoinFlags &flags, const std::string &condition,
                 std::string &out);

// Connects the handle and runs the statement: all of it when `limit` is below 0, else the page.
// Returns the handle with its rows, or null, with a log line.
MediaHandle RunPage(MediaHandle handle, const char *statement, int offset, int limit);

// Appends a record of each row that has not been read yet. False, with a log line, when the list
// would be too long for the memory.
bool ReadSongs(MEDIA_DB_HANDLE &rows, support::SongList &out);

// The frame of the exported calls that list songs: logs bad arguments, runs `read`, which fills a
// list and tells whether it could, and hands the list over. Returns the number of songs, or -1 with
// *listOut null.
template <typename Read>
int ListSongs(bool areGood, PLAYLIST_REC **listOut, const Read &read,
              int line = __builtin_LINE()) noexcept {
    if (listOut != nullptr) {
        *listOut = nullptr;
    }
    if (!areGood || listOut == nullptr) {
        support::LogLine(errno, "%s:%d Bad parameter.", kSource, line);
        return -1;
    }
    const auto list = [&] {
        support::SongList songs(kSource);
        return read(songs) ? songs.Release(listOut) : -1;
    };
    return support::Guarded(kSource, -1, list, line);
}

// "KEYWORD text", or "" for a null or empty text.
std::string Clause(const char *keyword, const char *text);

}  // namespace Tonvale::musiclib
