// The lists of the single songs that users share.
#pragma once

#include "varnindex/database.h"
#include "varnindex/reporter.h"

namespace varnindex {

// Names moved songs, and tracks of cue sheets, by their new paths in the list that each user with a
// link to single songs has; all at once, because songs of one scan may take each other's paths.
// `condition` chooses the lines of the outbox. The lists are changed as the package's account, in
// the folders of this root's users; a path that is no such list's is not opened, whatever the
// library says. What users keep in playlists of their own is left to them. Warns of what went
// wrong. Throws DatabaseError.
void SettleSharedLists(Database &database, const std::string &condition, Reporter &reporter);

}  // namespace varnindex
