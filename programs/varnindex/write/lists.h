// The rows of playlists and cue sheets, shared and personal.
#pragma once

#include <functional>
#include <set>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/read/readers.h"
#include "varnindex/reporter.h"
#include "varnindex/temp_table.h"
#include "varnindex/write/folder_rows.h"

namespace varnindex {

// What a scan has made of files of a kind.
struct RowCounts {
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t moved = 0;
    std::size_t removed = 0;
    std::size_t unchanged = 0;

    bool AnyChange() const { return added + changed + moved + removed > 0; }
    bool Any() const { return AnyChange() || unchanged > 0; }
};

// A row without a file goes to a new list of the same owner and contents that has its name, else to
// one of its time; share links and pins follow. Gathers what has changed in temporary tables.
class Lists {
  public:
    // All of these outlive it.
    Lists(Database &database, FolderRows &folders, Reporter &reporter);

    // A list, with its row if there is one. Throws DatabaseError, as all below.
    void AddFound(const Work &work);

    // A row without a file.
    void AddGone(const KnownRow &row);

    // After all of these: finds out what has moved. A row stays when `isBack` says so, and one that
    // was not found elsewhere when `stays` does.
    using Question = std::function<bool(const KnownRow &row)>;
    void Settle(const Question &isBack, const Question &stays);

    // Writes the rows, in one transaction.
    void Store();

    const RowCounts &Playlists() const { return playlists_; }
    const RowCounts &Sheets() const { return sheets_; }

  private:
    void FindMoved();
    void KeepWhere(const char *rows, const Question &stays);
    RowCounts &CountsOf(const std::string &path);

    Database &database_;
    FolderRows &folders_;
    Reporter &reporter_;
    TempTable foundTable_;
    TempTable goneTable_;
    RowCounts playlists_;
    RowCounts sheets_;
    std::set<std::string> added_;  // while the changes are listed
};

}  // namespace varnindex
