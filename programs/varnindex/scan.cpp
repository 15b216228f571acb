#include "varnindex/scan.h"

#include <filesystem>

#include "varn/sql.h"
#include "varnindex/compare/held_back.h"
#include "varnindex/compare/merge.h"
#include "varnindex/match/copies.h"
#include "varnindex/match/matching.h"
#include "varnindex/observe/own_folders.h"
#include "varnindex/observe/walk.h"
#include "varnindex/read/names.h"
#include "varnindex/settle/outbox.h"
#include "varnindex/write/copy_rows.h"
#include "varnindex/write/store.h"

namespace varnindex {
namespace {

// Above this many files to read the folders are walked a second time in place of remembering them.
constexpr std::size_t kMostRemembered = 4096;

constexpr const char kTracks[] =
    "SELECT FROM virtual_info_track i JOIN track v ON v.id = i.track"
    " WHERE i.file_track = @VARN:INT@VARN:NEVAR LIMIT 1";

// The part of the library that a scan looks at.
struct Part {
    std::vector<std::string> roots;
    Scope scope;
    Scope own;  // all that this root answers for
};

// One scan. The folders are compared with the rows first: that tells which rows have lost their
// file before the first new file is read.
class Scan {
  public:
    Scan(Database &database, const Folders &folders, Part part, const ScanOptions &options,
         Reporter &reporter)
        : database_(database),
          folders_(folders),
          part_(std::move(part)),
          options_(options),
          reporter_(reporter),
          folderRows_(database, folders),
          library_(folders),
          lists_(database, folderRows_, reporter),
          heldBack_(folders, folderRows_, reporter, options.purge),
          matching_(database),
          store_(database, options.dryRun ? Store::Writes::kNone : Store::Writes::kAll) {}

    Counts Run();

  private:
    void SettleOutside();
    void Compare();
    void CompareSong(Work work);
    void CompareGone(const KnownRow &row);
    void CompareGap(const Event &gap);
    bool NeedsReading(const Work &work) const;
    void ReadFiles();
    void ReadByWalking(Readers &readers);
    void Read(Readers &readers, Work work);
    void Take(Readers &readers);
    void TakeUnread(const ReadWork &read);
    void Write(Change change);
    bool RestampIfSame(const ReadWork &read, bool hasKeptTracks);
    bool KeepsTracks(const ReadWork &read, int id);
    bool IsBack(const KnownRow &row);
    void SettleLists();
    void RemoveLeft();

