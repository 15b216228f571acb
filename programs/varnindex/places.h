// The rows of folders and lists, shared and personal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "database.h"
#include "folders.h"
#include "known.h"

namespace varnindex {

// Gathers the folders and lists of a scan in temporary tables and brings the library's in step with
// them at its end, in one transaction.
class Places {
  public:
    Places(Database &database, const Folders &folders);

    // A file that is in the library: its folder and those above it are, too, as far up as the
    // configured folders of the same owner reach. Files of a folder come together.
    void NoteFile(const std::string &path, unsigned userid);
    void NoteList(const std::string &path, std::int64_t modified, unsigned userid);

    // Rows at `path`, or below it when it ends with "/", stay as they are.
    void Keep(const std::string &path);

    // Rows in the scope that were not noted go; with `purge` even those of owners whose folders
    // cannot be seen. Throws DatabaseError.
    void Store(const Scope &scope, bool purge);

  private:
    void NoteFolder(const std::string &path, unsigned userid);
    void TakeBackDeleted(const std::string &table, const Rows &added);
    void FlushIfFull();
    void Flush();

    Database &database_;
    const Folders &folders_;
    std::string rows_;  // of found_place, as COPY reads them
    std::string kept_;  // of kept_place
    std::string lastFolder_;
    unsigned lastOwner_ = 0;
};

}  // namespace varnindex
