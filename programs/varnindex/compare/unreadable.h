// Files that are not audio, whatever their names say, or damaged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"

namespace varnindex {

// What earlier scans could not read, so that this one need not try again while the file is the
// same. Holds two numbers for each such file, never its path.
class Unreadable {
  public:
    // Reads what is known of the scope. Throws DatabaseError, as all below that write.
    Unreadable(Database &database, const Scope &scope);

    // True when an earlier scan has found the file damaged, and its size and time are the same.
    bool Has(const std::string &path, std::int64_t size, std::int64_t modified) const;

    // A file that is damaged, as before or since.
    void Note(const std::string &path, std::int64_t size, std::int64_t modified);

    // Makes the library remember what was noted and, within the scope, nothing else.
    void Store(const Scope &scope);

  private:
    void Flush();

    Database &database_;
    std::unordered_map<std::int64_t, std::int64_t> known_;  // hashes of path, and size and time
    std::string rows_;                                      // of found_unreadable
};

}  // namespace varnindex
