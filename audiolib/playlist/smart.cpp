// Playlists that are a condition instead of a file.
#include <memory>
#include <string>

#include "musiclib/query.h"
#include "playlist/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/song_list.h"
#include "tonvale/library.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "varn/sql.h"

namespace Tonvale::playlist {

namespace {

int ReadRows(MEDIA_DB_HANDLE *rows, PVLIBSZHASH *hash, PLAYLIST_REC **listOut) {
    if (!support::SongsFitMemory(kSource, rows->rowCount)) {
        return -1;
    }
    support::SongList songs(kSource);
    const auto song = std::make_unique<VARN_MEDIA_INFO>();
    while (MediaInfoDBGet(rows, song.get()) == 0) {
        if (hash != nullptr && SetSongHashValueByDBHandler(hash, rows, song.get()) != 0) {
            LOG_ERROR(kSource, "Failed to keep the rating of song [%lu]",
                      static_cast<unsigned long>(song->id));
        }
        songs.Append(*song);
    }
    return songs.Release(listOut);
}

}  // namespace

}  // namespace Tonvale::playlist

int VARNPlaylistSmartListSongs(uid_t uid, PLAYLIST_REC **listOut, PVLIBSZHASH *hash,
                               const char *rules, int *countOut, int offset, int limit,
                               const char *library) noexcept {
    using namespace Tonvale::playlist;
    if (listOut != nullptr) {
        *listOut = nullptr;
    }
    // Without rules every song would be in it.
    if (listOut == nullptr || !NonEmptyStr(rules) || library == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        const auto order = varn::Sql("album @VARN:NEVAR, disc, track, path",
                                     Tonvale::webapi::WebapiLibrary::GetCollationSort("album"));
        const Tonvale::MediaHandle rows(order ? AudioInfoDBOpen(library, uid, VARN_TABLE_MUSIC, "*",
                                                                rules, nullptr, order->c_str(),
                                                                offset, limit, 1)
                                              : nullptr);
        if (!rows) {
            return -1;
        }
        if (countOut != nullptr) {
            *countOut = static_cast<int>(VARNPageTotalRowCount(rows.get()));
        }
        return ReadRows(rows.get(), hash, listOut);
    });
}
