#include "browsed_song.h"

#include "failure.h"
#include "songs.h"
#include "tonvale/playlists.h"
#include "varn/sql.h"

namespace tonvale_service {

std::string NameInPlaylist(const VARN_MEDIA_INFO &song) {
    const bool isTrack = IsVirtualMusic(&song) && song.virtual_track > 0;
    return song.path + (isTrack ? "_" + std::to_string(song.virtual_track) : "");
}

std::optional<VARN_MEDIA_INFO> FindNamedSong(uid_t uid, const std::string &name) {
    VARN_MEDIA_INFO record = {};
    const bool isFound = VARNPlaylistGetOneByPath(uid, name.c_str(), &record) == 0;
    return isFound && NameInPlaylist(record) == name ? std::optional(record) : std::nullopt;
}

VARN_MEDIA_INFO FindBrowsedSong(uid_t uid, const std::string &id) {
    const auto song = ParseSongId(id);
    const auto condition = song ? varn::Sql("id = @VARN:INT", song->row) : std::nullopt;
    if (!condition) {
        throw Failure(Reason::kNotASongId, id);
    }
    const std::string kind = VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid);
    const Handle rows(AudioInfoDBOpen(kind.c_str(), uid, VARN_TABLE_MUSIC, "*", condition->c_str(),
                                      nullptr, nullptr, 0, 1, 0));
    if (!rows) {
        NoAnswer();
    }
    VARN_MEDIA_INFO record;
    if (MediaInfoDBGet(rows.get(), &record) != 0 || IsVirtualMusic(&record) != song->isVirtual) {
        throw Failure(Reason::kNoSuchSong, id);
    }
    return record;
}

}  // namespace tonvale_service
