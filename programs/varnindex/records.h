// Rating records of songs that get other paths.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "database.h"

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

// Makes the records at the old and new paths, and those of the tracks, what the library knows of
// the rows that are there, whatever came along with a file: a song that takes a name must not take
// the stars of the one before. To be called in the transaction that gives the rows their new paths,
// behind that: a scan that is killed before its end does all of it again. Returns what went wrong,
// for a person.
std::vector<std::string> MoveRecords(Database &database, const std::vector<MovedSong> &songs);

// Removes the records of rows that are about to go, and of their tracks, where the file is gone, too:
// another song of that name must not take the stars. `ids` in decimal, with commas between them.
std::vector<std::string> RemoveRecords(Database &database, const std::string &ids);

}  // namespace varnindex
