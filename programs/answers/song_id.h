// Identifiers of the library's songs.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "varn/mediaindex.h"

namespace tonvale_answers {

struct SongId {
    int row;
    bool isVirtual;  // one track of a cue sheet
};

// Takes one of the four identifiers with a row id apart (tonvale/webapi.h). Empty for any other text.
std::optional<SongId> ParseSongId(std::string_view id);

// The name of a song in playlists: its path, of a track of a cue sheet with "_" and its number.
std::string NameInPlaylist(const VARN_MEDIA_INFO &song);

// The song with an identifier in the library that a user browses. Throws a Failure for a text that
// is no song's identifier, and when there is no such song.
VARN_MEDIA_INFO FindBrowsedSong(uid_t uid, const std::string &id);

}  // namespace tonvale_answers
