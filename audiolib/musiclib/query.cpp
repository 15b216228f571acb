#include "musiclib/query.h"

#include <cstdint>
#include <new>

#include "support/log.h"
#include "support/statement.h"
#include "varn/base.h"

namespace Tonvale::musiclib {

MediaHandle NewHandle(int tableType) {
    MediaHandle handle(new (std::nothrow) MEDIA_DB_HANDLE{});
    if (handle) {
        handle->tableType = tableType;
    }
    return handle;
}

bool Connect(MEDIA_DB_HANDLE &handle) {
    handle.conn = support::Connect(kSource).release();
    return handle.conn != nullptr;
}

bool BuildTableOrLog(const Source &source, const JoinFlags &flags, GenreRows genres,
                     TableText &out) {
    if (!BuildTable(source, flags.data(), genres, out)) {
        LOG_ERROR(kSource, "Generate table string failed. library:[%s], uid:[%d] TableType:[%d]",
                  source.library, static_cast<int>(source.uid), source.tableType);
        return false;
    }
    return true;
}

bool WhereClause(const Source &source, const JoinFlags &flags, const std::string &condition,
                 std::string &out) {
    if (condition.find("genre") == std::string::npos) {
        out = Clause("WHERE", condition.c_str());
        return true;
    }
    TableText perGenre;
    if (!BuildTableOrLog(source, flags, GenreRows::kOnePerGenre, perGenre)) {
        return false;
    }
    out = "WHERE id IN (SELECT id FROM " + perGenre.table + " WHERE " + condition + ")";
    return true;
}

MediaHandle RunPage(MediaHandle handle, const char *statement, int offset, int limit) {
    if (!Connect(*handle)) {
        return nullptr;
    }
    const int rows =
        limit < 0 ? VARNDBExecute(handle->conn, statement, &handle->result)
                  : VARNDBSelectLimit(handle->conn, statement, limit, offset, &handle->result);
    if (rows == -1) {
        support::LogFailedStatement(kSource, handle->conn, statement);
        return nullptr;
    }
    handle->rowCount = VARNDBNumRows(handle->result);
    return handle;
}

bool ReadSongs(MEDIA_DB_HANDLE &rows, support::SongList &out) {
    if (!support::SongsFitMemory(kSource, std::int64_t{out.Size()} + rows.rowCount - rows.cursor)) {
        return false;
    }
    while (rows.cursor < rows.rowCount) {
        MediaInfoDBGet(&rows, &out.Append().info);
    }
    return true;
}

std::string Clause(const char *keyword, const char *text) {
    return NonEmptyStr(text) ? std::string(keyword) + " " + text : std::string();
}

}  // namespace Tonvale::musiclib
