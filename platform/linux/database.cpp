#include "varn/database.h"

#include <sys/stat.h>

#include <charconv>
#include <string_view>
#include <utility>

#include "varn/host.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varn {

std::string Made(std::optional<std::string> sql) {
    if (!sql) {
        throw DatabaseError("a text for a statement is not UTF-8");
    }
    return std::move(*sql);
}

const char *Row::Text(const char *column) const {
    const char *const text = VARNDBFetchField(result_, row_, column);
    if (text == nullptr) {
        throw DatabaseError(std::string("no column \"") + column + "\" in the answer");
    }
    return text;
}

std::int64_t Row::Number(const char *column) const {
    const std::string_view text = Text(column);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw DatabaseError("not a number: \"" + std::string(text) + "\"");
    }
    return number;
}

const char *Row::TextIfAny(const char *column) const {
    const char *const text = VARNDBFetchField(result_, row_, column);
    return text != nullptr ? text : "";
}

bool HasLocalServer() {
    struct stat status {};
    return stat(SystemPath(path::kDatabaseSocket).c_str(), &status) == 0 &&
           S_ISSOCK(status.st_mode);
}

Connection ConnectLibrary(Server server) {
    const std::string folder = SystemPath(path::kDatabaseSocketDir);
    return Connection(VARNDBConnect(server == Server::kLocal ? folder.c_str() : nullptr,
                                    kPackageAccount, nullptr, kLibraryDatabase));
}

Connection ConnectLibrary() {
    // The server lets accounts of the machine in by the ids of the process that connects.
    const RunAs account(Who::kPackage);
    // No other server stands in for a root's own: it may have the library of another system.
    const bool isOwn = host::HasCluster();
    Connection connection = isOwn || HasLocalServer() ? ConnectLibrary(Server::kLocal) : nullptr;
    return connection || isOwn ? std::move(connection) : ConnectLibrary(Server::kDefault);
}

std::optional<Rows> Execute(DBConnect_tag *connection, const std::string &sql) {
    VARNDB_RESULT *result = nullptr;
    const int count = VARNDBExecute(connection, sql.c_str(), &result);
    return count < 0 ? std::nullopt : std::optional<Rows>(std::in_place, Result(result), count);
}

Database::Database(Connection connection) : connection_(std::move(connection)) {
    if (!connection_) {
        throw DatabaseError(VARNDBErrorGet(nullptr));
    }
}

Rows Database::Query(const std::string &sql) {
    auto rows = varn::Execute(connection_.get(), sql);
    if (!rows) {
        throw DatabaseError(VARNDBErrorGet(connection_.get()));
    }
    return *std::move(rows);
}

void Database::CopyIn(const char *statement, const std::string &rows) {
    if (VARNDBCopyIn(connection_.get(), statement, rows.data(), rows.size()) < 0) {
        throw DatabaseError(VARNDBErrorGet(connection_.get()));
    }
}

Transaction::Transaction(Run run) : run_(std::move(run)), isOpen_(run_("BEGIN")) {}

Transaction::Transaction(Database &database)
    : Transaction([&database](const char *statement) {
          database.Query(statement);
          return true;
      }) {}

// Whatever failed is being reported already, and a connection that is lost needs no rollback.
Transaction::~Transaction() {
    if (isOpen_) {
        try {
            run_("ROLLBACK");
        } catch (const std::exception &) {
        }
    }
}

bool Transaction::Commit() {
    isOpen_ = !run_("COMMIT");
    return !isOpen_;
}

}  // namespace varn
