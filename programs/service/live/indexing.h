// Scans: how far the one that runs is, how the last one ended, and how they are started and
// stopped.
//
// The indexer that follows changes ("varnindex --watch", which 'tonvale serve' runs) and those of
// the command line publish what they do. Nothing here asks the database.
#pragma once

#include <json/value.h>

#include "varn/scan_state.h"

namespace tonvale_service {

// What varn/scan_state.h tells, and:
struct Indexing : varn::scan::State {
    // An indexer follows changes, which StartIndexing needs.
    bool isWatched = false;
};

// The state of this moment. What a process that has ended left there does not count. Never fails:
// without any trace of a scan the state is that of a library that was never scanned. Takes some
// 30 microseconds. For the package's account and root; others see no trace.
Indexing IndexingState();

// The state as the web API tells it: `is_running`, and with `withDetails`, for administrators, all
// of the rest under the names of docs/webapi.md.
Json::Value IndexingInfo(const Indexing &state, bool withDetails);

// Starts a scan of everything. It begins within a second, or when the small scan that runs has
// ended. Throws a Failure: kScanRuns where a scan of everything runs already, and kIndexerAway
// where no indexer follows changes. Only the package's account and root may ask.
void StartIndexing();

// Stops the running scan: it ends within a second or two, at the next file. What it has written
// stays, and the next scan of everything continues from there. Throws a Failure: kNoScanRuns if
// none runs. Only the package's account and root may ask.
void StopIndexing();

}  // namespace tonvale_service
