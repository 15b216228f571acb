// Rating records of songs that get other paths.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"

namespace varnindex {

// A row whose path changes. `numbers` are those of the tracks that cue sheets have made of it
// before and make of it now.
struct MovedSong {
    int id = 0;
    std::string from;
    std::string to;
    std::set<int> numbers = {};
};

// The rows of these that have another path than the library has for them: `from` becomes that, and
// what has not moved is left out. Throws DatabaseError, as below.
std::vector<MovedSong> OnlyMoved(Database &database, std::vector<MovedSong> songs);

// A rating record lies beside its song, on a disk that may be slow or asleep, and files take no part in
// a transaction. So what has to be done to records is written into the library together with what is
// done to the rows, and done when that is committed: a rollback leaves the records as they are, and
// what a killed scan has not done any more is known to the next one. All of these throw
// DatabaseError.

// Notes the records at the old and new paths of these, and those of the tracks. To be called in the
// transaction that gives the rows their new paths.
void NoteMoved(Database &database, const std::vector<MovedSong> &songs);

// Notes the records of rows that are about to go, and of their tracks. `ids` in decimal, with commas
// between them. To be called in the transaction that removes the rows, before that.
void NoteRemoved(Database &database, const std::string &ids);

// Makes the noted records what the library knows of the rows that are there, whatever came along
// with a file: a song that takes a name must not take the stars of the one before. Those of rows that
// are no more go where the file is gone, too. Doing it twice does no harm. To be called outside of a
// transaction, after one that has noted something, and before a scan. Returns what went wrong, for a
// person. Records below the scope alone: what another root has left to do is where that has its
// files. A record where no row is any more stays when a link to a folder leads there, below the
// indexed folders `roots`.
std::vector<std::string> SettleRecords(Database &database, const Scope &scope,
                                       const std::vector<std::string> &roots);

}  // namespace varnindex
