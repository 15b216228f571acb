// Statements, their rows, and transactions, over the plain database client (varn/db.h).
//
// A statement that fails gives no rows, and VARNDBErrorGet tells the server's words: callers log
// them or answer with a reason of their own. A Database throws them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "varn/handles.h"

namespace varn {

// The database refused or went away. what() are its words.
class VARN_EXPORT DatabaseError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A text that Sql (varn/sql.h) made; throws DatabaseError when it could not make it.
VARN_EXPORT std::string Made(std::optional<std::string> sql);

// One row of a result, which owns the texts.
class VARN_EXPORT Row {
  public:
    Row(const VARNDB_RESULT *result, int row) : result_(result), row_(row) {}

    // The text of a column, "" for NULL. Throws DatabaseError when there is no such row or column.
    const char *Text(const char *column) const;
    // The same of a column of whole numbers; anything else in it throws, also NULL.
    std::int64_t Number(const char *column) const;
    // Text that is "" where there is no such column.
    const char *TextIfAny(const char *column) const;
    bool Has(const char *column) const {
        return VARNDBFetchField(result_, row_, column) != nullptr;
    }

  private:
    const VARNDB_RESULT *result_;
    int row_;
};

// What a statement gave: its rows, in order, for a loop or by index.
class VARN_EXPORT Rows {
  public:
    class Iterator {
      public:
        Iterator(const VARNDB_RESULT *result, int row) : result_(result), row_(row) {}
        Row operator*() const { return {result_, row_}; }
        Iterator &operator++() {
            ++row_;
            return *this;
        }
        bool operator==(const Iterator &) const = default;

      private:
        const VARNDB_RESULT *result_;
        int row_;
    };

    Rows(Result result, int count) : result_(std::move(result)), count_(count) {}

    // How many rows were read, or written by a statement without rows.
    int Count() const { return count_; }
    // True when none was read.
    bool IsEmpty() const { return begin() == end(); }
    Iterator begin() const { return {result_.get(), 0}; }
    Iterator end() const { return {result_.get(), VARNDBNumRows(result_.get())}; }
    Row operator[](int row) const { return {result_.get(), row}; }

  private:
    Result result_;
    int count_;
};

// The library's server: the machine's own, by its socket below the root, or the one that the client
// library finds by its variables.
enum class Server { kLocal, kDefault };

// True when there is a socket to connect to.
VARN_EXPORT bool HasLocalServer();

// Connects to the library database as the package's role. Null, with the error state set and the
// reason in VARNDBErrorGet(null), when that fails.
VARN_EXPORT Connection ConnectLibrary(Server server);
// The same to the local server if there is one, and to the default server otherwise or when that
// fails. A root with a server of its own never gets the default one. The process runs as the
// package's account while it connects, as far as it may.
VARN_EXPORT Connection ConnectLibrary();

// Runs one statement, or several separated by ";" (VARNDBExecute); nothing when it failed.
VARN_EXPORT std::optional<Rows> Execute(DBConnect_tag *connection, const std::string &sql);

// A connection whose failures are exceptions, so that whatever is open rolls back on the way out.
// Each call throws DatabaseError.
class VARN_EXPORT Database {
  public:
    // Takes a connection that was just made; null throws.
    explicit Database(Connection connection);

    Rows Query(const std::string &sql);
    // The number of rows changed.
    int Execute(const std::string &sql) { return Query(sql).Count(); }
    void CopyIn(const char *statement, const std::string &rows);

  private:
    Connection connection_;
};

// A transaction that is rolled back unless it was committed.
class VARN_EXPORT Transaction {
  public:
    // Runs a statement; false, or an exception, when that failed.
    using Run = std::function<bool(const char *statement)>;

    explicit Transaction(Run run);
    explicit Transaction(Database &database);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    explicit operator bool() const { return isOpen_; }
    bool Commit();  // false, or an exception, when that failed

  private:
    Run run_;
    bool isOpen_;
};

}  // namespace varn
