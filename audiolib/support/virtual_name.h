// How songs are named in playlists.
#pragma once

#include <string>

#include "varn/mediaindex.h"

namespace Tonvale::support {

// The path, of a virtual song with "_" and its track number behind it.
inline std::string NameInPlaylist(const VARN_MEDIA_INFO &song) {
    std::string name = song.path;
    if (IsVirtualMusic(&song)) {
        name += "_" + std::to_string(song.virtual_track);
    }
    return name;
}

}  // namespace Tonvale::support
