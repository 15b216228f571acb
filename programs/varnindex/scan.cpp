#include "varnindex/scan.h"

#include <optional>
#include <thread>
#include <utility>

#include "varn/host.h"
#include "varn/sql.h"
#include "varnindex/compare/held_back.h"
#include "varnindex/compare/merge.h"
#include "varnindex/compare/second_look.h"
#include "varnindex/compare/unreadable.h"
#include "varnindex/match/gone.h"
#include "varnindex/match/put_off.h"
#include "varnindex/match/successors.h"
#include "varnindex/observe/own_folders.h"
#include "varnindex/observe/walk.h"
#include "varnindex/read/names.h"
#include "varnindex/read/readers.h"
#include "varnindex/read/used_sheet.h"
#include "varnindex/settle/shared_lists.h"
#include "varnindex/write/places.h"
#include "varnindex/write/store.h"

namespace varnindex {
namespace {

// Above this many files to read the folders are walked a second time in place of remembering them.
constexpr std::size_t kMostRemembered = 4096;

// Files are read in rounds, because a row goes to the file that it fits best.
enum class Round {
    kAll,     // every file; those that may get a row which others do not want wait
    kClaims,  // those that waited
    kRest,    // those whose path is known, with other audio, and that got no row elsewhere
};

// A connection on which a scan has failed may hold its temporary tables.
Database &WithoutLeftovers(Database &database) {
    database.Execute("DISCARD TEMP");
    return database;
}

// One scan, in two passes: the first finds out what has changed, and so which rows have lost their
// file before the first new file is read; the second reads and writes.
class Scan {
  public:
    // `library` where the roots are parts of it.
    Scan(Database &database, const Folders &folders, std::vector<std::string> roots, Scope scope,
         const ScanOptions &options, Reporter &reporter, LinkedFolders *library = nullptr)
        : database_(database),
          folders_(folders),
          roots_(std::move(roots)),
          library_(library),
          scope_(std::move(scope)),
          own_(OwnScope(folders)),
          options_(options),
          reporter_(reporter),
          places_(WithoutLeftovers(database), folders),
          secondLook_(folders, places_, options.isStopped),
          lists_(database, places_, secondLook_, reporter),
          heldBack_(folders, places_, reporter, options.purge),
          unreadable_(database, scope_),
          store_(database, options.dryRun ? Store::Writes::kNone : Store::Writes::kAll, own_,
                 folders.Roots(), reporter) {}

    Counts RunAndFollow();

  private:
    Counts Run();
    void Survey();
    void SurveySong(Event event);
    void SurveyGone(const KnownRow &row, std::optional<std::size_t> emptied);
    bool NeedsReading(const Work &work) const;
    bool IsUnreadable(const Work &work) const;
    void CountUnreadable(const Work &work);
    void ReadAll();
    void ReadSurveyed(Readers &readers);
    void ReadPutOff(Readers &readers, Round round);
    void Read(Readers &readers, Work work, Round round);
    void Take(Readers &readers, Round round);
    void TakeAll(Readers &readers, Round round);
    void StoreRead(ReadWork read, Round round);
    bool IsAtItsPath(const ReadWork &read, Round round);
    void StoreAtItsPath(ReadWork read);
    void Change(int id, ReadWork read, const UsedSheet &kept);
    UsedSheet SheetToKeep(const ReadWork &read, int id);
    void StoreElsewhere(ReadWork read, Round round);
    void RemoveLeft();
    void GiveToCopies(const std::vector<int> &left);

