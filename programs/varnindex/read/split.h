// Turns a file with a cue sheet into the tracks of the sheet.
#pragma once

#include "varnindex/read/cue.h"
#include "varnindex/song.h"

namespace varnindex {

struct VirtualSong {
    Song song;              // its path, size and audio properties are the file's
    int offset = 0;         // whole seconds into the file
    std::string sheetPath;  // the sheet, or the file itself for an embedded one
};

struct SplitSongs {
    std::vector<VirtualSong> songs;
    std::vector<int> behindEnd;  // numbers of the tracks that a known end leaves out
};

// The songs that `sheet.files[fileIndex]` makes of `file`, in the sheet's order. What the sheet
// does not tell comes from the file. A song reaches to the next one's start; the last one to the
// file's end, and where the file's duration is not known (<= 0) its duration is minus its start in
// seconds. Tracks that start at or after a known end are left out: the sheet may be wrong, or the
// file not be copied to its end yet. An index beyond the sheet's files gives none.
SplitSongs SplitSong(const Song &file, const CueSheet &sheet, std::size_t fileIndex,
                     const std::string &sheetPath);

}  // namespace varnindex
