// Playlists by their identifiers.
#pragma once

#include <sys/types.h>

#include <string>

namespace tonvale_service {

// A playlist of an identifier (tonvale/webapi.h).
struct NamedPlaylist {
    std::string id;
    std::string name;
    std::string path;  // its file, or the file of smart playlists
    bool isSmart = false;
};

// The identifier of the list of a user's single shared songs, and what it is called.
inline constexpr char kSharedSongsId[] = "playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__";
inline constexpr char kSharedSongsName[] = "Shared songs";

// The playlist of an identifier, as a user sees it. Throws a Failure for a text that is no
// identifier, and for a playlist that is not there.
NamedPlaylist FindNamedPlaylist(uid_t uid, const std::string &user, const std::string &id);

}  // namespace tonvale_service
