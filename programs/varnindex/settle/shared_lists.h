// The lists of the single songs that users share.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "varnindex/database.h"

namespace varnindex {

// Names moved songs, and tracks of cue sheets, by their new paths in the list that each user with a
// link to single songs has; all at once, because songs of one scan may take each other's paths.
// `condition` chooses the lines of the outbox. The lists are changed as the package's account, in
// the folders of this root's users; a path that is no such list's is not opened, whatever the
// library says. What users keep in playlists of their own is left to them. Adds what went wrong,
// and returns the lists. Throws DatabaseError.
std::set<std::string> SettleSharedLists(Database &database, const std::string &condition,
                                        std::vector<std::string> &problems);

// Forgets what these lists were to hold: in the transaction that empties the outbox. Before that, a
// list that was written is not written again.
void ForgetWritten(Database &database, const std::set<std::string> &lists);

}  // namespace varnindex
