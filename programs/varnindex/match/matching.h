// Which row a file belongs to: in come rows that have lost their file or its audio, and files that
// were read. Out comes a change for each file, which is a new row, an edit or a move, and the rows
// that are left without a file.
#pragma once

#include <functional>
#include <set>
#include <unordered_set>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/read/readers.h"
#include "varnindex/temp_table.h"

namespace varnindex {

// What becomes of a file that was read.
struct Change {
    enum class Kind {
        kAdd,   // a new row
        kEdit,  // the row of its path
        kMove,  // the row of another path
    };
    Kind kind = Kind::kAdd;
    int id = 0;  // of the row; 0: a new one
    ReadWork read = {};
};

// A row and a file belong together when they have the same owner, size and audio. A row prefers the
// file of its name, then one of its folder, then the first by path. A file at the path of a row,
// but with other audio, counts twice: as a row without audio and as a file without a row. If
// neither finds a partner, it is an edit. So moves, renames and songs that change places are one
// rule. Files wait in memory while they are matched; a file that no row can want, by its size and
// owner, never waits.
class Matching {
  public:
    // The database outlives it.
    explicit Matching(Database &database);

    enum class Loss {
        kFile,     // nothing is at the row's path
        kAudio,    // another file is, which waits
        kUnknown,  // a file that cannot be read: the row stays unless its audio is elsewhere
    };

    // ---- while the folders are compared with the rows; throws DatabaseError, as all below

    // A row that has lost its file.
    void AddLost(const KnownRow &row, Loss loss);

    // A new or changed file, which is going to be read.
    void AddToRead(const Work &work);

    // ---- while the files are read

    // True when the row has lost its file.
    bool HasLost(int id) const { return lost_.contains(id); }

    // What becomes of a file; nothing when that is known later.
    std::optional<Change> ChangeFor(ReadWork read);

    // A file that cannot be read: it may be a lost row of its owner and size.
    void AddUnread(const Work &work) { unread_.emplace(work.size, work.userid); }

    // ---- after that, in this order

    // Pairs rows and files, and calls `take` with each file that has waited.
    void Settle(const std::function<void(Change)> &take);

    // Asks of each row that has still lost its file whether it stays. `isFree` is false when
    // another song has its path.
    void ForEachLeft(const std::function<bool(const KnownRow &row, bool isFree)> &stays);

    // The rows that are left are in the temporary table "lost", by their ids; none without it.
    bool HasLeft();

    bool MayBeUnread(const KnownRow &row) const { return unread_.contains({row.size, row.userid}); }

  private:
    void Hold(ReadWork read);
    void Pair();

    Database &database_;
    TempTable lostTable_;
    TempTable heldTable_;
    std::unordered_set<int> lost_;
    std::unordered_set<std::int64_t> lostSizes_;  // hashes of size and owner, of rows
    std::unordered_set<std::int64_t> readSizes_;  // the same of files
    std::set<std::pair<std::int64_t, unsigned>> unread_;
    std::vector<ReadWork> held_;  // by their numbers
};

}  // namespace varnindex
