// The conditions of a song list, from the tags that it is narrowed by.
#include <string_view>

#include "support/boundary.h"
#include "tonvale/webapi.h"
#include "varn/base.h"
#include "varn/db.h"
#include "webapi_library/source.h"

namespace Tonvale::webapi::playlist {

namespace {

constexpr char kArtist[] = "artist";

// An artist is asked for in both roles; no artist at all, where both are empty.
std::string ArtistCondition(const std::string &value, const char *escaped) {
    std::string condition = "(artist_search = UPPER('";
    if (escaped == nullptr) {
        return condition;
    }
    const std::string_view junction = value.empty() ? "AND" : "OR";
    condition.append(escaped).append("') ").append(junction);
    condition.append(" album_artist_search = UPPER('").append(escaped).append("'))");
    return condition;
}

// A value that cannot be escaped leaves the text open after the first quote, which no server takes
// for a condition.
std::string SingleCondition(const std::string &column, const std::string &value) {
    if (column.empty()) {
        return "";
    }
    const EscapedKeyword escaped(value);
    if (column == kArtist) {
        return ArtistCondition(value, escaped.Get());
    }
    const std::string open = column + " ='";
    return escaped.Get() != nullptr ? open + escaped.Get() + "'" : open;
}

}  // namespace

EscapedKeyword::EscapedKeyword(const std::string &value) noexcept
    : text_(value.find('\0') == value.npos ? VARNDBEscapeStringEX3(1, "@VARN:VAR", value.c_str())
                                           : nullptr) {}  // which would ask for the text before it

EscapedKeyword::~EscapedKeyword() {
    VLIBCStrPut(text_);
}

std::string ListTrackCondition::GetSingleCondition(const std::string &column,
                                                   const std::string &value) noexcept {
    return support::Guarded(kLibrarySource, std::string(),
                            [&] { return SingleCondition(column, value); });
}

std::string ListTrackCondition::GetConditionString() const noexcept {
    const struct {
        const char *column;
        const std::pair<bool, std::string> &filter;
    } filters[] = {{"album", album},
                   {"album_artist", albumArtist},
                   {kArtist, artist},
                   {"composer", composer},
                   {"genre", genre}};
    return support::Guarded(kLibrarySource, std::string(), [&] {
        std::string condition;
        for (const auto &[column, filter] : filters) {
            if (filter.first) {
                condition +=
                    (condition.empty() ? "" : " AND ") + SingleCondition(column, filter.second);
            }
        }
        return condition;
    });
}

}  // namespace Tonvale::webapi::playlist
