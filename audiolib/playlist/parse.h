// Entries of a playlist file, before and after the look-up in the library.
#pragma once

#include <sys/types.h>

#include <string>

#include "support/song_list.h"
#include "varn/base.h"
#include "varn/handles.h"
#include "varn/mediaindex.h"

namespace Tonvale::playlist {

// What the platform's parser gives.
struct Entries {
    varn::StringList candidates;
    varn::OwnedSongs remote;
};

struct ParseRequest {
    uid_t uid;
    PVLIBSZHASH *hash;
    int offset;
    int limit;
    const char *columns;
    bool actualOnly;
};

// The path with its links resolved; as it is where that fails, and where it names a descriptor.
std::string ResolvedPath(const char *path);

// False, with a log line, when the playlist cannot be read.
bool ReadEntries(const std::string &path, Entries &entries);

// Makes the records of a range of entries. The remote entries are used up. False, with a log line,
// when the library does not answer; `songs` is then of no use.
bool LookUp(Entries entries, ParseRequest request, support::SongList &songs);

// The whole of a playlist, all columns. False, with a log line, on failure.
bool ReadWhole(uid_t uid, const char *path, support::SongList &songs);

}  // namespace Tonvale::playlist
