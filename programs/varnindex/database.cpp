#include "varnindex/database.h"

#include <charconv>
#include <string_view>

#include "tonvale/library.h"

namespace varnindex {
namespace {

// "varnindx": one key for every version of the indexer.
constexpr const char *kTakeLock = "SELECT pg_try_advisory_lock(8530224987757241464) AS taken";

}  // namespace

std::string Made(std::optional<std::string> sql) {
    if (!sql) {
        throw DatabaseError("a text for a statement is not UTF-8");
    }
    return std::move(*sql);
}

const char *Rows::Field(int row, const char *column) const {
    const char *const text = VARNDBFetchField(result_.get(), row, column);
    if (text == nullptr) {
        throw DatabaseError(std::string("no column \"") + column + "\" in the answer");
    }
    return text;
}

std::int64_t Rows::Number(int row, const char *column) const {
    const std::string_view text = Field(row, column);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw DatabaseError("not a number: \"" + std::string(text) + "\"");
    }
    return number;
}

Database::Database() : connection_(AudioInfoDBConnect()) {
    if (!connection_) {
        throw DatabaseError(VARNDBErrorGet(nullptr));
    }
}

int Database::Execute(const std::string &sql) {
    const int rows = VARNDBExecute(connection_.get(), sql.c_str(), nullptr);
    if (rows < 0) {
        throw DatabaseError(VARNDBErrorGet(connection_.get()));
    }
    return rows;
}

Rows Database::Query(const std::string &sql) {
    VARNDB_RESULT *result = nullptr;
    const int rows = VARNDBExecute(connection_.get(), sql.c_str(), &result);
    Rows owned(result);
    if (rows < 0) {
        throw DatabaseError(VARNDBErrorGet(connection_.get()));
    }
    return owned;
}

void Database::CopyIn(const char *statement, const std::string &rows) {
    if (VARNDBCopyIn(connection_.get(), statement, rows.data(), rows.size()) < 0) {
        throw DatabaseError(VARNDBErrorGet(connection_.get()));
    }
}

bool Database::TakeIndexLock() {
    const Rows rows = Query(kTakeLock);
    return rows.Count() == 1 && *rows.Field(0, "taken") == 't';
}

Transaction::Transaction(Database &database) : database_(database) {
    database_.Execute("BEGIN");
}

// Whatever failed is being reported already, and a connection that is lost needs no rollback.
Transaction::~Transaction() {
    if (open_) {
        try {
            database_.Execute("ROLLBACK");
        } catch (const std::exception &) {
        }
    }
}

void Transaction::Commit() {
    database_.Execute("COMMIT");
    open_ = false;
}

}  // namespace varnindex
