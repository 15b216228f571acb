// Single songs of the library that a user browses.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "varn/mediaindex.h"

namespace tonvale_service {

// The name of a song in playlists: its path, of a track of a cue sheet with "_" and its number.
std::string NameInPlaylist(const VARN_MEDIA_INFO &song);

// The record of a song by its path or virtual name in the library that a user browses; none for a
// file that is browsed as its tracks.
std::optional<VARN_MEDIA_INFO> FindNamedSong(uid_t uid, const std::string &name);

// The song with an identifier in the library that a user browses. Throws a Failure for a text that
// is no song's identifier, and when there is no such song.
VARN_MEDIA_INFO FindBrowsedSong(uid_t uid, const std::string &id);

}  // namespace tonvale_service
