// A page of the tracks behind a playlist's identifier.
#pragma once

#include <string>

#include "track_output.h"

namespace tonvale_cli {

struct TracksOptions {
    std::string id;
    std::string user;
    Additions additions;
    int offset = 0;
    int limit = 0;
    bool json = false;
};

// True for an identifier of the web API, playlist_shared_normal/12 and its kin.
bool IsPlaylistId(const std::string &text);

// Prints the page. The exit status, with a message unless it is 0.
int ShowTracks(const TracksOptions &options);

}  // namespace tonvale_cli