    Database &database_;
    const Folders &folders_;
    Part part_;
    ScanOptions options_;
    Reporter &reporter_;
    FolderRows folderRows_;
    LinkedFolders library_;
    Lists lists_;
    HeldBack heldBack_;
    Matching matching_;
    Store store_;
    Counts counts_;
    std::size_t toRead_ = 0;
    std::vector<Work> remembered_;
};

Counts Scan::Run() {
    SettleOutside();  // what a killed scan has left
    Compare();
    if (toRead_ > 0) {
        ReadFiles();
    }
    matching_.Settle([this](Change change) {
        StopIfAsked(options_.isStopped);
        Write(std::move(change));
    });
    store_.Flush();
    SettleLists();
    StopIfAsked(options_.isStopped);
    RemoveLeft();
    heldBack_.HoldEmptied();
    StopIfAsked(options_.isStopped);
    if (!options_.dryRun) {
        lists_.Store();
        folderRows_.Store(part_.scope, options_.purge);
    }
    // The planner picks its indexes by statistics, which the server would renew minutes later only.
    const std::size_t changes = counts_.added + counts_.changed + counts_.moved + counts_.removed;
    if (10 * changes > counts_.unchanged) {
        store_.RenewStatistics();
    }
    if (changes > 0) {
        SettleOutside();
    }
    counts_.heldBack = heldBack_.Any();
    return counts_;
}

// Brings rating records and lists of shared songs up to date. It takes another account, which
// threads that read songs must not get.
void Scan::SettleOutside() {
    if (!options_.dryRun) {
        SettleOutbox(database_, part_.own, library_, reporter_);
    }
}

void Scan::Compare() {
    reporter_.StartPhase("Looking", 0);
    Merge merge(database_, part_.scope, folders_, part_.roots, library_, options_.purge,
                options_.isStopped);
    while (auto event = merge.Next()) {
        StopIfAsked(options_.isStopped);
        switch (event->kind) {
            case Event::Kind::kSong:
                CompareSong(std::move(event->work));
                reporter_.Step();
                break;
            case Event::Kind::kList:
                lists_.AddFound(event->work);
                break;
            case Event::Kind::kGone:
                CompareGone(event->work.known);
                break;
            case Event::Kind::kKept:
                heldBack_.AddUnseen(event->work.known);
                folderRows_.NoteFile(event->work.known.path, event->work.known.userid);
                break;
            case Event::Kind::kGap:
                CompareGap(*event);
                break;
            case Event::Kind::kRefused:
                ++counts_.failed;
                reporter_.Warn(Printable(event->work.path) + ": skipped, " + event->reason);
                break;
        }
    }
    heldBack_.WarnOfUnseen();
}

bool Scan::NeedsReading(const Work &work) const {
    const std::int64_t stamp = work.sheets ? work.sheets->Stamp() : 0;
    return options_.full || work.known.id == 0 || work.known.size != work.size ||
           work.known.modified != work.modified || work.known.userid != work.userid ||
           work.known.sheetStamp != stamp;
}

void Scan::CompareSong(Work work) {
    if (!NeedsReading(work)) {
        folderRows_.NoteFile(work.path, work.userid);
        ++counts_.unchanged;
        return;
    }
    matching_.AddToRead(work);
    if (++toRead_ <= kMostRemembered) {
        remembered_.push_back(std::move(work));
    }
}

void Scan::CompareGap(const Event &gap) {
    // A link that leads nowhere is worth a warning only if rows came through it.
    if (!gap.isEmptied && (gap.kept > 0 || gap.isBlocked)) {
        heldBack_.Hold(gap.work.path, gap.reason, gap.kept);
    } else if (gap.isEmptied && gap.kept > 0) {
        heldBack_.AddEmptied(gap.work.path, gap.reason);
    }
}

void Scan::CompareGone(const KnownRow &row) {
    if (row.isList) {
        lists_.AddGone(row);
    } else {
        matching_.AddLost(row, Matching::Loss::kFile);
    }
}

void Scan::ReadFiles() {
    reporter_.StartPhase("Indexing", toRead_);
    const auto pictures = options_.dryRun ? Pictures::kCount : Pictures::kStore;
    Readers readers(std::thread::hardware_concurrency(), pictures);
    if (toRead_ > kMostRemembered) {
        ReadByWalking(readers);
    } else {
        for (Work &work : remembered_) {
            Read(readers, std::move(work));
        }
    }
    while (!readers.IsEmpty()) {
        Take(readers);
    }
}

// A row whose file was gone in the first walk, and is back, waits for the second look at the end.
void Scan::ReadByWalking(Readers &readers) {
    Merge merge(database_, part_.scope, folders_, part_.roots, library_, options_.purge,
                options_.isStopped);
    while (auto event = merge.Next()) {
        StopIfAsked(options_.isStopped);
        if (event->kind == Event::Kind::kSong && !matching_.HasLost(event->work.known.id) &&
            NeedsReading(event->work)) {
            Read(readers, std::move(event->work));
        }
    }
}

void Scan::Read(Readers &readers, Work work) {
    while (readers.IsFull()) {
        Take(readers);
    }
    readers.Add(std::move(work));
}

void Scan::Take(Readers &readers) {
    StopIfAsked(options_.isStopped);
    ReadWork read = readers.Take();
    for (const std::string &warning : read.warnings) {
        reporter_.Warn(warning);
    }
    reporter_.Step();
    if (!read.result.song) {
        TakeUnread(read);
    } else if (auto change = matching_.ChangeFor(std::move(read))) {
        Write(std::move(*change));
    }
}

// A known song keeps its row: somebody may be writing the file at the moment.
void Scan::TakeUnread(const ReadWork &read) {
    const Work &work = read.work;
    reporter_.Warn(Printable(work.path) + ": " + read.result.problem);
    ++counts_.failed;
    matching_.AddUnread(work);
    if (work.known.id != 0) {
        folderRows_.NoteFile(work.path, work.known.userid);
        matching_.AddLost(work.known, Matching::Loss::kUnknown);
    }
}

void Scan::Write(Change change) {
    const ReadWork &read = change.read;
    const std::string &path = read.work.path;
    if (!read.result.warning.empty()) {
        reporter_.Warn(Printable(path) + ": " + read.result.warning);
    }
    folderRows_.NoteFile(path, read.work.userid);
    const bool keepsTracks = change.id != 0 && KeepsTracks(read, change.id);
    switch (change.kind) {
        case Change::Kind::kAdd:
            reporter_.Tell("added", path);
            ++counts_.added;
            break;
        case Change::Kind::kEdit:
            if (RestampIfSame(read, keepsTracks)) {
                ++counts_.unchanged;
                return;
            }
            reporter_.Tell("changed", path);
            ++counts_.changed;
            break;
        case Change::Kind::kMove:
            reporter_.Tell("moved to", path);
            ++counts_.moved;
            break;
    }
    Song &song = *change.read.result.song;
    if (keepsTracks) {
        song.sheetStamp = ~song.sheetStamp;  // no folder has this one: the song is looked at again
        store_.Write(change.id, std::move(song), std::nullopt);
    } else {
        store_.Write(change.id, std::move(song), std::move(change.read.tracks));
    }
}

// True when only the cue sheets of the folder have changed, and they neither split this song nor
// did before. Then its row gets their stamp and nothing else.
bool Scan::RestampIfSame(const ReadWork &read, bool keepsTracks) {
    const Work &work = read.work;
    const KnownRow &known = work.known;
    if (options_.full || known.size != work.size || known.modified != work.modified ||
        known.userid != work.userid) {
        return false;
    }
    if (keepsTracks) {
        return true;  // with its old stamp, so that it is looked at again
    }
    if (known.isSplit || !read.tracks.empty()) {
        return false;
    }
    store_.Restamp(known.id, read.result.song->sheetStamp);
    return true;
}

// A song keeps its tracks while its sheet cannot be used, be it out of reach or broken by an edit:
// the tracks have ratings. It also keeps them while its file is being copied over itself and is too
// short.
bool Scan::KeepsTracks(const ReadWork &read, int id) {
    const auto &sheets = read.work.sheets;
    const bool isWithoutSheet =
        read.tracks.empty() && (read.isOwnSheetUnusable || (sheets && sheets->HasProblem()));
    if (options_.purge || (!isWithoutSheet && read.behindEnd.empty())) {
        return false;
    }
    const std::string numbers =
        isWithoutSheet ? "" : " AND v.track IN (" + IdList(read.behindEnd) + ")";
    const bool hasTracks = database_.Query(Made(varn::Sql(kTracks, id, numbers))).Count() > 0;
    if (hasTracks) {
        heldBack_.AddTracks(read.work.path);
    }
    return hasTracks;
}

// True for a row that stays because its file is there again: an editor puts a new one in place of
// the old, a disk is mounted, and the folder was looked at in the moment between. A list of another
// owner gets a new row.
bool Scan::IsBack(const KnownRow &row) {
    StopIfAsked(options_.isStopped);
    const unsigned owner = folders_.OwnerOf(row.path);
    const bool isBack =
        owner != kNobody && (!row.isList || owner == row.userid) && library_.IsThere(row.path);
    if (isBack) {
        folderRows_.NoteFile(row.path, owner);
    }
    return isBack;
}

void Scan::SettleLists() {
    lists_.Settle([this](const KnownRow &row) { return IsBack(row); },
                  [this](const KnownRow &row) { return heldBack_.IsOfEmptied(row.path); });
    counts_.playlists = lists_.Playlists();
    counts_.sheets = lists_.Sheets();
}

// Before a row goes: its file may be back, may be one that cannot be read, or may be in the library
// since an earlier scan, because a slow move is a copy first.
void Scan::RemoveLeft() {
    matching_.ForEachLeft([this](const KnownRow &row, bool isFree) {
        if (heldBack_.IsOfEmptied(row.path)) {
            return true;
        }
        const bool mayBeUnread = !options_.purge && matching_.MayBeUnread(row);
        const bool stays = mayBeUnread || (isFree && IsBack(row));
        if (mayBeUnread) {
            folderRows_.NoteFile(row.path, row.userid);
        }
        counts_.unchanged += stays ? 1 : 0;
        return stays;
    });
    if (!matching_.HasLeft()) {
        return;
    }
    counts_.moved += FindCopies(database_, folders_, reporter_);
    if (!options_.dryRun) {
        GiveRowsToCopies(database_, options_.isStopped);
    }
    matching_.ForEachLeft([this](const KnownRow &row, bool /*isFree*/) {
        StopIfAsked(options_.isStopped);
        reporter_.Tell("removed", row.path);
        store_.Remove(row.id);
        ++counts_.removed;
        return false;
    });
    store_.Flush();
}

}  // namespace

varn::scan::Changes Counts::Changes() const {
    const auto sum = [this](std::size_t RowCounts::*count) {
        return static_cast<long long>(this->*count + playlists.*count + sheets.*count);
    };
    return {sum(&RowCounts::added), sum(&RowCounts::changed), sum(&RowCounts::moved),
            sum(&RowCounts::removed), static_cast<long long>(failed)};
}

Counts IndexLibrary(Database &database, const Folders &configured, const ScanOptions &options,
                    Reporter &reporter) {
    Folders folders = configured;
    if (folders.HasHomes()) {
        folders.AddUnlisted(OwnersOfRows(database));
    }
    const Scope own = AnsweredFor(folders);
    if (!options.dryRun) {
        RememberFolders(folders, reporter);
    }
    const Counts counts =
        Scan(database, folders, {folders.Roots(), own, own}, options, reporter).Run();
    if (!options.dryRun) {
        ForgetFolders(database, folders, reporter);
    }
    return counts;
}

Counts IndexPaths(Database &database, const Folders &folders, const std::vector<std::string> &paths,
                  const ScanOptions &options, Reporter &reporter) {
    if (!options.dryRun) {
        RememberFolders(folders, reporter);
    }
    std::vector<std::string> all = paths;
    for (const std::string &path : paths) {
        std::error_code error;
        const std::string real = std::filesystem::weakly_canonical(path, error);
        all.push_back(error ? path : real);
    }
    std::vector<std::string> roots = FoldersToWalk(folders, all);
    const Scope scope(roots);
    return Scan(database, folders, {std::move(roots), scope, AnsweredFor(folders)}, options,
                reporter)
        .Run();
}

}  // namespace varnindex
