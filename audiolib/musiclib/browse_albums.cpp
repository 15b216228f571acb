#include <string_view>

#include "musiclib/browse.h"
#include "varn/base.h"

namespace Tonvale::musiclib {

namespace {

constexpr char kList[] =
    "SELECT *, COUNT(*) OVER() AS result_count FROM ("
    "SELECT album AS path, album AS title, album, album_artist, album_sort, album_artist_sort, "
    "MAX(date) AS create_date, "
    "CASE WHEN MAX(year) = MIN(year) THEN MAX(year) ELSE 0 END AS year, "
    "COALESCE(AVG(CAST(NULLIF(star, 0) AS INT)), 0) AS star "
    "FROM %s %s GROUP BY album, album_artist, album_sort, album_artist_sort ) tb %s";

constexpr char kCount[] =
    "SELECT COUNT(*) AS result_count FROM ("
    "SELECT album, album_artist FROM %s %s GROUP BY album, album_artist) tb";

constexpr JoinFlags kListJoins = {1, 0, 0, 0, 0, 1, 0};
constexpr JoinFlags kCountJoins = {1, 0, 0, 0, 0, 0, 0};

// The order, with what decides between albums of one name, or of one artist or year.
std::string Order(const char *orderBy) {
    if (!NonEmptyStr(orderBy)) {
        return "";
    }
    const std::string_view order = orderBy;
    const bool byName = order.find("album_sort") != order.npos;
    const bool byArtist = order.find("album_artist_sort") != order.npos;
    std::string clause = Clause("ORDER BY", orderBy);
    if (!byName) {
        clause += ", album_sort";
    } else if (!byArtist) {
        clause += ", album_artist_sort";
    }
    return clause;
}

MEDIA_DB_HANDLE *Open(const Library &library, const char *condition, const char *orderBy,
                      int offset, int limit) {
    std::string view;
    if (!BrowseView(library, kListJoins, {condition}, view)) {
        return nullptr;
    }
    const varn::Text statement(VLIBCStrGet(kList, view.c_str(), Clause("WHERE", condition).c_str(),
                                           Order(orderBy).c_str()));
    return OpenList(statement, offset, limit);
}

int64_t Count(const Library &library, const char *condition) {
    std::string view;
    if (!BrowseView(library, kCountJoins, {condition}, view)) {
        return -1;
    }
    const varn::Text statement(
        VLIBCStrGet(kCount, view.c_str(), Clause("WHERE", condition).c_str()));
    return CountList(statement);
}

}  // namespace

}  // namespace Tonvale::musiclib

MEDIA_DB_HANDLE *AudioInfoDBOpenWithAlbumList(const char *library, uid_t uid, const char *condition,
                                              const char *orderBy, int offset, int limit) noexcept {
    using namespace Tonvale::musiclib;
    return Answer<MEDIA_DB_HANDLE *>({library, uid}, nullptr, [&](const Library &from) {
        return Open(from, condition, orderBy, offset, limit);
    });
}

int64_t AudioInfoDBGetCountWithAlbumList(const char *library, uid_t uid,
                                         const char *condition) noexcept {
    using namespace Tonvale::musiclib;
    return Answer<int64_t>({library, uid}, -1,
                           [&](const Library &from) { return Count(from, condition); });
}
