// Playlists as this API has them: the songs of the library among their entries. Streams, and songs
// that are not in the library, are entries that clients do not see.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "request.h"
#include "service/playlists/playlist_entries.h"

namespace tonvale_subsonic {

// A playlist of the user's, or a shared one. Throws a Fault or a Failure when there is none.
tonvale_service::AnyPlaylist FindPlaylist(const Request &asked, const std::string &id);

std::vector<tonvale_service::SongId> SongsOf(
    const std::vector<tonvale_service::PlaylistEntry> &entries);

// "playlist", without its songs.
Json::Value PlaylistObject(const Request &asked, const tonvale_service::AnyPlaylist &playlist,
                           const tonvale_service::PlaylistSum &sum);

// Makes a playlist of the user's own and gives it back; each identifier must be a song's. Throws a
// Fault or a Failure, with nothing made.
tonvale_service::AnyPlaylist MakePlaylist(const Request &asked, const std::string &name,
                                          const std::vector<std::string> &songs);

}  // namespace tonvale_subsonic
