// Keeps the library in step with the folders for as long as the process runs: in come changes that
// the system and the library tell, gathered until it is quiet for a moment. Out go scans of the
// paths that have changed, or of everything.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace varnindex {

enum class JobResult {
    kDone,
    kIndexerBusy,     // another one is at work
    kNothingIndexed,  // no folder is: more likely a lost configuration than a wish
};

// What the watcher has done by others. Each of these may throw DatabaseError or std::system_error:
// the work is then tried again with growing pauses, and so is what is not done. Those that index
// throw Stopped (stop.h) when IsStopRequested() says so.
struct WatchJobs {
    // All folders that the library holds files of, the personal ones included: absolute paths as
    // OrderedFolders gives them. Asked for again whenever the configuration changes.
    std::function<std::vector<std::string>()> folders;

    // Brings the library in step with these files and folders, which may be gone. What was moved
    // stands in one list with both paths.
    std::function<JobResult(const std::vector<std::string> &paths)> indexPaths;

    // The same for all folders.
    std::function<JobResult()> indexAll;
};

// To be called before anything changes the identity of the process, which undoes the wish of its
// parent that it end with it (PR_SET_PDEATHSIG). The watcher keeps that wish.
void NoteParent();

// True when a signal has come that ends the watcher, or its parent has ended and wished so.
bool IsStopRequested();

// Watches the folders and the library's notices until SIGTERM or SIGINT, whose handlers stay its
// own. Begins with a look at all folders, for what changed before they were watched; what cannot be
// done is kept until it can. What is not done when a signal comes is left to the next start.
// Messages go to standard error. Returns the exit status of the program: EXIT_FAILURE when another
// process watches already or the system refuses to watch anything.
int Watch(const WatchJobs &jobs);

}  // namespace varnindex
