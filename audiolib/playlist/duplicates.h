// Songs that are in two lists.
#pragma once

#include <vector>

#include "varn/mediaindex.h"

namespace Tonvale::playlist {

using Records = std::vector<const VARN_MEDIA_INFO *>;

// The records of a list, which keeps them.
Records PointersTo(const PLAYLIST_REC *list);

// For each of `songs` in turn: removes and frees the first entry of `other` with the same path
// that is no virtual song or one with the same track number. With `failOnDuplicate` the first such
// entry ends it: false, and `other` is as it was. True otherwise. Throws before anything is
// removed.
bool RemoveDuplicates(const Records &songs, PLAYLIST_REC *&other, bool failOnDuplicate);

}  // namespace Tonvale::playlist
