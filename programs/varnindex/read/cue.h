// Cue sheets: in comes the text of one, out goes which part of which audio file is which track.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnindex {

inline constexpr std::size_t kMaxCueBytes = std::size_t{1} << 20;
inline constexpr int kCueFramesPerSecond = 75;

// All texts are clean (names.h), except for the name of a file; an absent one is "" or 0.
struct CueTrack {
    int number = 0;
    std::string title;
    std::string performer;
    std::string composer;
    int start = 0;  // frames of 1/75 s from the file's begin: INDEX 01
};

struct CueFile {
    std::string name;  // as it is written; UTF-8, perhaps with a path of another system
    std::vector<CueTrack> tracks;
};

struct CueSheet {
    std::string title;
    std::string performer;
    std::string genre;
    std::string comment;
    int year = 0;
    std::vector<CueFile> files;  // those with an audio track; starts rise within each
};

struct CueResult {
    std::optional<CueSheet> sheet;
    std::string problem;  // for a person, when there is no sheet: "no FILE line"
};

// Reads a sheet in any encoding that varn::ToUtf8 knows. Lines that it does not know are
// passed over, data tracks left out. A sheet that would split a file at wrong places is refused.
// May be called by several threads at once.
CueResult ParseCue(std::string_view bytes);

}  // namespace varnindex
