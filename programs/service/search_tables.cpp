#include "search_tables.h"

#include <array>

#include "tonvale/settings.h"

namespace tonvale_service {

namespace {

// Which of the library's kinds of rows are seen, and whose: the rule of the track view, for the
// columns of the search table.
std::string SeenKinds(const ListRequest &request) {
    const std::string &library = request.library;
    const bool hidesTracks = !AudioFileGetUserShowVirtualLib(request.uid);
    if (library.starts_with("virtual")) {
        return "s.kind = 'v'";
    }
    return library.starts_with("actual") || hidesTracks ? "s.kind IN ('f', 's')"
                                                        : "s.kind IN ('f', 'v')";
}

std::string SeenOwners(const ListRequest &request) {
    const std::string &library = request.library;
    const std::string user = std::to_string(request.uid);
    if (library.ends_with("shared")) {
        return "s.userid = 0";
    }
    if (library.ends_with("personal")) {
        return library == "personal" && request.uid == 0 ? "s.userid <> 0" : "s.userid = " + user;
    }
    return "s.userid IN (0, " + user + ")";
}

// The songs that filters let through, from the track view.
std::string Filtered(const ListRequest &request, const std::string &condition) {
    std::array<int, VARN_JOIN_TABLES> joins = {};
    UpdateJoinTableArgs(joins.data(), condition.c_str());
    std::array<char, 8192> view = {};
    std::array<char, 1024> where = {};
    if (GenerateTableString(request.library.c_str(), request.uid, VARN_TABLE_MUSIC, view.data(),
                            view.size(), where.data(), where.size(), joins.data(), 1) != 0) {
        NoAnswer();
    }
    return std::string("s.track IN (SELECT id FROM ") + view.data() + " WHERE " + condition + ")";
}

}  // namespace

std::string SeenSongs(const ListRequest &request) {
    const std::string filters = Condition(request.filters);
    return SeenKinds(request) + " AND " + SeenOwners(request) +
           (filters.empty() ? "" : " AND " + Filtered(request, filters));
}

std::string Paged(int offset, int limit) {
    return " OFFSET " + std::to_string(offset) +
           (limit > 0 ? " LIMIT " + std::to_string(limit) : "");
}

}  // namespace tonvale_service
