#include "support/statement.h"

#include <cstdlib>

#include "support/log.h"
#include "varn/base.h"

namespace Tonvale::support {

bool Execute(const char *source, DBConnect_tag *conn, const std::optional<std::string> &statement,
             Result *rows, int line) {
    if (!statement) {
        LogLine(errno, "%s:%d Failed to VLIBCStrGet() [0x%04X %s:%d]", source, line, VLIBCErrGet(),
                VLIBCErrFile(), VLIBCErrLine());
        return false;
    }
    VARNDB_RESULT *result = nullptr;
    const int status = VARNDBExecute(conn, statement->c_str(), &result);
    Result owner(result);
    if (status == -1) {
        LogLine(errno, "%s:%d Failed to exec [%s] (%s)", source, line, statement->c_str(),
                VARNDBErrorGet(conn));
        return false;
    }
    if (rows != nullptr) {
        *rows = std::move(owner);
    }
    return true;
}

std::optional<int> NextRow(const Result &rows) {
    int row = 0;
    return rows && VARNDBFetchRow(rows.get(), &row) != -1 ? std::optional<int>(row) : std::nullopt;
}

std::string Field(const Result &rows, int row, const char *column) {
    const char *text = VARNDBFetchField(rows.get(), row, column);
    return text != nullptr ? text : "";
}

long long NumberField(const Result &rows, int row, const char *column) {
    return std::strtoll(Field(rows, row, column).c_str(), nullptr, 10);
}

}  // namespace Tonvale::support
