// What the library knows already: in comes a part of it, out go its rows of files in the byte order
// of their paths.
#pragma once

#include <chrono>
#include <cstdint>
#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "varnindex/database.h"

namespace varnindex {

struct KnownRow {
    int id = 0;
    std::string path;
    std::int64_t size = 0;      // bytes
    std::int64_t modified = 0;  // microseconds since 1970, UTC
    unsigned userid = 0;
    std::int64_t sheetStamp = 0;
    std::optional<std::int64_t> fingerprint = {};  // of a song that was read since it is kept
    std::int64_t contents = 0;  // of a list: a hash of what was in it; 0: not known
    bool isSplit = false;       // a cue sheet has made tracks of it
    bool isList = false;        // no song, but a playlist or cue sheet: the size is not known
};

// Which rows a scan answers for: all, or those below some folders.
struct Scope {
    static Scope WholeLibrary() { return {}; }
    explicit Scope(std::vector<std::string> below) : folders(std::move(below)) {}
    std::optional<std::vector<std::string>> folders;  // none: all rows

  private:
    Scope() = default;
};

// The condition, on the column "path", for the rows that a scan answers for: those below the
// folders, and the folders themselves where `alsoFolders` says so.
std::string ScopeCondition(const Scope &scope, bool alsoFolders);

// True when the library has something of a path, or below it.
bool HasRows(Database &database, const std::string &path);

// The users whose songs, folders or lists the library has; 0 among them for everybody's.
std::vector<unsigned> OwnersOfRows(Database &database);

// The songs and lists that are real files, in the byte order of their paths, read block by block.
// Rows written after Ask do not appear. One such object at a time on a connection.
class KnownRows {
  public:
    KnownRows(Database &database, Scope scope) : database_(database), scope_(std::move(scope)) {}

    // Asks for the first block in a thread of its own. Nothing else may use the connection before
    // Front, which does not wait once HasAnswer.
    void Ask();
    bool HasAnswer() const {
        return asked_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

    // The row at the front, null at the end. Throws DatabaseError.
    KnownRow *Front();
    void Pop() { front_.reset(); }

  private:
    bool Fetch();

    Database &database_;
    Scope scope_;
    std::future<Rows> asked_;
    std::optional<Rows> block_;
    int next_ = 0;  // row of the block after the front
    std::optional<KnownRow> front_;
};

}  // namespace varnindex
