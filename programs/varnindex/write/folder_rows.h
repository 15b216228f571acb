// The rows of folders, shared and personal.
#pragma once

#include <unordered_set>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/temp_table.h"

namespace varnindex {

// A folder has a row when a song or list of the library is somewhere in it, as far up as the
// configured folders of the same owner reach. kNobody's folders have none, and users whose rows
// stay in folders that are nobody's by now keep theirs. Gathers the folders in memory; a temporary
// table is made when there are many of them, or when rows have to change.
class FolderRows {
  public:
    // Both outlive it.
    FolderRows(Database &database, const Folders &folders)
        : database_(database),
          folders_(folders),
          noted_(database, "noted_folder", "userid integer, path text, title text") {}

    // A song or list that is in the library. Files of a folder come together. Throws
    // DatabaseError, as Store does.
    void NoteFile(const std::string &path, unsigned userid);

    // Rows at `path`, which ends with "/", and below it stay.
    void Keep(const std::string &path) { kept_.push_back(path); }

    // Adds rows of what was noted and removes others of the scope; with `purge` even those of
    // owners whose folders cannot be seen. After the rows of songs and lists.
    void Store(const Scope &scope, bool purge);

  private:
    std::string FoldersAbove(const Scope &scope) const;
    bool AreRowsOf(const std::string &condition);

    Database &database_;
    const Folders &folders_;
    TempTable noted_;
    std::unordered_set<std::int64_t> keys_;  // hashes of the gathered folders' owners and paths
    std::vector<std::string> kept_;
    std::string lastFolder_;
    unsigned lastOwner_ = 0;
};

}  // namespace varnindex
