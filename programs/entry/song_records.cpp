#include "song_records.h"

#include <climits>

#include "tonvale/webapi.h"
#include "varn/sql.h"

namespace tonvale_entry {

namespace {

// The row id and whether it is one of a cue sheet's. Empty for any text but the four forms.
struct SongId {
    int row;
    bool isVirtual;
};

std::optional<SongId> ParseSongId(std::string_view id) {
    struct Form {
        std::string_view prefix;
        bool isVirtual;
    };
    // The longer ones first.
    constexpr Form kForms[] = {
        {"music_p_v_", true}, {"music_v_", true}, {"music_p_", false}, {"music_", false}};
    for (const Form &form : kForms) {
        if (id.starts_with(form.prefix)) {
            const std::string_view digits = id.substr(form.prefix.size());
            const auto row = ParseNumber(digits, 1, INT_MAX);
            return row ? std::optional(SongId{static_cast<int>(*row), form.isVirtual})
                       : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace

Handle RowOfSong(const Request &request, const std::string &id, const std::string &columns) {
    const auto song = ParseSongId(id);
    const auto condition = song ? varn::Sql("id = @VARN:INT", song->row) : std::nullopt;
    if (!condition) {
        throw Refusal{Code::kBadParameter};
    }
    const unsigned uid = request.User().GetLoginUID();
    std::string kind;
    if (NormalizeLibraryKind(song->isVirtual ? "virtual" : "actual", uid, kind) != 0) {
        throw Refusal{Code::kNotPermitted};
    }
    Handle rows(AudioInfoDBOpen(kind.c_str(), uid, VARN_TABLE_MUSIC, columns.c_str(),
                                condition->c_str(), nullptr, nullptr, 0, 1, 0));
    if (!rows) {
        throw Refusal{Code::kFailed};
    }
    return rows;
}

}  // namespace tonvale_entry
