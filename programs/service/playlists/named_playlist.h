// Playlists by their identifiers.
#pragma once

#include <sys/types.h>

#include <string>

#include "tonvale/webapi.h"

namespace tonvale_service {

// A playlist of an identifier (tonvale/webapi.h).
struct NamedPlaylist {
    std::string id;
    std::string name;
    std::string path;  // its file, or the file of smart playlists
    bool isSmart = false;
};

// The list of a user's single shared songs, and what it is called.
using Tonvale::webapi::playlist::kSharedSongsId;
inline constexpr char kSharedSongsName[] = "Shared songs";

// The playlist of an identifier, as a user sees it. Throws a Failure for a text that is no
// identifier, and for a playlist that is not there.
NamedPlaylist FindNamedPlaylist(uid_t uid, const std::string &user, const std::string &id);

}  // namespace tonvale_service
