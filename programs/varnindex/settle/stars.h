// The stars of a song as its record keeps them, which outlives the library.
#pragma once

#include <string_view>

#include "varnindex/song.h"

namespace varnindex {

// The path that the record of a cue sheet's track is kept under.
std::string TrackRecordPath(const std::string &path, int track);

// The stars in the text of a record: a line `USERID=STARS` or `USERID="STARS"` for each user.
// Anything else means nothing, because everybody may write there. A user's first line counts.
std::vector<Star> ParseStars(std::string_view text);

// The stars in the record of `path`, which lies in the extended-attribute folder of that name. A
// record that is missing, cannot be read or is larger than 64 KiB has none. Only a plain file is
// read, in folders that are no links.
std::vector<Star> ReadStars(const std::string &path);

// Makes these stars those of the record of `path`, which goes with its last star. A path whose own
// folder is gone keeps none, which is no failure. False with errno set.
bool StoreStars(const std::string &path, const std::vector<Star> &stars);

}  // namespace varnindex
