#include <utility>

#include "musiclib/query.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/statement.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/handles.h"
#include "varn/number.h"

namespace Tonvale::musiclib {

namespace {

constexpr char kRandom[] = "RANDOM()";

// Every side table but the virtual info.
constexpr JoinFlags kListJoins = {1, 1, 1, 1, 0, 1, 1};

constexpr char kPage[] = "SELECT %s FROM %s %s %s %s";
constexpr char kPageWithCount[] = "SELECT %s, COUNT(*) OVER() AS result_count FROM %s %s %s %s";

// The caller's part of a query.
struct Request {
    Source source;
    const char *columns;
    const char *condition;
    const char *groupBy;
    const char *orderBy;
    int offset;
    int limit;
    bool withResultCount;
};

// The condition that really applies: the caller's, or the random sample inside the library's
// filter.
std::string Condition(const Request &request, const std::string &libraryFilter) {
    const std::string order = request.orderBy != nullptr ? request.orderBy : "";
    if (order != kRandom) {
        return request.condition != nullptr ? request.condition : "";
    }
    return "id IN (SELECT id FROM track " + libraryFilter + " ORDER BY RANDOM() LIMIT " +
           std::to_string(request.limit) + ")";
}

// The whole statement; null, with a log line, when it cannot be built.
varn::Text Statement(const Request &request) {
    TableText view;
    std::string where;
    if (!BuildTableOrLog(request.source, kListJoins, GenreRows::kJoined, view) ||
        !WhereClause(request.source, kListJoins, Condition(request, view.where), where)) {
        return nullptr;
    }
    const char *columns = NonEmptyStr(request.columns) ? request.columns : "*";
    const std::string grouping = Clause("GROUP BY", request.groupBy);
    const std::string order = Clause("ORDER BY", request.orderBy);
    varn::Text statement(VLIBCStrGet(request.withResultCount ? kPageWithCount : kPage, columns,
                                     view.table.c_str(), where.c_str(), grouping.c_str(),
                                     order.c_str()));
    if (!statement) {
        support::LogFailedText(kSource);
    }
    return statement;
}

MEDIA_DB_HANDLE *Open(const Request &request) {
    MediaHandle handle = NewHandle(request.source.tableType);
    if (!handle) {
        LOG_ERROR(kSource, "Failed to malloc.");
        return nullptr;
    }
    const varn::Text statement = Statement(request);
    if (!statement) {
        return nullptr;
    }
    return RunPage(std::move(handle), statement.get(), request.offset, request.limit).release();
}

}  // namespace

}  // namespace Tonvale::musiclib

MEDIA_DB_HANDLE *AudioInfoDBOpen(const char *library, uid_t uid, int tableType, const char *columns,
                                 const char *condition, const char *groupBy, const char *orderBy,
                                 int offset, int limit, int withResultCount) noexcept {
    using namespace Tonvale::musiclib;
    if (library == nullptr || uid == varn::kNoUser) {
        LOG_ERROR(kSource, "Bad parameters.");
        return nullptr;
    }
    const Request request = {
        {library, uid, tableType}, columns, condition, groupBy, orderBy, offset, limit,
        withResultCount != 0};
    return Tonvale::support::Guarded(kSource, static_cast<MEDIA_DB_HANDLE *>(nullptr),
                                     [&] { return Open(request); });
}

int64_t VARNPageTotalRowCount(const MEDIA_DB_HANDLE *handle) noexcept {
    return handle != nullptr ? varn::LeadingNumber<int64_t>(
                                   varn::Row(handle->result, 0).TextIfAny("result_count"))
                             : 0;
}

void AudioInfoDBClose(MEDIA_DB_HANDLE *handle) noexcept {
    const std::unique_ptr<MEDIA_DB_HANDLE> owned(handle);
    if (owned) {
        VARNDBFreeResult(owned->result);
        VARNDBClose(owned->conn);
    }
}
