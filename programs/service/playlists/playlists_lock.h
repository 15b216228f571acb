// One writer at a time of a collection's playlists.
#pragma once

#include "service/base/lock.h"
#include "service/playlists/playlist_target.h"

namespace tonvale_service {

// Keeps the rows and files of a collection's playlists together for as long as the object lives.
// Take it before a change, and look up row and path under it.
class PlaylistsLock : public Lock {
  public:
    PlaylistsLock(const Collection &collection, Kind kind);
};

}  // namespace tonvale_service
