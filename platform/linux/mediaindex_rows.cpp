// Rows of the index that the services open, add, change and remove.
#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "varn/database.h"
#include "varn/sql.h"

namespace {

using varn::Sql;

// The shared table of a table type; null for any other number.
const char *SharedTable(int tableType) {
    struct Known {
        VARN_TABLE_TYPE type;
        const char *name;
    };
    constexpr std::array kTables = {Known{VARN_TABLE_MUSIC, "track"},
                                    Known{VARN_TABLE_PLAYLIST, "playlist"},
                                    Known{VARN_TABLE_DIRECTORY, "directory"}};
    const auto *const found = std::find_if(kTables.begin(), kTables.end(), [&](const Known &known) {
        return known.type == tableType;
    });
    return found == kTables.end() ? nullptr : found->name;
}

// An id as the tables have it; empty for one that no row can have.
std::optional<int> RowId(uint32_t id) {
    return id > 0 && id <= INT_MAX ? std::optional(static_cast<int>(id)) : std::nullopt;
}

std::optional<int> RowId(std::string_view text) {
    int id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && id > 0 ? std::optional(id) : std::nullopt;
}

int NoSuchRow() {
    varn::SetError(VLIB_ERR_NOT_FOUND);
    return -1;
}

// Runs a statement that must touch a row. 0, or -1 with the error state set.
int ChangeRow(const std::optional<std::string> &sql) {
    if (!sql) {
        return -1;
    }
    const varn::Connection connection = varn::ConnectLibrary();
    const auto rows = connection ? varn::Execute(connection.get(), *sql) : std::nullopt;
    if (!rows) {
        return -1;
    }
    return rows->Count() > 0 ? 0 : NoSuchRow();
}

int BadParameter() {
    varn::SetError(VLIB_ERR_BAD_PARAMETER);
    return -1;
}

bool IsRecord(int tableType, const VARN_MEDIA_INFO *record) {
    return tableType == VARN_TABLE_PLAYLIST && record != nullptr && NonEmptyStr(record->path);
}

std::string Select(const char *table, const char *columns, const char *condition,
                   const char *order) {
    std::string sql =
        std::string("SELECT ") + (NonEmptyStr(columns) ? columns : "*") + " FROM " + table;
    sql += NonEmptyStr(condition) ? std::string(" WHERE ") + condition : "";
    sql += NonEmptyStr(order) ? std::string(" ORDER BY ") + order : "";
    return sql;
}

// `remove` makes the statement for an id.
template <typename Remove>
int DeleteRow(int tableType, const char *idText, const Remove &remove) {
    if (tableType != VARN_TABLE_PLAYLIST || !NonEmptyStr(idText)) {
        return BadParameter();
    }
    return varn::Guarded(-1, [&] {
        const std::optional<int> id = RowId(std::string_view(idText));
        return id ? ChangeRow(remove(*id)) : NoSuchRow();
    });
}

}  // namespace

MEDIA_DB_HANDLE *MediaInfoDBOpen(int tableType, const char *columns, const char *condition,
                                 const char *order, int offset, int limit) {
    const char *const table = SharedTable(tableType);
    if (table == nullptr || offset < 0 || limit < 0) {
        BadParameter();
        return nullptr;
    }
    return varn::Guarded<MEDIA_DB_HANDLE *>(nullptr, [&]() -> MEDIA_DB_HANDLE * {
        const std::string sql = Select(table, columns, condition, order);
        auto handle = std::make_unique<MEDIA_DB_HANDLE>();
        varn::Connection connection = varn::ConnectLibrary();
        if (!connection ||
            VARNDBSelectLimit(connection.get(), sql.c_str(), limit, offset, &handle->result) < 0) {
            return nullptr;
        }
        handle->conn = connection.release();
        handle->rowCount = VARNDBNumRows(handle->result);
        handle->tableType = tableType;
        return handle.release();
    });
}

void MediaInfoDBClose(MEDIA_DB_HANDLE *handle) {
    const std::unique_ptr<MEDIA_DB_HANDLE> owned(handle);
    if (owned) {
        VARNDBFreeResult(owned->result);
        VARNDBClose(owned->conn);
    }
}

int MediaInfoDBSave(int tableType, const VARN_MEDIA_INFO *record) {
    if (!IsRecord(tableType, record)) {
        return BadParameter();
    }
    return varn::Guarded(-1, [&] {
        return ChangeRow(
            Sql("INSERT INTO playlist (path, title, album) VALUES ('@VARN:VAR', '@VARN:VAR', "
                "'@VARN:VAR')",
                record->path, record->title, record->album));
    });
}

int MediaInfoDBUpdate(int tableType, const VARN_MEDIA_INFO *record) {
    if (!IsRecord(tableType, record)) {
        return BadParameter();
    }
    return varn::Guarded(-1, [&] {
        const std::optional<int> id = RowId(record->id);
        return id ? ChangeRow(Sql("UPDATE playlist SET path = '@VARN:VAR', title = '@VARN:VAR', "
                                  "album = '@VARN:VAR', mdate = now() WHERE id = @VARN:INT",
                                  record->path, record->title, record->album, *id))
                  : NoSuchRow();
    });
}

int MediaInfoDBDelete(int tableType, const char *idText) {
    return DeleteRow(tableType, idText,
                     [](int id) { return Sql("DELETE FROM playlist WHERE id = @VARN:INT", id); });
}

int PersonalLibraryInfoDBSaveByID(uint32_t uid, int tableType, const VARN_MEDIA_INFO *record) {
    const std::optional<int> owner = RowId(uid);
    if (!owner || !IsRecord(tableType, record)) {
        return BadParameter();
    }
    return varn::Guarded(-1, [&] {
        if (record->id == 0) {
            return ChangeRow(
                Sql("INSERT INTO personal_playlist (userid, path, title, album) VALUES (@VARN:INT, "
                    "'@VARN:VAR', '@VARN:VAR', '@VARN:VAR')",
                    *owner, record->path, record->title, record->album));
        }
        const std::optional<int> id = RowId(record->id);
        return id ? ChangeRow(Sql("UPDATE personal_playlist SET path = '@VARN:VAR', title = "
                                  "'@VARN:VAR', album = '@VARN:VAR', mdate = now(), updated = "
                                  "true WHERE id = @VARN:INT AND userid = @VARN:INT",
                                  record->path, record->title, record->album, *id, *owner))
                  : NoSuchRow();
    });
}

int PersonalLibraryInfoDBDelete(int tableType, const char *idText) {
    return DeleteRow(tableType, idText, [](int id) {
        return Sql("DELETE FROM personal_playlist WHERE id = @VARN:INT", id);
    });
}
