// The rows of folders, shared and personal.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/temp_table.h"

namespace varnindex {

// A folder has a row when a song or list of the library is somewhere in it, as far up as the
// configured folders of the same owner reach. kNobody's folders have none, and users whose rows
// stay in folders that are nobody's by now keep theirs. Holds some numbers for each folder, never a
// path.
class FolderRows {
  public:
    // Both outlive it.
    FolderRows(Database &database, const Folders &folders);

    // Reads the rows of the scope and of the folders above it. Throws DatabaseError, as all of
    // these.
    void Load(const Scope &scope);

    // A song or list that is in the library. Files of a folder come together.
    void NoteFile(const std::string &path, unsigned userid);

    // Rows at `path`, which ends with "/", and below it stay.
    void Keep(const std::string &path) { kept_.insert(path); }

    // Adds rows of what was noted and removes others of the scope; with `purge` even those of
    // owners whose folders cannot be seen. After the rows of songs and lists.
    void Store(bool purge);

  private:
    struct Row {
        int id;
        bool isInScope;
        bool isNoted = false;
    };

    void NoteFolder(const std::string &path, unsigned userid);
    bool IsKept(const std::string &path) const;
    std::vector<int> Unnoted(bool isInScope) const;
    bool RemoveUnnoted(bool purge);

    Database &database_;
    const Folders &folders_;
    std::unordered_map<std::int64_t, Row> rows_;  // by hash of owner and path
    std::unordered_set<std::int64_t> added_;      // the same hashes
    TempTable addedTable_;
    std::set<std::string> kept_;
    std::string lastFolder_;
    unsigned lastOwner_ = 0;
};

}  // namespace varnindex
