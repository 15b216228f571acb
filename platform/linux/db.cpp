// The database client over libpq, which only this file and kept_connections.cpp call.
#include "varn/db.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/error.h"
#include "linux/kept_connections.h"
#include "linux/libpq.h"
#include "varn/base.h"

namespace {

using varn::Guarded;
using varn::PgConnection;
using varn::PgResult;
using varn::Pq;
using varn::SetError;

constexpr char kConnectSeconds[] = "10";
constexpr char kSocketPort[] = "5432";
constexpr std::size_t kCopyChunk = 1U << 20U;
constexpr int kMostKept = 3;

// Why the last VARNDBConnect failed.
std::string &ConnectError() {
    static std::string text;
    return text;
}

VARNDB_TROUBLE &LastTrouble() {
    static VARNDB_TROUBLE trouble = VARNDB_NO_TROUBLE;
    return trouble;
}

// Notes when a failure is none of the statement's own. `result` may be null.
void NoteTrouble(const PGconn *connection, const PGresult *result) {
    const char *const found = Pq().resultErrorField(result, PG_DIAG_SQLSTATE);
    const std::string_view state = found != nullptr ? found : "";
    if (state == "57014" || state == "55P03") {  // query_canceled, lock_not_available
        LastTrouble() = VARNDB_CANCELLED;
    } else if (Pq().status(connection) != CONNECTION_OK) {
        LastTrouble() = VARNDB_UNREACHABLE;
    }
}

std::string WithoutLineBreak(const char *text) {
    std::string line = text != nullptr ? text : "";
    line.erase(line.find_last_not_of("\r\n") + 1);
    return line;
}

void ToSystemLog(void * /*unused*/, const char *message) {
    syslog(LOG_WARNING, "database: %s", message);
}

}  // namespace

struct DBConnect_tag {
    PgConnection pg;
    std::string error = {};
    std::string key = {};
    bool isChanged = false;  // the session may hold what a statement left

    // Keeps the words of the failure that just happened, with the result that tells of it.
    int Fail(const PGresult *result = nullptr, const char *file = __builtin_FILE(),
             int line = __builtin_LINE()) {
        error = WithoutLineBreak(result != nullptr ? Pq().resultErrorMessage(result)
                                                   : Pq().errorMessage(pg.get()));
        if (error.empty()) {  // the server accepted it, but this call is not for it
            error = "a statement that is empty, or that sends or fetches rows by COPY";
        }
        NoteTrouble(pg.get(), result);
        SetError(VLIB_ERR_DATABASE, file, line);
        return -1;
    }
};

struct VARNDB_RESULT_tag {
    struct Column {
        std::string_view name;
        int index;
    };

    PgResult pg;
    std::vector<Column> columns;  // by name; of equal names the first column comes first
    int nextRow = 0;

    explicit VARNDB_RESULT_tag(PgResult result) : pg(std::move(result)) {
        const int count = Pq().nfields(pg.get());
        columns.reserve(static_cast<std::size_t>(count));
        for (int index = 0; index < count; ++index) {
            columns.push_back({Pq().fname(pg.get(), index), index});
        }
        std::stable_sort(columns.begin(), columns.end(),
                         [](const Column &a, const Column &b) { return a.name < b.name; });
    }

    // Index of a column, or -1.
    int Find(std::string_view name) const {
        const auto found = std::lower_bound(
            columns.begin(), columns.end(), name,
            [](const Column &column, std::string_view wanted) { return column.name < wanted; });
        return found != columns.end() && found->name == name ? found->index : -1;
    }
};

namespace {

// Takes a variable out of the environment for the length of a scope.
class WithoutVariable {
  public:
    explicit WithoutVariable(const char *name) : name_(name) {
        if (const char *value = std::getenv(name)) {
            value_ = value;
            unsetenv(name);
        }
    }
    ~WithoutVariable() {
        if (value_) {
            setenv(name_, value_->c_str(), 1);
        }
    }
    WithoutVariable(const WithoutVariable &) = delete;
    WithoutVariable &operator=(const WithoutVariable &) = delete;

