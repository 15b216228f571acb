#include <string_view>

#include "musiclib/browse.h"
#include "support/log.h"
#include "varn/base.h"

namespace Tonvale::musiclib {

namespace {

// Tracks with an album artist count for that artist, the others for their own; the outer grouping
// makes one row of a name that comes in both ways.
constexpr char kList[] =
    "SELECT MAX(artist) AS title, MAX(artist) AS path, MAX(artist) AS artist, artist_sort, "
    "(case SUM(starNum) when 0 then 0 else SUM(starSum)/SUM(starNum) end) AS star, "
    "COUNT(*) OVER() AS result_count FROM ( "
    "SELECT MAX(album_artist) AS artist, album_artist_search AS artist_search, "
    "album_artist_sort AS artist_sort, SUM(star) AS starSum, "
    "COUNT(case star when 0 then null else star end) AS starNum "
    "FROM %s %s GROUP BY album_artist_search, album_artist_sort "
    "UNION ALL "
    "SELECT MAX(artist) AS artist, artist_search, artist_sort, SUM(star) AS starSum, "
    "COUNT(case star when 0 then null else star end) AS starNum "
    "FROM %s %s GROUP BY artist_search, artist_sort "
    ") tb1 GROUP BY artist_search, artist_sort %s ";

constexpr char kCount[] =
    "SELECT COUNT(DISTINCT artist_search) AS result_count FROM ("
    "SELECT DISTINCT artist_search FROM %s %s "
    "UNION ALL "
    "SELECT DISTINCT album_artist_search AS artist_search FROM %s %s ) all_artist ";

constexpr JoinFlags kListJoins = {1, 1, 0, 0, 0, 1, 0};
constexpr JoinFlags kCountJoins = {1, 1, 0, 0, 0, 0, 0};

constexpr std::size_t kFilterSize = 1024;

// A condition on the name alone. It finds an artist by either role, so that it does not ask which
// of the two a track counts for.
constexpr std::string_view kNamePattern = " ILIKE ";

struct Filters {
    std::string albumArtist;
    std::string artist;
};

// False, with a log line, for a condition that is too long.
bool BuildFilters(std::string_view condition, Filters &out) {
    const std::string text(condition);
    if (condition.empty()) {
        out = {"WHERE has_album_artist = 'TRUE'", "WHERE has_album_artist = 'FALSE'"};
    } else if (condition.starts_with(kNamePattern)) {
        out = {"WHERE album_artist " + text, "WHERE artist " + text};
    } else {
        out = {"WHERE has_album_artist = 'TRUE' AND " + text,
               "WHERE has_album_artist = 'FALSE' AND " + text};
    }
    // A condition that is cut off could let more rows through.
    for (const std::string &filter : {out.albumArtist, out.artist}) {
        if (filter.size() >= kFilterSize) {
            LOG_ERROR(kSource, "A filter of %zu bytes does not fit into %zu.", filter.size(),
                      kFilterSize);
            return false;
        }
    }
    return true;
}

MEDIA_DB_HANDLE *Open(const Library &library, const char *condition, const char *orderBy,
                      int offset, int limit) {
    std::string view;
    Filters filters;
    if (!BrowseView(library, kListJoins, {condition}, view) ||
        !BuildFilters(condition != nullptr ? condition : "", filters)) {
        return nullptr;
    }
    const varn::Text statement(VLIBCStrGet(kList, view.c_str(), filters.albumArtist.c_str(),
                                           view.c_str(), filters.artist.c_str(),
                                           Clause("ORDER BY", orderBy).c_str()));
    return OpenList(statement, offset, limit);
}

int64_t Count(const Library &library, const char *condition) {
    std::string view;
    Filters filters;
    if (!BrowseView(library, kCountJoins, {condition}, view) ||
        !BuildFilters(condition != nullptr ? condition : "", filters)) {
        return -1;
    }
    const varn::Text statement(VLIBCStrGet(kCount, view.c_str(), filters.artist.c_str(),
                                           view.c_str(), filters.albumArtist.c_str()));
    return CountList(statement);
}

}  // namespace

}  // namespace Tonvale::musiclib

MEDIA_DB_HANDLE *AudioInfoDBOpenWithArtistList(const char *library, uid_t uid,
                                               const char *condition, const char *orderBy,
                                               int offset, int limit) noexcept {
    using namespace Tonvale::musiclib;
    return Answer<MEDIA_DB_HANDLE *>({library, uid}, nullptr, [&](const Library &from) {
        return Open(from, condition, orderBy, offset, limit);
    });
}

int64_t AudioInfoDBGetCountWithArtistList(const char *library, uid_t uid,
                                          const char *condition) noexcept {
    using namespace Tonvale::musiclib;
    return Answer<int64_t>({library, uid}, -1,
                           [&](const Library &from) { return Count(from, condition); });
}
