// What happens to share links when something else changes. To be called when the change is done;
// each throws a Failure when the links could not follow.
#pragma once

#include <sys/types.h>

#include <string>

namespace tonvale_service {

struct Collection;

// A normal playlist has another name, and so another identifier or file: its links go on.
void LinksFollowRename(const std::string &playlistId, const std::string &path,
                       const std::string &oldPath);

// A normal playlist is gone: so are its links, of all users. It is named by its file, because
// its identifier may have been another playlist's before.
void LinksFollowDeletion(const std::string &path);

// A smart playlist has another name, or is gone. Of a user's own these are the user's links: other
// users may have a playlist of the same identifier.
void LinksFollowSmartRename(const Collection &collection, const std::string &playlistId,
                            const std::string &oldPlaylistId);
void LinksFollowSmartDeletion(const Collection &collection, const std::string &playlistId);

// Users lost the right to share.
void LinksFollowLostRight(uid_t uid);

// Users are gone: takes the links away whose owners have no entry among the users, and so no right
// to share, before another account gets their user ids. Goes on when some cannot be taken away, and
// then throws.
void LinksFollowLostUsers();

// Switches personal libraries on or off, in the package's configuration; the links of all users'
// personal playlists and single songs are gone then. Also where it is so already: a call that could
// not reach the links may be repeated.
void SwitchPersonalLibraries(bool on);

}  // namespace tonvale_service