    Database &database_;
    const Folders &folders_;
    std::vector<std::string> roots_;
    LinkedFolders *library_;
    Scope scope_;
    Scope own_;  // what this root answers for at all
    ScanOptions options_;
    Reporter &reporter_;
    Places places_;
    SecondLook secondLook_;
    Lists lists_;
    HeldBack heldBack_;
    Unreadable unreadable_;
    Store store_;
    GoneRows gone_;
    Counts counts_;
    std::size_t toRead_ = 0;
    std::size_t unreadableAsBefore_ = 0;
    std::vector<Work> remembered_;
    PutOff putOff_{kMostRemembered};  // to the next round
};

// The lists of shared songs follow at the end: that takes another account, which no thread that
// reads songs may have.
Counts Scan::RunAndFollow() {
    const Counts counts = Run();
    if (!options_.dryRun) {
        reporter_.WarnOfAll(SettleSharedLists(database_, own_));
    }
    return counts;
}

Counts Scan::Run() {
    Survey();
    gone_.Prepare(database_);
    if (toRead_ > 0) {
        ReadAll();
    }
    auto emptied = gone_.LeftOfEmptied(heldBack_.NextEmptied());
    lists_.Settle(emptied);
    counts_.playlists = lists_.Playlists();
    counts_.sheets = lists_.Sheets();
    heldBack_.SettleEmptied(emptied, counts_.playlists, counts_.sheets);
    store_.Flush();
    StopIfAsked(options_.isStopped);
    RemoveLeft();
    store_.Flush();
    StopIfAsked(options_.isStopped);
    if (!options_.dryRun) {
        places_.Store(scope_, options_.purge);
        unreadable_.Store(scope_);
    }
    // The planner picks its indexes by statistics, which the server would renew minutes later only.
    if (10 * (counts_.added + counts_.changed + counts_.moved + counts_.removed) >
        counts_.unchanged) {
        store_.RenewStatistics();
    }
    counts_.heldBack = heldBack_.Any();
    return counts_;
}

void Scan::Survey() {
    reporter_.StartPhase("Looking", 0);
    Merge merge(database_, scope_, folders_, roots_, library_, options_.purge, options_.isStopped);
    while (auto event = merge.Next()) {
        StopIfAsked(options_.isStopped);
        switch (event->kind) {
            case Event::Kind::kSong:
                SurveySong(std::move(*event));
                reporter_.Step();
                break;
            case Event::Kind::kList:
                lists_.Found(event->work);
                break;
            case Event::Kind::kGone:
                SurveyGone(event->work.known, std::nullopt);
                break;
            case Event::Kind::kEmptied:
                SurveyGone(event->work.known, heldBack_.NextEmptied());
                break;
            case Event::Kind::kKept:
                heldBack_.AddUnseen(event->work.known);
                places_.NoteFile(event->work.known.path, event->work.known.userid);
                if (event->work.known.isList) {
                    places_.KeepList(event->work.known.id);
                }
                break;
            case Event::Kind::kGap:
                heldBack_.AddGap(std::move(event->found), event->kept);
                break;
            case Event::Kind::kRefused:
                ++counts_.failed;
                reporter_.Warn(Printable(event->found.path) + ": skipped, " + event->found.reason);
                break;
        }
    }
    heldBack_.WarnOfUnseen();
    if (unreadableAsBefore_ > 0) {
        reporter_.Warn(std::to_string(unreadableAsBefore_) +
                       (unreadableAsBefore_ == 1 ? " file" : " files") +
                       " could not be read, as before; --full reads them again");
    }
}

bool Scan::NeedsReading(const Work &work) const {
    const std::int64_t stamp = work.sheets ? work.sheets->Stamp() : 0;
    return options_.full || work.known.id == 0 || work.known.size != work.size ||
           work.known.modified != work.modified || work.known.userid != work.userid ||
           work.known.sheetStamp != stamp;
}

bool Scan::IsUnreadable(const Work &work) const {
    return !options_.full && unreadable_.Has(work.path, work.size, work.modified);
}

// A known song keeps its row: the file may be half-way through being written.
void Scan::CountUnreadable(const Work &work) {
    ++counts_.failed;
    if (work.known.id != 0) {
        places_.NoteFile(work.path, work.known.userid);
    }
}

void Scan::SurveySong(Event event) {
    Work &work = event.work;
    if (!NeedsReading(work)) {
        places_.NoteFile(work.path, work.userid);
        ++counts_.unchanged;
        return;
    }
    if (IsUnreadable(work)) {
        unreadable_.Note(work.path, work.size, work.modified);
        ++unreadableAsBefore_;
        if (work.known.id != 0) {
            gone_.AddUnreadable(work.known);
        }
        return CountUnreadable(work);
    }
    if (work.known.id == 0) {
        gone_.AddNew(work.path, work.size, work.userid);
    } else if (work.known.size != work.size || work.known.modified != work.modified) {
        gone_.AddChanged(work.known, work.size);
    }
    ++toRead_;
    if (toRead_ <= kMostRemembered) {
        remembered_.push_back(std::move(work));
    }
}

void Scan::SurveyGone(const KnownRow &row, std::optional<std::size_t> emptied) {
    if (row.isList) {
        lists_.Gone(row, emptied);
    } else {
        gone_.Add(row, emptied);
    }
}

void Scan::ReadAll() {
    reporter_.StartPhase("Indexing", toRead_);
    const auto pictures = options_.dryRun ? Pictures::kCount : Pictures::kStore;
    Readers readers(std::thread::hardware_concurrency(), pictures);
    ReadSurveyed(readers);
    TakeAll(readers, Round::kAll);
    for (const Round round : {Round::kClaims, Round::kRest}) {
        ReadPutOff(readers, round);
        TakeAll(readers, round);
    }
}

void Scan::ReadPutOff(Readers &readers, Round round) {
    PutOff files = std::exchange(putOff_, PutOff(kMostRemembered));
    if (files.HasWorks()) {
        for (Work &work : files.Works()) {
            Read(readers, std::move(work), round);
        }
        return;
    }
    store_.Flush();
    Merge merge(database_, scope_, folders_, roots_, library_, options_.purge, options_.isStopped);
    while (auto event = merge.Next()) {
        StopIfAsked(options_.isStopped);
        if (event->kind == Event::Kind::kSong && files.Has(event->work.path)) {
            Read(readers, std::move(event->work), round);
        }
    }
}

void Scan::ReadSurveyed(Readers &readers) {
    std::vector<Work> remembered = std::exchange(remembered_, {});
    if (toRead_ <= kMostRemembered) {
        for (Work &work : remembered) {
            Read(readers, std::move(work), Round::kAll);
        }
        return;
    }
    Merge merge(database_, scope_, folders_, roots_, library_, options_.purge, options_.isStopped);
    while (auto event = merge.Next()) {
        StopIfAsked(options_.isStopped);
        if (event->kind == Event::Kind::kSong) {
            const bool isBack = gone_.ThereAgain(event->work.known.id);  // since the first pass
            if (NeedsReading(event->work) && !IsUnreadable(event->work)) {
                Read(readers, std::move(event->work), Round::kAll);
            } else if (isBack && !NeedsReading(event->work)) {
                places_.NoteFile(event->work.path, event->work.userid);
                ++counts_.unchanged;
            }
        }
    }
}

void Scan::Read(Readers &readers, Work work, Round round) {
    while (readers.IsFull()) {
        Take(readers, round);
    }
    readers.Add(std::move(work));
}

void Scan::TakeAll(Readers &readers, Round round) {
    while (!readers.IsEmpty()) {
        Take(readers, round);
    }
}

void Scan::Take(Readers &readers, Round round) {
    StopIfAsked(options_.isStopped);
    ReadWork read = readers.Take();
    if (round == Round::kAll) {
        for (const std::string &warning : read.warnings) {
            reporter_.Warn(warning);
        }
    }
    reporter_.Step();
    StoreRead(std::move(read), round);
}

void Scan::StoreRead(ReadWork read, Round round) {
    const Work &work = read.work;
    if (!read.result.song) {
        reporter_.Warn(Printable(work.path) + ": " + read.result.problem);
        if (read.result.isDamaged) {
            unreadable_.Note(work.path, work.size, work.modified);
        } else if (!options_.purge) {
            secondLook_.NoteUnread(work.size, work.userid);
        }
        gone_.IsUnreadable(work.known.id);
        return CountUnreadable(work);
    }
    if (IsAtItsPath(read, round)) {
        StoreAtItsPath(std::move(read));
    } else {
        StoreElsewhere(std::move(read), round);
    }
}

// True when the song belongs to the row that its path has.
bool Scan::IsAtItsPath(const ReadWork &read, Round round) {
    const int id = read.work.known.id;
    return id != 0 && ((round == Round::kAll && gone_.StaysWith(id, *read.result.song)) ||
                       (round == Round::kRest && gone_.TakeBack(id)));
}

void Scan::StoreAtItsPath(ReadWork read) {
    const Work &work = read.work;
    if (!read.result.warning.empty()) {
        reporter_.Warn(Printable(work.path) + ": " + read.result.warning);
    }
    places_.NoteFile(work.path, work.userid);
    const KnownRow &known = work.known;
    const UsedSheet kept = known.isSplit ? SheetToKeep(read, known.id) : UsedSheet();
    const bool isSame = known.size == work.size && known.modified == work.modified &&
                        known.userid == work.userid && !options_.full;
    if (isSame && !kept.path.empty()) {
        ++counts_.unchanged;
        return;  // with its old stamp, so that it is looked at again
    }
    const bool hasTracks =
        known.isSplit ? HasTracks(database_, known.id, read.tracks) : read.tracks.empty();
    if (isSame && hasTracks) {
        store_.Restamp(known.id, read.result.song->sheetStamp);  // the sheets were about others
        ++counts_.unchanged;
        return;
    }
    reporter_.Tell("changed", work.path);
    Change(known.id, std::move(read), kept);
    ++counts_.changed;
}

// The sheet whose tracks a row keeps; without a path when there is none.
UsedSheet Scan::SheetToKeep(const ReadWork &read, int id) {
    UsedSheet used = options_.purge ? UsedSheet() : UnusableSheet(database_, read, id);
    if (!used.path.empty()) {
        heldBack_.AddTracks(read.work.path);
    }
    return used;
}

// With kept tracks the stamp is none that a folder has, so that the song is looked at again.
void Scan::Change(int id, ReadWork read, const UsedSheet &kept) {
    Song &song = *read.result.song;
    if (kept.path.empty()) {
        store_.Change(id, std::move(song), std::move(read.tracks));
    } else {
        const std::string sheet = kept.Beside(song.path);
        song.sheetStamp = ~song.sheetStamp;
        store_.ChangeWithTracks(id, std::move(song), sheet);
    }
}

// Gives a song the row of a file that is gone or another one now, else a new one; a path that has a
// row waits first for what becomes of that.
void Scan::StoreElsewhere(ReadWork read, Round round) {
    const bool isKnown = read.work.known.id != 0;
    GoneRows::Claim claim;
    if (round == Round::kAll && isKnown) {
        claim.isLater = true;
    } else if (round != Round::kRest) {
        claim = gone_.ClaimFor(*read.result.song, round == Round::kClaims);
        claim.isLater |= isKnown && claim.id == 0;
    }
    if (claim.isLater) {
        putOff_.Add(std::move(read.work));
        return;
    }
    if (!read.result.warning.empty()) {
        reporter_.Warn(Printable(read.work.path) + ": " + read.result.warning);
    }
    places_.NoteFile(read.work.path, read.work.userid);
    gone_.HasLostItsPath(read.work.known.id);
    reporter_.Tell(claim.id != 0 ? "moved to" : "added", read.work.path);
    if (claim.id != 0) {
        const UsedSheet kept = SheetToKeep(read, claim.id);
        Change(claim.id, std::move(read), kept);
        ++counts_.moved;
    } else {
        store_.Add(std::move(*read.result.song), std::move(read.tracks));
        ++counts_.added;
    }
}

void Scan::RemoveLeft() {
    counts_.unchanged += secondLook_.KeepSome(database_, gone_);
    GiveToCopies(gone_.Left());
    counts_.unchanged += secondLook_.KeepSome(database_, gone_);
    for (const int id : gone_.Left()) {
        StopIfAsked(options_.isStopped);
        if (reporter_.ListsChanges()) {
            const Rows row =
                database_.Query(Made(varn::Sql("SELECT path FROM track WHERE id = @VARN:INT", id)));
            reporter_.Tell("removed", row.Count() > 0 ? row.Field(0, "path") : "");
        }
        store_.Remove(id);
        ++counts_.removed;
    }
}

// What became of a row may be in the library since an earlier scan: a slow move is a copy first.
void Scan::GiveToCopies(const std::vector<int> &left) {
    const std::vector<Succession> successions = FindSuccessors(database_, folders_, left);
    if (!options_.dryRun) {
        Succeed(database_, successions, own_, folders_.Roots(), reporter_, options_.isStopped);
    }
    for (const Succession &succession : successions) {
        reporter_.Tell("moved to", succession.path);
        gone_.Forget(succession.gone);
        ++counts_.moved;
    }
}

}  // namespace

Counts IndexLibrary(Database &database, const Folders &configured, const ScanOptions &options,
                    Reporter &reporter) {
    Folders folders = configured;
    if (folders.HasHomes()) {
        folders.AddUnlisted(OwnersOfRows(database));
    }
    if (varn::host::ChosenDatabase() == varn::host::DatabaseKind::kPrivate) {
        return Scan(database, folders, folders.Roots(), Scope::WholeLibrary(), options, reporter)
            .RunAndFollow();
    }
    const OwnFolders own(folders);
    Scan scan(database, folders, folders.Roots(), own.Answered(), options, reporter);
    if (options.dryRun) {
        return scan.RunAndFollow();
    }
    own.Remember(reporter);
    const Counts counts = scan.RunAndFollow();
    own.ForgetRemoved(database, options.purge, reporter);
    return counts;
}

Counts IndexPaths(Database &database, const Folders &folders, const std::vector<std::string> &paths,
                  const ScanOptions &options, Reporter &reporter) {
    if (!options.dryRun && varn::host::ChosenDatabase() == varn::host::DatabaseKind::kExternal) {
        OwnFolders(folders).Remember(reporter);
    }
    LinkedFolders library(folders, options.isStopped);
    std::vector<std::string> all = paths;
    for (const std::string &path : paths) {
        if (auto elsewhere = library.LibraryPath(OrderedFolders({path}).front())) {
            all.push_back(std::move(*elsewhere));
        }
    }
    const std::vector<std::string> roots = FoldersToWalk(folders, all);
    return Scan(database, folders, roots, Scope(roots), options, reporter, &library).RunAndFollow();
}

}  // namespace varnindex
