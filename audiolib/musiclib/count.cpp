#include "musiclib/query.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/statement.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/handles.h"

namespace Tonvale::musiclib {

namespace {

constexpr char kCount[] = "SELECT COUNT(%s) as result_count FROM %s %s %s";

// The condition with the backslashes of its LIKE patterns doubled. False, with a log line, when it
// cannot be escaped.
bool EscapePatterns(std::string &condition) {
    const std::string original = condition;
    condition.resize(original.size() * 2 + 1, '\0');
    if (EscapeConditionEX(condition.data(), condition.size()) != 0) {
        LOG_ERROR(kSource, "Failed to escape condition [%s].", original.c_str());
        return false;
    }
    condition.resize(std::char_traits<char>::length(condition.c_str()));
    return true;
}

// Runs the statement and reads the number of its first row.
int64_t ReadCount(MEDIA_DB_HANDLE &handle, const char *statement) {
    int row = 0;
    if (VARNDBExecute(handle.conn, statement, &handle.result) == -1 ||
        VARNDBFetchRow(handle.result, &row) == -1) {
        support::LogFailedStatement(kSource, handle.conn, statement);
        return -1;
    }
    return VARNPageTotalRowCount(&handle);
}

int64_t Count(const Source &source, const char *expression, std::string condition,
              const char *groupBy, bool escape) {
    JoinFlags flags = {};
    UpdateJoinTableArgs(flags.data(), condition.c_str());
    TableText view;
    if (!BuildTableOrLog(source, flags, GenreRows::kJoined, view)) {
        return -1;
    }
    const MediaHandle handle = NewHandle(source.tableType);
    if (!handle) {
        LOG_ERROR(kSource, "Failed to malloc");
        return -1;
    }
    std::string where;
    if (!Connect(*handle) || (escape && !condition.empty() && !EscapePatterns(condition)) ||
        !WhereClause(source, flags, condition, where)) {
        return -1;
    }
    const varn::Text statement(VLIBCStrGet(kCount, expression, view.table.c_str(), where.c_str(),
                                           Clause("GROUP BY", groupBy).c_str()));
    if (!statement) {
        support::LogFailedText(kSource);
        return -1;
    }
    return ReadCount(*handle, statement.get());
}

}  // namespace

}  // namespace Tonvale::musiclib

int64_t AudioInfoDBGetCount(const char *library, uid_t uid, int tableType,
                            const char *countExpression, const char *condition, const char *groupBy,
                            int escapeCondition) noexcept {
    using namespace Tonvale::musiclib;
    if (library == nullptr || uid == varn::kNoUser || !NonEmptyStr(countExpression)) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, int64_t{-1}, [&]() -> int64_t {
        std::string kind;
        if (NormalizeLibraryKind(library, uid, kind) != 0) {
            return -1;
        }
        return Count({kind.c_str(), uid, tableType}, countExpression,
                     condition != nullptr ? condition : "", groupBy, escapeCondition == 1);
    });
}
