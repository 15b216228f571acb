// What is to be done outside of the database for songs that have moved or gone: in come lines that
// tell of them, written with their rows; out go rating records and lists of shared songs that are
// right again.
//
// Rating records lie beside the songs, on disks that may be slow or asleep, and lists of shared
// songs are files, which take no part in a transaction. So the table "outbox" is written together
// with the rows, and worked off when that is committed: a rollback leaves the files as they are,
// and the next scan does what a killed one has left. All calls throw DatabaseError.
#pragma once

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/links.h"
#include "varnindex/reporter.h"

namespace varnindex {

// Works the outbox off, below the scope alone: another root's files may not be there for this one.
// Names moved songs by their new paths in the lists of shared songs, and makes rating records what
// the library knows of the rows that are there, whatever came along with a file. A record without a
// row goes with its song, but stays when a link to a folder of the library leads there. A scan that
// is killed in the middle is made up for by the next one; an entry of a list is then moved on twice
// where songs of one scan have taken each other's paths. To be called outside of a transaction, and
// while no other thread depends on the process's account. Warns of what went wrong.
void SettleOutbox(Database &database, const Scope &scope, const LinkedFolders &library,
                  Reporter &reporter);

}  // namespace varnindex
