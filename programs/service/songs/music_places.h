// Where the files of the library may lie.
#pragma once

#include <sys/types.h>

#include <string>

#include "varn/descriptor.h"

namespace tonvale_service {

// True for a real path in an indexed folder, or for the song of a personal library in its user's
// music; never in somebody else's. Needs root's rights where the caller's do not reach.
bool MayHoldMusic(uid_t owner, const std::string &realPath);

// True for an open folder that may hold a user's own playlists: it is in his music or beside his
// preferences, or it belongs to him. Needs root's rights.
bool MayHoldPlaylistsOf(const std::string &user, uid_t uid, int folder);

// Opens a folder of shared playlists: one in an indexed folder and in nobody's music; or one out of
// there to which links lead that are root's, or whose owner owns what they lead to. Empty, with
// errno set (EPERM for a folder elsewhere). Needs root's rights.
varn::UniqueFd OpenPlaylistFolder(const std::string &path);

// A song of the library, which itself need not be there, and its folder, held open: whatever is put
// in that folder's place afterwards, it stays the one that was looked at.
class PlacedSong {
  public:
    // `path` may lead through links to where the owner's music may lie. Throws a Failure where it
    // leads elsewhere or to a folder, or its own folder is not there.
    PlacedSong(uid_t owner, const std::string &path);
    ~PlacedSong();
    PlacedSong(const PlacedSong &) = delete;
    PlacedSong &operator=(const PlacedSong &) = delete;

    // The song in its real folder.
    const std::string &Path() const { return path_; }

    // The same by the folder that is held: good in this process only, as long as this object lives.
    const std::string &HeldPath() const { return heldPath_; }

    // True for an open file that lies where a path in the folder, real or held, says: no link was
    // put on the way to it.
    bool IsOpen(int fd, const std::string &path) const;

  private:
    int folder_;
    std::string path_;
    std::string heldPath_;
};

}  // namespace tonvale_service
