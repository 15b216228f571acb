#include "varnindex/database.h"

#include "tonvale/library.h"

namespace varnindex {
namespace {

// "varnindx": one key for every version of the indexer.
constexpr const char *kTakeLock = "SELECT pg_try_advisory_lock(8530224987757241464) AS taken";

}  // namespace

Database::Database() : varn::Database(varn::Connection(AudioInfoDBConnect())) {}

bool Database::TakeIndexLock() {
    const Rows rows = Query(kTakeLock);
    return rows.Count() == 1 && *rows[0].Text("taken") == 't';
}

}  // namespace varnindex
