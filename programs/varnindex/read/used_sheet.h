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

// By the id of a song's row. Throws DatabaseError.
UsedSheet ReadUsedSheet(Database &database, int id);

// The same of a song that was read, where its tracks have to stay because the sheet cannot be used
// just now; else without a path. Whether it is unreachable or was broken by an edit, its tracks have
// ratings. So they have while the file is copied over itself, and too short for them.
UsedSheet UnusableSheet(Database &database, const ReadWork &read, int id);

// True when that song has a track of one of these numbers. Throws DatabaseError.
bool HasAnyTrack(Database &database, int id, const std::vector<int> &numbers);

// True when the tracks of that song are these already, as far as a sheet tells of them. Throws
// DatabaseError.
bool HasTracks(Database &database, int id, const std::vector<VirtualSong> &tracks);

}  // namespace varnindex
