#include <string_view>

#include "musiclib/browse.h"
#include "support/log.h"
#include "varn/base.h"

namespace Tonvale::musiclib {

namespace {

constexpr char kList[] =
    "SELECT %s AS path, %s AS title, %s, %s_sort, "
    "COALESCE(AVG(CAST(NULLIF(star, 0) AS INT)), 0) AS star, COUNT(*) OVER() AS result_count "
    "FROM %s %s GROUP BY %s, %s_sort %s";

constexpr JoinFlags kListJoins = {0, 0, 0, 0, 0, 1, 0};

constexpr std::size_t kColumnSize = 32;

MEDIA_DB_HANDLE *Open(const Library &library, const char *column, const char *condition,
                      const char *orderBy, int offset, int limit) {
    std::string view;
    if (!BrowseView(library, kListJoins, {condition, column}, view)) {
        return nullptr;
    }
    const varn::Text statement(VLIBCStrGet(kList, column, column, column, column, view.c_str(),
                                           Clause("WHERE", condition).c_str(), column, column,
                                           Clause("ORDER BY", orderBy).c_str()));
    return OpenList(statement, offset, limit);
}

}  // namespace

}  // namespace Tonvale::musiclib

MEDIA_DB_HANDLE *AudioInfoDBOpenWithContainerList(const char *library, uid_t uid,
                                                  const char *column, const char *condition,
                                                  const char *orderBy, int offset,
                                                  int limit) noexcept {
    using namespace Tonvale::musiclib;
    const auto open = [&](const Library &from) -> MEDIA_DB_HANDLE * {
        if (!NonEmptyStr(column) || std::string_view(column).size() >= kColumnSize) {
            LOG_ERROR(kSource, "Bad parameters.");
            return nullptr;
        }
        return Open(from, column, condition, orderBy, offset, limit);
    };
    return Answer<MEDIA_DB_HANDLE *>({library, uid}, nullptr, open);
}
