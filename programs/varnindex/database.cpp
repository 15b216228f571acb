#include "varnindex/database.h"

#include "tonvale/library.h"

namespace varnindex {
namespace {

// "varnindx": one key for every version of the indexer.
constexpr const char *kTakeLock = "SELECT pg_try_advisory_lock(8530224987757241464) AS taken";

// The key after that: shared by an indexer's writing connection, taken for a moment by the next one.
constexpr const char *kHoldWriteLock = "SELECT pg_advisory_lock_shared(8530224987757241465)";
constexpr const char *kAwaitWriters =
    "SELECT pg_advisory_lock(8530224987757241465), pg_advisory_unlock(8530224987757241465)";

}  // namespace

Database::Database() : varn::Database(varn::Connection(AudioInfoDBConnect())) {}

bool Database::TakeIndexLock() {
    const Rows rows = Query(kTakeLock);
    const bool isTaken = rows.Count() == 1 && *rows[0].Text("taken") == 't';
    if (isTaken) {
        Query(kAwaitWriters);
    }
    return isTaken;
}

void Database::HoldWriteLock() {
    Query(kHoldWriteLock);
}

}  // namespace varnindex
