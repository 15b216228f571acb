// Songs by a keyword.
#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "musiclib/query.h"
#include "support/log.h"
#include "varn/base.h"
#include "varn/sql.h"

namespace Tonvale::musiclib {

namespace {

constexpr char kRandomKey[] = "random";
constexpr char kRandomOrder[] = "RANDOM()";
constexpr char kDefaultOrder[] = "lower(title)";

constexpr std::array<std::string_view, 5> kFields = {"title", "artist", "album", "genre",
                                                     "composer"};

// What to list, from where.
struct Search {
    const char *library;
    uid_t uid;
    const char *keyword;
    const char *field;
    const char *orderKey;
    bool descending;
    int offset;
    int limit;
};

// A keyword as it may stand in a quoted pattern: "%" and "_" stay wildcards.
std::optional<std::string> EscapedKeyword(const std::string &keyword) {
    std::string quoted(keyword.size() * 2 + 1, '\0');
    const int quotedLength = VARNDBEscapeString(keyword.c_str(), quoted.data(), quoted.size());
    std::string escaped(quoted.size() * 2 + 1, '\0');
    const int length = VARNDBEscapeBackslash(quoted.c_str(), escaped.data(), escaped.size());
    if (quotedLength < 0 || length < 0) {
        return std::nullopt;
    }
    escaped.resize(static_cast<std::size_t>(length));
    return escaped;
}

std::optional<std::string> KeywordCondition(const std::string &keyword, const char *field) {
    const std::optional<std::string> escaped = EscapedKeyword(keyword);
    if (!escaped) {
        return std::nullopt;
    }
    const std::string &word = *escaped;
    if (field != nullptr && std::find(kFields.begin(), kFields.end(), field) != kFields.end()) {
        return varn::Sql("@VARN:NEVAR ilike '%%@VARN:NEVAR%%'", field, word);
    }
    return varn::Sql(
        "(title ilike '%%@VARN:NEVAR%%' or artist ilike '%%@VARN:NEVAR%%' or "
        "album ilike '%%@VARN:NEVAR%%' or album_artist ilike '%%@VARN:NEVAR%%' or "
        "composer ilike '%%@VARN:NEVAR%%' or genre ilike '%%@VARN:NEVAR%%')",
        word, word, word, word, word, word);
}

std::string Order(const char *key, bool descending) {
    if (!NonEmptyStr(key)) {
        return kDefaultOrder;
    }
    if (std::string_view(key) == kRandomKey) {
        return kRandomOrder;
    }
    const std::string primary = std::string(key) + " " + (descending ? "desc" : "asc");
    std::array<char, 1024> order = {};
    GenerateOrderString(primary.c_str(), order.data(), order.size());
    return order.data();
}

bool List(const Search &search, support::SongList &out, int *countOut) {
    std::optional<std::string> condition = "";
    if (NonEmptyStr(search.keyword)) {
        condition = KeywordCondition(search.keyword, search.field);
    }
    if (!condition) {
        LOG_ERROR_OLD(kSource, "Failed to escape condition.");
        return false;
    }
    const MediaHandle handle(
        AudioInfoDBOpen(search.library, search.uid, VARN_TABLE_MUSIC, "*", condition->c_str(),
                        nullptr, Order(search.orderKey, search.descending).c_str(), search.offset,
                        search.limit, countOut != nullptr ? 1 : 0));
    if (!handle || !ReadSongs(*handle, out)) {
        return false;
    }
    if (countOut != nullptr) {
        *countOut = static_cast<int>(VARNPageTotalRowCount(handle.get()));
    }
    return true;
}

}  // namespace

}  // namespace Tonvale::musiclib

int VARNMusicListAll(const char *library, uid_t uid, const char *keyword, const char *field,
                     const char *orderKey, int descending, int offset, int limit,
                     PLAYLIST_REC **listOut, int *countOut) noexcept {
    using namespace Tonvale::musiclib;
    return ListSongs(library != nullptr, listOut, [&](Tonvale::support::SongList &songs) {
        return List({library, uid, keyword, field, orderKey, descending != 0, offset, limit}, songs,
                    countOut);
    });
}
