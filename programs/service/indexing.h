// Scans: how far the one that runs is, how the last one ended, and how they are started and stopped.
//
// The indexer that follows changes ("varnindex --watch", which 'tonvale serve' runs) and those of
// the command line publish what they do. Nothing here asks the database.
#pragma once

#include <json/value.h>

#include <string>

namespace tonvale_service {

struct Indexing {
    // True while an indexer follows changes, which StartIndexing needs.
    bool isWatched = false;

    // The scan that runs. Small ones, of files that have just changed, count.
    bool isRunning = false;
    bool isWhole = false;  // it looks at everything
    std::string phase;     // "looking" at what there is, then "indexing" what is new; "" for none
    long long done = 0;    // files of this phase
    long long total = 0;   // of this phase; 0 while that is not known, as it is not while looking

    // The last scan, or the one that runs: seconds since 1970, 0 where there was none. `ended` is 0
    // while it runs, and where its process was killed.
    long long started = 0;
    long long ended = 0;
    // What the last scan that came to its end has changed. Zero while another one runs.
    long long added = 0;
    long long changed = 0;
    long long moved = 0;
    long long removed = 0;
    long long failed = 0;  // files that cannot be read

    // The last problem since a scan of everything began: a sentence that may name paths, which are
    // for administrators alone; "" for none.
    std::string problem;
};

// The state of this moment. What a process that has ended left behind is not believed. Never fails:
// without any trace of a scan all is as above. Takes some 30 microseconds.
Indexing IndexingState();

// The state as the web API tells it: `is_running`, and with `withDetails`, for administrators, all
// of the rest under the names of docs/webapi.md.
Json::Value IndexingInfo(const Indexing &state, bool withDetails);

// Has everything scanned. It begins within a second, or when the small scan that runs has ended.
// Throws a Failure: kScanRuns where a scan of everything runs already, and kIndexerAway where no
// indexer follows changes. Only the package's account and root may ask.
void StartIndexing();

// Has the running scan end: it does within a second or two, at the next file. What it has written
// stays, and the next scan of everything goes on from there. Throws a Failure: kNoScanRuns where
// none does. Only the package's account and root may ask.
void StopIndexing();

}  // namespace tonvale_service