  private:
    const char *name_;
    std::optional<std::string> value_;
};

// A null value leaves a setting to the client library's defaults.
PgConnection Connect(const char *socketDir, const char *user, const char *password,
                     const char *database) {
    const bool isLocal = socketDir != nullptr;
    const bool ownTimeout = std::getenv("PGCONNECT_TIMEOUT") == nullptr;
    const std::array<const char *, 9> keys = {"host",
                                              "port",
                                              "user",
                                              "password",
                                              "dbname",
                                              "client_encoding",
                                              "connect_timeout",
                                              "fallback_application_name",
                                              nullptr};
    const std::array<const char *, 9> values = {socketDir,
                                                isLocal ? kSocketPort : nullptr,
                                                user,
                                                password,
                                                database,
                                                "UTF8",
                                                ownTimeout ? kConnectSeconds : nullptr,
                                                program_invocation_short_name,
                                                nullptr};
    if (!isLocal) {
        return PgConnection(Pq().connectdbParams(keys.data(), values.data(), 0));
    }
    // These two would lead past the folder that is asked for, and no setting overrides them.
    const WithoutVariable noAddress("PGHOSTADDR");
    const WithoutVariable noService("PGSERVICE");
    return PgConnection(Pq().connectdbParams(keys.data(), values.data(), 0));
}

// Values are escaped for a server that takes a backslash literally. The connection tells whether it
// does. If a role or a database has changed the setting, this sets it back.
bool PinStrings(PGconn *conn) {
    const char *const setting = Pq().parameterStatus(conn, "standard_conforming_strings");
    if (setting != nullptr && std::string_view(setting) == "on") {
        return true;
    }
    const PgResult pinned = varn::RunStatements(conn, "SET standard_conforming_strings = on");
    return Pq().resultStatus(pinned.get()) == PGRES_COMMAND_OK;
}

// A folder that the client library would take for something else, a host's name or a list.
bool IsUsableFolder(std::string_view socketDir) {
    return socketDir.starts_with('/') && socketDir.find(',') == socketDir.npos;
}

int AffectedRows(const PGresult *result) {
    if (Pq().resultStatus(result) == PGRES_TUPLES_OK) {
        return Pq().ntuples(result);
    }
    return static_cast<int>(
        std::strtol(Pq().cmdTuples(const_cast<PGresult *>(result)), nullptr, 10));
}

int Execute(DBConnect_tag &conn, const char *sql, VARNDB_RESULT **result) {
    conn.isChanged = conn.isChanged || varn::MayChangeSession(sql);
    PgResult rows = varn::RunStatements(conn.pg.get(), sql);
    const ExecStatusType status = Pq().resultStatus(rows.get());
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
        return conn.Fail(rows.get());
    }
    const int affected = AffectedRows(rows.get());
    if (result != nullptr) {
        *result = std::make_unique<VARNDB_RESULT_tag>(std::move(rows)).release();
    }
    return affected;
}

// Reads every result that is still to come, so that the connection is free for the next statement.
// Returns the rows of the last one, or -1 when one of them failed.
long long FinishCopy(DBConnect_tag &conn) {
    long long stored = 0;
    bool good = true;
    while (const PgResult result{Pq().getResult(conn.pg.get())}) {
        if (Pq().resultStatus(result.get()) == PGRES_COMMAND_OK) {
            stored = std::strtoll(Pq().cmdTuples(result.get()), nullptr, 10);
        } else {
            good = false;
            conn.Fail(result.get());
        }
    }
    return good ? stored : -1;
}

long long CopyIn(DBConnect_tag &conn, const char *statement, std::string_view rows) {
    const PgResult started(Pq().exec(conn.pg.get(), statement));
    if (Pq().resultStatus(started.get()) != PGRES_COPY_IN) {
        return conn.Fail(started.get());
    }
    bool sent = true;
    while (sent && !rows.empty()) {
        const std::string_view chunk = rows.substr(0, kCopyChunk);
        sent = Pq().putCopyData(conn.pg.get(), chunk.data(), static_cast<int>(chunk.size())) == 1;
        rows.remove_prefix(chunk.size());
    }
    sent = sent && Pq().putCopyEnd(conn.pg.get(), nullptr) == 1;
    if (!sent) {
        conn.Fail();
        Pq().putCopyEnd(conn.pg.get(), "the rows could not be sent");
        FinishCopy(conn);
        return -1;
    }
    return FinishCopy(conn);
}

}  // namespace

