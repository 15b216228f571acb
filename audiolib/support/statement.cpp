#include "support/statement.h"

#include "support/log.h"
#include "tonvale/library.h"

namespace Tonvale::support {

varn::Connection Connect(const char *source, int line) {
    varn::Connection connection(AudioInfoDBConnect());
    if (!connection) {
        LogLine(errno, "%s:%d Failed to connect to database", source, line);
    }
    return connection;
}

std::optional<varn::Rows> Execute(const char *source, DBConnect_tag *conn,
                                  const std::optional<std::string> &statement, int line) {
    if (!statement) {
        LogFailedText(source, line);
        return std::nullopt;
    }
    auto rows = varn::Execute(conn, *statement);
    if (!rows) {
        LogFailedStatement(source, conn, statement->c_str(), line);
    }
    return rows;
}

void LogFailedText(const char *source, int line) {
    LogLine(errno, "%s:%d Failed to VLIBCStrGet() [0x%04X %s:%d]", source, line, VLIBCErrGet(),
            VLIBCErrFile(), VLIBCErrLine());
}

void LogFailedStatement(const char *source, const DBConnect_tag *conn, const char *statement,
                        int line) {
    LogLine(errno, "%s:%d Failed to exec [%s] (%s)", source, line, statement, VARNDBErrorGet(conn));
}

}  // namespace Tonvale::support
