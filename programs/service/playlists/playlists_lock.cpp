#include "service/playlists/playlists_lock.h"

#include <filesystem>

#include "varn/systempath.h"

namespace tonvale_service {

namespace {

std::string ListsLockFile(const Collection &collection) {
    const std::filesystem::path users = SystemPath(varn::path::kUsersFile);
    const std::string whose = collection.personal ? std::to_string(collection.uid) : "shared";
    return users.parent_path() / ("playlists." + whose + ".lock");
}

}  // namespace

PlaylistsLock::PlaylistsLock(const Collection &collection, Kind kind)
    : Lock(ListsLockFile(collection), kind, Reason::kPlaylistLocked) {}

}  // namespace tonvale_service
