// Files that are not audio, whatever their names say, or damaged.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/temp_table.h"

namespace varnindex {

// What earlier scans could not read, so that this one need not try again while the file is the
// same. Holds two numbers for each such file, never its path. All calls throw DatabaseError.
class Unreadable {
  public:
    explicit Unreadable(Database &database);

    // Reads what is known of the scope.
    void Load(const Scope &scope);

    // True when an earlier scan has found the file damaged, and its size and time are the same.
    bool Has(const std::string &path, std::int64_t size, std::int64_t modified) const;

    // A file that is damaged, as before or since.
    void Note(const std::string &path, std::int64_t size, std::int64_t modified);

    // Makes the library remember what was noted and, within the scope, nothing else.
    void Store(const Scope &scope);

  private:
    struct Known {
        std::int64_t stamp;  // a hash of size and time
        bool isNoted;
    };

    Database &database_;
    std::unordered_map<std::int64_t, Known> known_;  // by hash of the path
    TempTable foundTable_;
};

}  // namespace varnindex
