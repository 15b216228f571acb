#include "service/search/search_tables.h"

#include <array>

#include "tonvale/settings.h"

namespace tonvale_service {

namespace {

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

std::string_view SeenKinds(const ListRequest &request) {
    const std::string &library = request.library;
    if (library.starts_with("virtual")) {
        return "v";
    }
    const bool hidesTracks = !AudioFileGetUserShowVirtualLib(request.uid);
    return library.starts_with("actual") || hidesTracks ? "fs" : "fv";
}

}  // namespace

SeenSongs::SeenSongs(const ListRequest &request)
    : kinds_(SeenKinds(request)),
      shared_(!request.library.ends_with("personal")),
      personal_(!request.library.ends_with("shared")),
      others_(request.library == "personal" && request.uid == 0),
      uid_(request.uid) {}

bool SeenSongs::Lets(char kind, uid_t owner) const {
    const bool isOwners = owner == 0 ? shared_ : (personal_ && owner == uid_) || others_;
    return isOwners && kinds_.find(kind) != kinds_.npos;
}

std::string SeenSongs::Sql() const {
    const std::string user = std::to_string(uid_);
    std::string owners = "s.userid IN (0, " + user + ")";
    if (!personal_) {
        owners = "s.userid = 0";
    } else if (!shared_) {
        owners = others_ ? "s.userid <> 0" : "s.userid = " + user;
    }
    return "s.kind = ANY (string_to_array('" + std::string(kinds_) + "', NULL)::\"char\"[]) AND " +
           owners;
}

std::string FilteredSongs(const ListRequest &request) {
    const std::string filters = Condition(request.filters);
    return filters.empty() ? "" : Filtered(request, filters);
}

std::string ShownSongs(const ListRequest &request) {
    const std::string filtered = FilteredSongs(request);
    return SeenSongs(request).Sql() + (filtered.empty() ? "" : " AND " + filtered);
}

std::string Paged(int offset, int limit) {
    return " OFFSET " + std::to_string(offset) +
           (limit > 0 ? " LIMIT " + std::to_string(limit) : "");
}

}  // namespace tonvale_service
