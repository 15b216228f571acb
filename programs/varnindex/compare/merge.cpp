#include "varnindex/compare/merge.h"

#include <algorithm>
#include <filesystem>

#include "varn/path.h"
#include "varn/sql.h"
#include "varnindex/observe/file_names.h"

namespace varnindex {
namespace {

constexpr std::size_t kMostAhead = 4096;

// True when a row's path is the one that the walk could not look at, or below it.
bool Covers(const std::string &gap, const std::string &path) {
    return gap.ends_with('/') ? path.starts_with(gap) : path == gap;
}

bool IsGap(const Found &found) {
    return found.kind == Found::Kind::kBlocked || found.kind == Found::Kind::kAbsent ||
           found.kind == Found::Kind::kEmpty;
}

// The first files that the library has of a folder: songs, and after them lists.
constexpr const char kSome[] =
    "(SELECT path, true AS is_song FROM track WHERE NOT is_virtual AND (@VARN:NEVAR) LIMIT 100)"
    " UNION ALL (SELECT path, false FROM (SELECT path FROM playlist UNION ALL"
    " SELECT path FROM personal_playlist) l WHERE @VARN:NEVAR LIMIT 100) ORDER BY is_song DESC";

// True when the library has songs of a folder and there is no music anywhere in it; or has only
// lists of it, and there is nothing. A few rows answer for most folders, so that the folder is
// hardly ever walked.
bool HasLostItsFiles(Database &database, const std::string &folder, StopQuestion isStopped) {
    const std::string scope = ScopeCondition(Scope({folder}), false);
    const Rows rows = database.Query(Made(varn::Sql(kSome, scope, scope)));
    const bool hasSongs = rows.Count() > 0 && *rows[0].Text("is_song") == 't';
    for (const varn::Row row : rows) {
        std::error_code error;
        if ((*row.Text("is_song") == 't') == hasSongs &&
            std::filesystem::exists(row.Text("path"), error)) {
            return false;
        }
    }
    if (rows.Count() == 0) {
        return false;
    }
    LinkedFolders library({folder});
    Walk walk({folder}, hasSongs ? IsMusicName : IsIndexedName, library, isStopped);
    while (const auto found = walk.Next()) {
        if (found->kind == Found::Kind::kFile) {
            return false;
        }
    }
    return true;
}

}  // namespace

Merge::Merge(Database &database, const Scope &scope, const Folders &folders,
             const std::vector<std::string> &roots, LinkedFolders &library, bool purge,
             StopQuestion isStopped)
    : database_(database),
      folders_(folders),
      roots_(roots),
      purge_(purge),
      isStopped_(isStopped),
      walk_(roots, IsIndexedName, library, isStopped),
      known_(database, scope) {}

// The walked folders whose disk seems to be away. Other files in a mount point, a folder of lists
// for example, tell nothing about its songs.
void Merge::FindEmptyDisks() {
    std::set<std::string> without;
    for (const OwnedFolder &folder : folders_.All()) {
        const bool isWalked = std::any_of(roots_.begin(), roots_.end(), [&](const auto &root) {
            return varn::PathBelow(root, folder.path) || varn::PathBelow(folder.path, root);
        });
        if (isWalked && HasLostItsFiles(database_, folder.path, isStopped_)) {
            without.insert(folder.path);
        }
    }
    walk_.TakeForEmpty(std::move(without));
}

// The folders are walked while the server looks for the rows.
void Merge::Begin() {
    if (!purge_) {
        FindEmptyDisks();
    }
    known_.Ask();
    while (ahead_.size() < kMostAhead && !known_.HasAnswer()) {
        auto found = walk_.Next();
        if (!found) {
            return;
        }
        ahead_.push_back(std::move(*found));
    }
}

std::optional<Found> Merge::NextFound() {
    if (ahead_.empty()) {
        return walk_.Next();
    }
    Found found = std::move(ahead_.front());
    ahead_.pop_front();
    return found;
}

void Merge::Advance() {
    if (!std::exchange(hasBegun_, true)) {
        Begin();
    }
    while (!found_) {
        found_ = NextFound();
        kept_ = 0;
        if (!found_ || found_->kind != Found::Kind::kFile || OwnerOf(found_->path) != kNobody) {
            return;
        }
        found_.reset();
    }
}

std::optional<Event> Merge::Next() {
    Advance();
    const KnownRow *const front = known_.Front();
    if (!found_) {
        return front != nullptr ? std::optional(WithoutFile(Event::Kind::kGone)) : std::nullopt;
    }
    if (front != nullptr && front->path < found_->path) {
        return WithoutFile(Event::Kind::kGone);
    }
    if (IsGap(*found_)) {
        return NextOfGap();
    }
    Found found = *std::exchange(found_, std::nullopt);
    if (found.kind == Found::Kind::kRefused) {
        Event event{Event::Kind::kRefused};
        event.work.path = std::move(found.path);
        event.reason = std::move(found.reason);
        return event;
    }
    return OfFile(std::move(found));
}

std::optional<Event> Merge::NextOfGap() {
    const KnownRow *const front = known_.Front();
    const bool isEmptied = found_->kind == Found::Kind::kEmpty;
    if (front != nullptr && Covers(found_->path, front->path)) {
        ++kept_;
        return WithoutFile(purge_ || isEmptied ? Event::Kind::kGone : Event::Kind::kKept,
                           !purge_ && isEmptied);
    }
    Event event{Event::Kind::kGap};
    event.isEmptied = isEmptied;
    event.work.path = std::move(found_->path);
    event.reason = std::move(found_->reason);
    event.isBlocked = found_->kind == Found::Kind::kBlocked;
    event.kept = purge_ ? 0 : kept_;
    found_.reset();
    return event;
}

Event Merge::WithoutFile(Event::Kind kind, bool isEmptied) {
    Event event{kind};
    event.work.known = std::move(*known_.Front());
    known_.Pop();
    const KnownRow &row = event.work.known;
    const bool isKept =
        folders_.IsUnseen(row.userid) || (row.userid != 0 && OwnerOf(row.path) == kNobody);
    if (!isEmptied && !purge_ && isKept) {
        event.kind = Event::Kind::kKept;
    }
    return event;
}

Event Merge::OfFile(Found found) {
    const bool isList = !IsMusicName(found.path);
    Event event{isList ? Event::Kind::kList : Event::Kind::kSong};
    static_cast<FileFacts &>(event.work) = std::move(found);
    event.work.userid = OwnerOf(event.work.path);
    KnownRow *const front = known_.Front();
    // A list of another owner is in another table.
    if (front != nullptr && front->path == event.work.path && front->isList == isList &&
        (!isList || front->userid == event.work.userid)) {
        event.work.known = std::move(*front);
        known_.Pop();
    }
    return event;
}

unsigned Merge::OwnerOf(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    if (path.compare(0, slash, lastFolder_) != 0) {
        lastFolder_ = path.substr(0, slash);
        lastOwner_ = folders_.OwnerOf(lastFolder_.empty() ? "/" : lastFolder_);
    }
    return lastOwner_;
}

}  // namespace varnindex
