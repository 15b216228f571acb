#include "song_id.h"

#include <charconv>
#include <memory>

#include "failure.h"
#include "tonvale/library.h"
#include "tonvale/playlists.h"
#include "varn/sql.h"

namespace tonvale_answers {

namespace {

struct HandleCloser {
    void operator()(MEDIA_DB_HANDLE *handle) const noexcept { AudioInfoDBClose(handle); }
};

}  // namespace

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
            const char *const end = digits.data() + digits.size();
            int row = 0;
            const auto [rest, error] = std::from_chars(digits.data(), end, row);
            return error == std::errc() && rest == end && row > 0
                       ? std::optional(SongId{row, form.isVirtual})
                       : std::nullopt;
        }
    }
    return std::nullopt;
}

std::string NameInPlaylist(const VARN_MEDIA_INFO &song) {
    const bool isTrack = IsVirtualMusic(&song) && song.virtual_track > 0;
    return song.path + (isTrack ? "_" + std::to_string(song.virtual_track) : "");
}

VARN_MEDIA_INFO FindBrowsedSong(uid_t uid, const std::string &id) {
    const auto song = ParseSongId(id);
    const auto condition = song ? varn::Sql("id = @VARN:INT", song->row) : std::nullopt;
    if (!condition) {
        throw Failure(Reason::kBad, "'" + id + "' is no song's identifier");
    }
    const std::string kind = VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid);
    const std::unique_ptr<MEDIA_DB_HANDLE, HandleCloser> rows(AudioInfoDBOpen(
        kind.c_str(), uid, VARN_TABLE_MUSIC, "*", condition->c_str(), nullptr, nullptr, 0, 1, 0));
    if (!rows) {
        throw Failure(Reason::kFailed, "the library does not answer; the lines above tell why");
    }
    VARN_MEDIA_INFO record;
    if (MediaInfoDBGet(rows.get(), &record) != 0 || IsVirtualMusic(&record) != song->isVirtual) {
        throw Failure(Reason::kNotFound,
                      "there is no song " + id + " in the library that the user browses");
    }
    return record;
}

}  // namespace tonvale_answers
