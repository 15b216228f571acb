// Brings the library in step with the folders.
#pragma once

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"
#include "varnindex/stop.h"
#include "varnindex/write/lists.h"

namespace varnindex {

// Of songs, and of lists.
struct Counts : RowCounts {
    std::size_t failed = 0;  // damaged files, and names that the library cannot hold
    RowCounts playlists;
    RowCounts sheets;  // cue sheets
    // True when a folder could not be looked at, and its songs were kept as they are.
    bool heldBack = false;

    // True when the scan has changed the library, or could not read a file.
    bool TellsSomething() const {
        return failed > 0 || AnyChange() || playlists.AnyChange() || sheets.AnyChange();
    }
    varn::scan::Changes Changes() const;
};

struct ScanOptions {
    bool full = false;    // reads every file again
    bool purge = false;   // also removes rows of what cannot be looked at
    bool dryRun = false;  // writes nothing
    // Asked at every file. The scan then throws Stopped.
    StopQuestion isStopped = nullptr;
};

// Indexes all configured folders, and removes the rows of what lies in none of them; on a server
// that other roots may use, only where this root had a folder before. Throws DatabaseError, and
// std::system_error when that cannot be found out; what was written before stays, and the next scan
// goes on from there.
Counts IndexLibrary(Database &database, const Folders &folders, const ScanOptions &options,
                    Reporter &reporter);

// Indexes the given folders, for a file the folder that it is in, and for what is gone the nearest
// folder above it that is still there. Paths in no configured folder are passed over. What a scan
// of all folders passes over, or takes at another path, is treated in the same way. Songs that were
// moved between the paths keep their rows. Throws as above.
Counts IndexPaths(Database &database, const Folders &folders, const std::vector<std::string> &paths,
                  const ScanOptions &options, Reporter &reporter);

}  // namespace varnindex
