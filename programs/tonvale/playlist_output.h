// Playlists and their entries on the standard output.
#pragma once

#include "playlist_target.h"

namespace tonvale_cli {

// Prints a table or a JSON object of playlists, of which `total` are there.
void PrintPlaylists(const VARN_PLAYLIST *list, int offset, int total, bool json);

// The same for a playlist's entries, the first of which has the position `offset`.
void PrintEntries(const PLAYLIST_REC *list, int offset, int total, bool json);

}  // namespace tonvale_cli
