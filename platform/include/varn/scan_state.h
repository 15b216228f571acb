// What the indexer tells others of its scans, and how they stop one.
//
// The process that scans holds a lock on "/var/run/Tonvale/indexing.lock" and writes what it does
// to "/var/run/Tonvale/indexing", a JSON object that is replaced whole. The kernel takes the lock
// from a process that has ended, so that what it wrote last does not count. The file
// "indexing.stop" beside it asks the scan to end.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "varn/descriptor.h"
#include "varn/export.h"

namespace varn::scan {

// What a scan has changed, in songs, playlists and cue sheets together.
struct Changes {
    long long added = 0;
    long long changed = 0;
    long long moved = 0;
    long long removed = 0;
    long long failed = 0;  // files that cannot be read
};

struct State {
    bool isRunning = false;  // also for a small scan, of files that have just changed
    bool isWhole = false;    // the running scan looks at everything
    std::string phase;       // "looking" at what there is, then "indexing" what is new; "" for none
    long long done = 0;      // files of this phase
    long long total = 0;     // of this phase; 0 while that is not known, as it is not while looking

    // The last scan, or the one that runs: seconds since 1970, 0 for none. `ended` is 0 while it
    // runs, and when its process was killed.
    long long started = 0;
    long long ended = 0;
    Changes changes;  // of the last scan that came to its end

    // The last problem since a scan of everything began: a sentence, which may name paths; "" for
    // none.
    std::string problem;
};

// The state of this moment, for the package's account and root. For other accounts, without a file
// and with a damaged one, it is that of a system that has never scanned.
VARN_EXPORT State ReadState();

// Asks the scan that runs to end. False with errno set.
VARN_EXPORT bool AskToStop();

// True when the scan of this process was asked to end. May be called often: it looks only a few
// times a second.
VARN_EXPORT bool IsAskedToStop();

// Keeps a problem without a scan. Does nothing while one runs.
VARN_EXPORT void NoteProblem(std::string_view problem);

// Tells of one scan of this process, for as long as the object lives. No scan fails because its
// state cannot be written. Make it in a thread whose identity may change (varn/run_as.h), before
// other threads depend on that identity.
class VARN_EXPORT Publisher {
  public:
    explicit Publisher(bool isWhole);
    ~Publisher();
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;

    void StartPhase(std::string_view name, long long total);
    // Counts one file. Writes some times a second at most.
    void Step() {
        ++state_.done;
        if (const auto now = Clock::now(); now >= next_) {
            Write(now);
        }
    }
    void Tell(std::string_view problem) { state_.problem = problem; }

    // The scan came to its end; without this it was broken off.
    void SetChanges(const Changes &changes) { state_.changes = changes; }

  private:
    using Clock = std::chrono::steady_clock;

    void Write(Clock::time_point now);

    State state_;
    UniqueFd lock_;
    Clock::time_point next_;
};

}  // namespace varn::scan
