// A temporary table that is filled by COPY.
#pragma once

#include <utility>

#include "varnindex/copy_line.h"
#include "varnindex/database.h"

namespace varnindex {

// Does nothing before its first row. A connection serves one scan, whose tables go with it. All
// calls throw DatabaseError.
class TempTable {
  public:
    // `columns` with their types, as CREATE TABLE takes them.
    TempTable(Database &database, std::string name, std::string columns)
        : database_(database), name_(std::move(name)), columns_(std::move(columns)) {}

    // Adds one row of texts, numbers and optional ones.
    template <typename... Values>
    void Add(const Values &...values) {
        AppendLine(rows_, values...);
        if (rows_.size() >= kFullBytes) {
            Flush();
        }
    }

    // Makes the table if it is not there yet.
    void Make() {
        if (!std::exchange(isMade_, true)) {
            database_.Execute("CREATE TEMP TABLE " + name_ + " (" + columns_ + ")");
        }
    }

    bool IsMade() const { return isMade_; }

    // Writes out what was added, and returns false when there is no table.
    bool Flush() {
        if (!rows_.empty()) {
            Make();
            database_.CopyIn(("COPY " + name_ + " FROM STDIN").c_str(), rows_);
            rows_.clear();
        }
        return isMade_;
    }

  private:
    static constexpr std::size_t kFullBytes = 1U << 20;

    Database &database_;
    std::string name_;
    std::string columns_;
    std::string rows_;
    bool isMade_ = false;
};

}  // namespace varnindex
