// A temporary table that is filled by COPY.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "varnindex/database.h"

namespace varnindex {

// Does nothing before its first row. A connection serves one scan, whose tables go with it.
class TempTable {
  public:
    // `columns` with their types, as CREATE TABLE takes them.
    TempTable(Database &database, std::string name, std::string columns)
        : database_(database), name_(std::move(name)), columns_(std::move(columns)) {}

    // Adds one row: its values with tabs between them, escaped as COPY wants it. Throws
    // DatabaseError.
    void Add(const std::string &row);

    // Makes the table if it is not there yet. Throws DatabaseError.
    void Make();

    // Writes out what was added, and returns false when there is no table. Throws
    // DatabaseError.
    bool Flush();

  private:
    Database &database_;
    std::string name_;
    std::string columns_;
    std::string rows_;
    bool isMade_ = false;
};

}  // namespace varnindex