DBConnect_tag *VARNDBConnect(const char *socketDir, const char *user, const char *password,
                             const char *database) {
    return Guarded(static_cast<DBConnect_tag *>(nullptr), [&]() -> DBConnect_tag * {
        if (socketDir != nullptr && !IsUsableFolder(socketDir)) {
            ConnectError() = "the socket's folder must be an absolute path without commas";
            SetError(VLIB_ERR_BAD_PARAMETER);
            return nullptr;
        }
        if (!Pq()) {
            ConnectError() = Pq().Problem();
            SetError(VLIB_ERR_DATABASE);
            return nullptr;
        }
        auto conn = std::make_unique<DBConnect_tag>();
        conn->key = varn::ConnectionKey(socketDir, user, password, database);
        conn->pg = varn::TakeKeptConnection(conn->key);
        if (!conn->pg || !PinStrings(conn->pg.get())) {
            conn->pg = Connect(socketDir, user, password, database);
        }
        if (Pq().status(conn->pg.get()) != CONNECTION_OK || !PinStrings(conn->pg.get())) {
            conn->Fail();
            ConnectError() = conn->error;
            return nullptr;
        }
        Pq().setNoticeProcessor(conn->pg.get(), ToSystemLog, nullptr);
        return conn.release();
    });
}

void VARNDBClose(DBConnect_tag *conn) {
    const std::unique_ptr<DBConnect_tag> owned(conn);
    if (owned) {
        Guarded(0, [&] {
            varn::KeepConnection(std::move(owned->pg), std::move(owned->key), owned->isChanged);
            return 0;
        });
    }
}

void VARNDBKeepConnections(int most) {
    Guarded(0, [&] {
        varn::LimitKeptConnections(static_cast<std::size_t>(std::clamp(most, 0, kMostKept)));
        return 0;
    });
}

void VARNDBBoundStatements(int milliseconds) {
    Guarded(0, [&] {
        const char *const given = std::getenv("PGOPTIONS");
        const std::string options = given != nullptr ? std::string(given) + " " : "";
        const std::string bound = "-c statement_timeout=" + std::to_string(milliseconds);
        setenv("PGOPTIONS", (options + bound).c_str(), 1);
        varn::BoundSilence(milliseconds + milliseconds / 4);
        return 0;
    });
}

int VARNDBExecute(DBConnect_tag *conn, const char *sql, VARNDB_RESULT **result) {
    if (result != nullptr) {
        *result = nullptr;
    }
    if (conn == nullptr || sql == nullptr) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return Guarded(-1, [&] { return Execute(*conn, sql, result); });
}

int VARNDBSelectLimit(DBConnect_tag *conn, const char *sql, int limit, int offset,
                      VARNDB_RESULT **result) {
    return Guarded(-1, [&] {
        std::string page = sql != nullptr ? sql : "";
        if (limit != 0) {
            page += " LIMIT " + std::to_string(limit);
        }
        page += " OFFSET " + std::to_string(offset);
        return VARNDBExecute(conn, sql != nullptr ? page.c_str() : nullptr, result);
    });
}

long long VARNDBCopyIn(DBConnect_tag *conn, const char *statement, const char *rows, size_t size) {
    if (conn == nullptr || statement == nullptr || (rows == nullptr && size > 0)) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return Guarded(-1LL, [&] { return CopyIn(*conn, statement, std::string_view(rows, size)); });
}

int VARNDBNumRows(const VARNDB_RESULT *result) {
    return result != nullptr ? Pq().ntuples(result->pg.get()) : 0;
}

int VARNDBFetchRow(VARNDB_RESULT *result, int *row) {
    if (result == nullptr || row == nullptr || result->nextRow >= VARNDBNumRows(result)) {
        return -1;
    }
    *row = result->nextRow++;
    return 0;
}

const char *VARNDBFetchField(const VARNDB_RESULT *result, int row, const char *column) {
    if (result == nullptr || column == nullptr) {
        return nullptr;
    }
    return VARNDBFetchFieldAt(result, row, result->Find(column));
}

const char *VARNDBFetchFieldAt(const VARNDB_RESULT *result, int row, int column) {
    const bool inside = result != nullptr && row >= 0 && row < VARNDBNumRows(result) &&
                        column >= 0 && column < Pq().nfields(result->pg.get());
    return inside ? Pq().getvalue(result->pg.get(), row, column) : nullptr;
}

void VARNDBFreeResult(VARNDB_RESULT *result) {
    const std::unique_ptr<VARNDB_RESULT> owned(result);
}

VARNDB_TROUBLE VARNDBTroubleGet() {
    return LastTrouble();
}

void VARNDBTroubleClear() {
    LastTrouble() = VARNDB_NO_TROUBLE;
}

const char *VARNDBErrorGet(const DBConnect_tag *conn) {
    return conn != nullptr ? conn->error.c_str() : ConnectError().c_str();
}
