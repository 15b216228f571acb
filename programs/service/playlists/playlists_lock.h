// One writer at a time of a collection's playlists.
#pragma once

#include "service/base/lock.h"
#include "service/playlists/playlist_target.h"

namespace tonvale_service {

// The rows and files of a collection's playlists stay together for as long as the object lives: who
// changes them takes this lock, and looks up row and path under it.
class PlaylistsLock : public Lock {
  public:
    PlaylistsLock(const Collection &collection, Kind kind);
};

}  // namespace tonvale_service
