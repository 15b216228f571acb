// The rows of folders and lists, shared and personal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/folders.h"

namespace varnindex {

// Gathers the folders and lists of a scan in temporary tables and brings the library's in step with
// them at its end, in one transaction. Lists that moved_list names then have moved.
class Places {
  public:
    Places(Database &database, const Folders &folders);

    // A file that is in the library: its folder and those above it are, too, as far up as the
    // configured folders of the same owner reach; kNobody's have no rows, and users whose rows stay
    // in folders that are nobody's by now keep those. Files of a folder come together.
    void NoteFile(const std::string &path, unsigned userid);
    // `contents` is a hash of what is in it; 0 where that is not known.
    void NoteList(const std::string &path, std::int64_t modified, unsigned userid,
                  std::int64_t contents);

    // A list's row without a file; `emptied` as in Lists::Gone.
    void NoteGoneList(int id, std::optional<std::size_t> emptied);
    void ForgetGoneLists(const std::vector<int> &ids);  // behind Flush

    // Those, behind Flush: id, path, userid, and the number of the emptied folder, -1 where there
    // is none.
    Rows GoneLists();

    // Writes out what was noted. Throws DatabaseError, as all of these.
    void Flush();

    // Rows at `path`, or below it when it ends with "/", stay as they are; and the list's of an id.
    void Keep(const std::string &path);
    void KeepList(int id);

    // Rows in the scope that were not noted go; with `purge` even those of owners whose folders
    // cannot be seen. Throws DatabaseError.
    void Store(const Scope &scope, bool purge);

  private:
    void NoteFolder(const std::string &path, unsigned userid);
    void TakeBackDeleted(const std::string &table, const Rows &added);
    void RemoveEmptyAbove(const std::vector<std::string> &scope);
    void FlushIfFull();

    Database &database_;
    const Folders &folders_;
    std::string rows_;       // of found_place, as COPY reads them
    std::string kept_;       // of kept_place
    std::string keptLists_;  // of kept_list
    std::string gone_;       // of gone_list
    std::string lastFolder_;
    unsigned lastOwner_ = 0;
};

}  // namespace varnindex
