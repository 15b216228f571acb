// Files that were copied, indexed, and deleted at their old place later.
#pragma once

#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"
#include "varnindex/stop.h"

namespace varnindex {

// Finds, for the rows in the temporary table "lost", files of the same owner, size and audio that
// came into the library later and lie in a configured folder, and takes these rows out of "lost". A
// file with stars goes only to a row that also has these stars, so nobody's stars are lost. Rated
// rows choose first, each a file of its name if there is one. Each file goes to one row. Of equal
// files the first 200 count. Returns how many were found. Throws DatabaseError, as below.
std::size_t FindCopies(Database &database, const Folders &folders, Reporter &reporter);

// Gives the found files the ids, dates and ratings of their rows, with those of the tracks of cue
// sheets by their numbers. Stars that a file got since it was found stay. In short transactions;
// throws Stopped between two of them.
void GiveRowsToCopies(Database &database, StopQuestion isStopped);

}  // namespace varnindex
