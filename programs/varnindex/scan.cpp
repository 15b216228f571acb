#include "scan.h"

#include <utility>

#include "copy_rows.h"
#include "format.h"
#include "names.h"
#include "tags.h"

namespace varnindex {
namespace {

// For the rest time of the progress bar.
std::size_t CountFiles(const std::vector<std::string> &folders, Reporter &reporter) {
    reporter.StartPhase("Counting", 0);
    Walk walk(folders, IsMusicName);
    std::size_t files = 0;
    while (const auto found = walk.Next()) {
        if (found->kind == Found::Kind::kFile) {
            ++files;
            reporter.Step();
        }
    }
    return files;
}

// True when a row's path is the one that the walk could not look at, or below it.
bool Covers(const std::string &gap, const std::string &path) {
    return gap.ends_with('/') ? path.starts_with(gap) : path == gap;
}

}  // namespace

Scan::Scan(Database &database, std::vector<std::string> folders, Scope scope, Reporter &reporter)
    : folders_(std::move(folders)),
      reporter_(reporter),
      known_(database, scope, folders_),
      store_(database) {}

void Scan::Run() {
    const std::size_t total = reporter_.ShowsProgress() ? CountFiles(folders_, reporter_) : 0;
    reporter_.StartPhase("Indexing", total);
    Walk walk(folders_, IsMusicName);
    while (const auto found = walk.Next()) {
        RemoveKnownBefore(found->path);
        switch (found->kind) {
            case Found::Kind::kFile:
                HandleFile(*found);
                reporter_.Step();
                break;
            case Found::Kind::kBlocked:
            case Found::Kind::kAbsent:
                HandleGap(*found);
                break;
            case Found::Kind::kRefused:
                ++counts_.failed;
                reporter_.Warn(Printable(found->path) + ": skipped, " + found->reason);
                break;
        }
    }
    while (known_.Front() != nullptr) {
        RemoveFront();
    }
    store_.Flush();
    // The planner picks its indexes by statistics, which the server would renew minutes later only.
    if (10 * (counts_.added + counts_.changed + counts_.removed) > counts_.unchanged) {
        store_.RenewStatistics();
    }
}

// Rows that the walk has passed without finding their file.
void Scan::RemoveKnownBefore(const std::string &path) {
    while (known_.Front() != nullptr && known_.Front()->path < path) {
        RemoveFront();
    }
}

void Scan::RemoveFront() {
    store_.Remove(known_.Front()->id);
    known_.Pop();
    ++counts_.removed;
}

void Scan::HandleFile(const Found &found) {
    const std::int64_t modified = StorableTime(found.modified);
    const KnownRow *const front = known_.Front();
    int id = 0;
    bool same = false;
    if (front != nullptr && front->path == found.path) {
        id = front->id;
        same = front->size == found.size && front->modified == modified;
        known_.Pop();
    }
    if (same) {
        ++counts_.unchanged;
        return;
    }
    ReadResult read = ReadSong(found.path, found.size, modified);
    if (!read.song) {
        // A known song keeps its row: the file may be half-way through being written.
        ++counts_.failed;
        reporter_.Warn(Printable(found.path) + ": " + read.problem);
    } else if (id != 0) {
        store_.Change(id, std::move(*read.song));
        ++counts_.changed;
    } else {
        store_.Add(std::move(*read.song));
        ++counts_.added;
    }
}

// Something could not be looked at, a disk that is not mounted for example: what the library knows
// about it stays. A link that leads nowhere is worth a word only when songs came through it.
void Scan::HandleGap(const Found &found) {
    std::size_t kept = 0;
    while (known_.Front() != nullptr && Covers(found.path, known_.Front()->path)) {
        known_.Pop();
        ++kept;
    }
    if (kept == 0 && found.kind == Found::Kind::kAbsent) {
        return;
    }
    heldBack_ = true;
    std::string text = Printable(found.path) + ": " + found.reason;
    if (kept > 0) {
        text += "; its songs stay in the library: " + std::to_string(kept);
    }
    reporter_.Warn(text);
}

}  // namespace varnindex
