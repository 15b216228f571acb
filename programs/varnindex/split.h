// Turns a file with a cue sheet into the songs that the sheet tells of.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cue.h"
#include "song.h"

namespace varnindex {

struct VirtualSong {
    Song song;              // its path, size and audio properties are the file's
    int offset = 0;         // whole seconds into the file
    std::string sheetPath;  // the sheet, or the file itself for an embedded one
};

// The songs that `sheet.files[fileIndex]` makes of `file`, in the sheet's order. What the sheet
// does not tell comes from the file. A song reaches to the next one's start; the last one to the
// file's end, and where the file's duration is not known (<= 0) its duration is minus its start in
// seconds. Tracks that start at or behind a known end are left out. An index beyond the sheet's
// files gives none.
std::vector<VirtualSong> SplitSong(const Song &file, const CueSheet &sheet, std::size_t fileIndex,
                                   const std::string &sheetPath);

// Finds the audio file that a FILE line means among `names`, the audio files in the sheet's folder;
// `sheetName` is the sheet's own name. Looks for the name as it is (without the path of another
// system), then in another case or Unicode normal form, then with another extension, as after a
// conversion, and last for the only file that has the sheet's own base name. Several files that
// match equally well are no answer.
std::optional<std::string> FindAudioFile(const std::string &entryName,
                                         const std::vector<std::string> &names,
                                         const std::string &sheetName);

}  // namespace varnindex
