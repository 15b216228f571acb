#include "song_records.h"

#include "service/songs.h"
#include "varn/sql.h"

namespace tonvale_entry {

Handle RowOfSong(const Request &request, const std::string &id, const std::string &columns) {
    const auto song = tonvale_service::ParseSongId(id);
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
