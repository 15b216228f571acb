// Rows without a file, and the new files that they may have become.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "database.h"
#include "known.h"
#include "song.h"

namespace varnindex {

// A file that was moved has the size and the audio of a row whose own file is gone. Of several such
// rows it gets the one with its name, otherwise the first by path that no other new file has the
// name of. Holds some numbers per row, never their paths.
class GoneRows {
  public:
    // `emptied` is a number of the caller's for a folder that is there with nothing in it. Its disk
    // may be missing, so its rows stay unless their files are found elsewhere.
    void Add(const KnownRow &row, std::optional<std::size_t> emptied);
    void AddNew(const std::string &path, std::int64_t size);

    // Reads the fingerprints; behind all of the above, before all of the below. Throws
    // DatabaseError.
    void Prepare(Database &database);

    // The row's file is there again.
    void Forget(int id) { rows_.erase(id); }

    struct Claim {
        int id = 0;            // 0: none
        bool isLater = false;  // ask again when all other new files have been asked for
    };
    // Gives a row away.
    Claim ClaimFor(const Song &song, bool isLast);

    // The rows that are to be removed, by id.
    std::vector<int> Left() const;

    // How many rows of each of `count` emptied folders nobody has claimed.
    std::vector<std::size_t> LeftOfEmptied(std::size_t count) const;

  private:
    // Fingerprint, size, and the place in the order of Add.
    using Place = std::tuple<std::int64_t, std::int64_t, std::size_t>;
    struct Row {
        std::int64_t nameHash;
        std::size_t order;
        std::optional<std::size_t> emptied;
    };

    bool IsReserved(std::int64_t size, int id) const;
    void Index(int id, std::int64_t fingerprint, std::int64_t size);

    std::unordered_map<int, Row> rows_;
    std::vector<std::int64_t> newNames_;         // hashes of size and name, sorted by Prepare
    std::map<Place, int> byPlace_;               // ids
    std::multimap<std::int64_t, Place> byName_;  // by hash of fingerprint, size and name
};

}  // namespace varnindex
