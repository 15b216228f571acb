// Playlists and cue sheets that were moved or renamed keep their rows, with what hangs on them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "varnindex/database.h"

namespace varnindex {

// Where a list of the temporary table known_list was and is. `emptied` is the number that its
// folder has which was emptied.
struct MovedList {
    int id = 0;
    std::optional<std::size_t> emptied;
    std::string from;
    std::string to;
};

// Finds out which rows of gone_list have become which new ones of found_place: lists of the same
// owner and contents, with the same name first, else the same time; among several in the order of
// their paths. Leaves them in the temporary table moved_list. All tables are those of places.h.
// Throws DatabaseError, as below.
std::vector<MovedList> FindMovedLists(Database &database);

// Gives the rows their new paths, and the share links and pins of these lists, too. In the caller's
// transaction.
void MoveLists(Database &database);

}  // namespace varnindex
