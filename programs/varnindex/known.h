// What the library knows already.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "database.h"

namespace varnindex {

struct KnownRow {
    int id = 0;
    std::string path;
    std::int64_t size = 0;      // bytes
    std::int64_t modified = 0;  // microseconds since 1970, UTC
    unsigned userid = 0;
    std::int64_t sheetStamp = 0;
    bool isSplit = false;  // a cue sheet has made tracks of it
};

// Which rows a scan answers for.
enum class Scope {
    kWholeLibrary,  // all songs, those below no folder of the scan included
    kFoldersOnly,   // those below the folders of the scan
};

// The condition, on the column "path", for the rows that a scan of these folders answers for: those
// below them, and the folders themselves where `alsoFolders` says so.
std::string ScopeCondition(Scope scope, const std::vector<std::string> &folders, bool alsoFolders);

// The songs that are real files, in the byte order of their paths, read block by block. Rows
// written after the construction do not appear. One such object at a time on a connection.
class KnownRows {
  public:
    KnownRows(Database &database, Scope scope, const std::vector<std::string> &folders);
    ~KnownRows();
    KnownRows(const KnownRows &) = delete;
    KnownRows &operator=(const KnownRows &) = delete;

    // The row at the front, null at the end. Throws DatabaseError.
    KnownRow *Front();
    void Pop();

  private:
    void Fetch();

    Database &database_;
    std::optional<Rows> block_;
    int next_ = 0;  // row of the block after the front
    bool ended_ = false;
    std::optional<KnownRow> front_;
};

}  // namespace varnindex
