// The lists of the single songs that users share.
#pragma once

#include <string>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/settle/records.h"

namespace varnindex {

// The lists are files of the library's own, one for each user with a link to single songs, which
// name songs by their paths and the tracks of cue sheets by their virtual names. What users keep in
// playlists of their own is left to them. As with rating records (records.h) what has to be done is
// written into the library with the rows, and done when that is committed. Both throw
// DatabaseError.

// Notes the old and new names of these and of their tracks. To be called in the transaction that
// gives the rows their new paths.
void NoteEntries(Database &database, const std::vector<MovedSong> &songs);

// Names the noted songs below the scope by their new paths, all at once: songs of one scan may take
// each other's. Lists are changed as the package's account, in the folders of this root's users
// alone; a path that is no such list's is not opened, whatever the library says. Doing it twice
// does no harm. To be called outside of a transaction, before a scan and behind it, and never while
// another thread depends on the account. Returns what went wrong, for a person.
std::vector<std::string> SettleSharedLists(Database &database, const Scope &scope);

}  // namespace varnindex
