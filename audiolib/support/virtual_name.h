// How songs are named in playlists.
#pragma once

#include <string>

#include "varn/database.h"

namespace Tonvale::support {

// The path; of a virtual song with "_" and its track number at its end.
inline std::string NameInPlaylist(const VARN_MEDIA_INFO &song) {
    std::string name = song.path;
    if (IsVirtualMusic(&song)) {
        name += "_" + std::to_string(song.virtual_track);
    }
    return name;
}

// The same of a row of the tracks, with "path", "is_virtual" and "track".
inline std::string NameInPlaylist(const varn::Row &row) {
    const std::string path = row.Text("path");
    return *row.Text("is_virtual") == 't' ? path + "_" + row.Text("track") : path;
}

}  // namespace Tonvale::support
