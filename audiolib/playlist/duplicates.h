// Songs that are in two lists.
#pragma once

#include "varn/mediaindex.h"

namespace Tonvale::playlist {

// For each entry of `list` in turn: removes and frees the first entry of `other` with the same path
// that is no virtual song or one with the same track number. With `failOnDuplicate` the first such
// entry ends it: false, and `other` is as it was. True otherwise.
bool RemoveDuplicates(const PLAYLIST_REC *list, PLAYLIST_REC *&other, bool failOnDuplicate);

}  // namespace Tonvale::playlist
