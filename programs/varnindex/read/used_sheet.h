// What the library holds of the tracks that a cue sheet has made of a song.
#pragma once

#include <string>
#include <vector>

#include "varnindex/database.h"
#include "varnindex/read/readers.h"
#include "varnindex/read/split.h"

namespace varnindex {

struct UsedSheet {
    std::string path;         // "": the song has no tracks
    bool isEmbedded = false;  // the path is the song's own

    // The sheet's name without its folder; "" for an embedded one.
    std::string Name() const;

    // Where it is when it has moved together with the song.
    std::string Beside(const std::string &songPath) const;
};

// The sheet of a song that was read, where its tracks must stay because it cannot be used just now;
// else without a path. Whether a sheet is unreachable or was broken by an edit, its tracks have
// ratings. So they have while their file is copied over itself and is too short for them. By the id
// of the song's row. Throws DatabaseError.
UsedSheet UnusableSheet(Database &database, const ReadWork &read, int id);

// True when the library has these tracks of that song, with all that a sheet gives them. Throws
// DatabaseError.
bool HasTracks(Database &database, int id, const std::vector<VirtualSong> &tracks);

}  // namespace varnindex
