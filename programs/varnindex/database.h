// The library database as the indexer uses it: failures are exceptions, so that whatever is open
// rolls back on the way out.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "varn/db.h"

namespace varnindex {

// The database refused or went away. what() are its words.
class DatabaseError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A text that varn::Sql made; throws DatabaseError when it could not make it.
std::string Made(std::optional<std::string> sql);

class Rows {
  public:
    explicit Rows(VARNDB_RESULT *result) : result_(result) {}
    int Count() const { return VARNDBNumRows(result_.get()); }

    // The text of a column, valid as long as the rows. Throws DatabaseError when there is no such
    // row or column.
    const char *Field(int row, const char *column) const;

    // The same of a column of whole numbers; anything else in it throws, too.
    std::int64_t Number(int row, const char *column) const;

  private:
    struct Free {
        void operator()(VARNDB_RESULT *result) const { VARNDBFreeResult(result); }
    };
    std::unique_ptr<VARNDB_RESULT, Free> result_;
};

class Database {
  public:
    // Connects as the package's role; throws DatabaseError.
    Database();

    // The number of rows changed. All of these throw DatabaseError.
    int Execute(const std::string &sql);
    Rows Query(const std::string &sql);
    void CopyIn(const char *statement, const std::string &rows);

    // Keeps other indexers away from this library until the connection ends; false when one is at
    // work.
    bool TakeIndexLock();

  private:
    struct Close {
        void operator()(DBConnect_tag *connection) const { VARNDBClose(connection); }
    };
    std::unique_ptr<DBConnect_tag, Close> connection_;
};

// A transaction that is rolled back unless it was committed.
class Transaction {
  public:
    explicit Transaction(Database &database);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    void Commit();

  private:
    Database &database_;
    bool open_ = true;
};

}  // namespace varnindex
