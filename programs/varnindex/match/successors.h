// Files that were copied, indexed, and deleted at their old place later.
#pragma once

#include <string>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"
#include "varnindex/stop.h"

namespace varnindex {

// A row without a file, and the newer row of a file that is what became of it.
struct Succession {
    int gone = 0;
    int successor = 0;
    std::string path;  // of the successor
};

// Looks through the library for files of the same size and audio as the given rows without a file,
// which came at a later date, lie in a configured folder, belong to the same owner and have no stars
// of their own: none, or such as the row has, too, which came along in the copied record. Rated rows
// choose first, each the file of its name, else any. A file goes to one row. Throws DatabaseError.
std::vector<Succession> FindSuccessors(Database &database, const Folders &folders,
                                       const std::vector<int> &gone);

// Gives the files the old rows' ids, dates and ratings, with those of the tracks of cue sheets by
// their numbers, and removes what else was theirs. Stars that a file was given since it was found
// stay. `own` is what this root answers for, `roots` are the indexed folders. In short transactions; throws DatabaseError, and
// Stopped between two of them.
void Succeed(Database &database, const std::vector<Succession> &successions, const Scope &own,
             const std::vector<std::string> &roots, Reporter &reporter, StopQuestion isStopped);

}  // namespace varnindex
