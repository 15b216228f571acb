// The stars of a song as its record keeps them, which outlives the library.
#pragma once

#include <string>
#include <vector>

#include "varnindex/song.h"

namespace varnindex {

// The path that the record of a cue sheet's track is kept under.
std::string TrackRecordPath(const std::string &path, int track);

// The stars in the record of `path`, which lies in the extended-attribute folder of that name. A
// record that is missing or cannot be read has none, and whatever is in it that is no user's star
// count means nothing: everybody may write there. At most 64 KiB and the first 1000 users are read, of
// a plain file in folders that are no links.
std::vector<Star> ReadStars(const std::string &path);

// Makes these stars the record of `path`: the file is replaced whole, or removed where there are
// none. A path whose own folder is gone keeps none, which is no failure. False with errno set.
bool StoreStars(const std::string &path, const std::vector<Star> &stars);

}  // namespace varnindex
