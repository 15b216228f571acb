#include "support/statement.h"

#include <cstdlib>

#include "support/log.h"
#include "varn/base.h"

namespace Tonvale::support {

namespace {

std::optional<int> Run(const char *source, DBConnect_tag *conn,
                       const std::optional<std::string> &statement, varn::Result *rows, int line) {
    if (!statement) {
        LogLine(errno, "%s:%d Failed to VLIBCStrGet() [0x%04X %s:%d]", source, line, VLIBCErrGet(),
                VLIBCErrFile(), VLIBCErrLine());
        return std::nullopt;
    }
    VARNDB_RESULT *result = nullptr;
    const int count = VARNDBExecute(conn, statement->c_str(), &result);
    varn::Result owner(result);
    if (count == -1) {
        LogLine(errno, "%s:%d Failed to exec [%s] (%s)", source, line, statement->c_str(),
                VARNDBErrorGet(conn));
        return std::nullopt;
    }
    if (rows != nullptr) {
        *rows = std::move(owner);
    }
    return count;
}

}  // namespace

bool Execute(const char *source, DBConnect_tag *conn, const std::optional<std::string> &statement,
             varn::Result *rows, int line) {
    return Run(source, conn, statement, rows, line).has_value();
}

std::optional<int> Write(const char *source, DBConnect_tag *conn,
                         const std::optional<std::string> &statement, int line) {
    return Run(source, conn, statement, nullptr, line);
}

std::optional<int> NextRow(const varn::Result &rows) {
    int row = 0;
    return rows && VARNDBFetchRow(rows.get(), &row) != -1 ? std::optional<int>(row) : std::nullopt;
}

std::string Field(const varn::Result &rows, int row, const char *column) {
    const char *text = VARNDBFetchField(rows.get(), row, column);
    return text != nullptr ? text : "";
}

long long NumberField(const varn::Result &rows, int row, const char *column) {
    return std::strtoll(Field(rows, row, column).c_str(), nullptr, 10);
}

}  // namespace Tonvale::support
