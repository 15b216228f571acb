// Playlists as this API has them: the songs of the library among their entries.
#pragma once

#include <json/value.h>

#include <climits>
#include <string>
#include <vector>

#include "ids.h"
#include "request.h"
#include "service/playlists/playlists.h"
#include "service/songs/songs.h"

namespace tonvale_subsonic {

// A playlist of the user's, or a shared one. Throws a Fault or a Failure when there is none.
tonvale_service::AnyPlaylist FindPlaylist(const Request &asked, const std::string &id);

// A song in a playlist. Streams, and songs that are not in the library, are entries that clients do
// not see.
struct PlaylistEntry {
    tonvale_service::SongId song;
    int position;  // among all entries, from 0
    int seconds;
};

// The first entries of a playlist. Throws a Failure.
std::vector<PlaylistEntry> EntriesOf(const Request &asked,
                                     const tonvale_service::AnyPlaylist &playlist,
                                     int most = INT_MAX);

std::vector<tonvale_service::SongId> SongsOf(const std::vector<PlaylistEntry> &entries);

// "playlist", without its songs.
Json::Value PlaylistObject(const Request &asked, const tonvale_service::AnyPlaylist &playlist,
                           const std::vector<PlaylistEntry> &entries);

// Makes a playlist of the user's own and gives it back; each identifier must be a song's. Throws a
// Fault or a Failure, with nothing made.
tonvale_service::AnyPlaylist MakePlaylist(const Request &asked, const std::string &name,
                                          const std::vector<std::string> &songs);

}  // namespace tonvale_subsonic
