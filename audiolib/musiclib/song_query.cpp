#include "musiclib/song_query.h"

#include <array>
#include <memory>
#include <string_view>

#include "musiclib/query.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/song_list.h"
#include "tonvale/library.h"
#include "tonvale/playlists.h"
#include "tonvale/settings.h"
#include "varn/handles.h"

namespace Tonvale::musiclib {

namespace {

// What log lines name, with the functions that are exported.
constexpr char kUtilsSource[] = "audiolib/webapi_utils";

std::string BrowseLibrary(uid_t uid) {
    const varn::User user = varn::UserByUid(uid);
    if (!user || !IsPersonalLibEnabled(user->szName)) {
        return "shared";
    }
    return AudioFile::GetUserBrowsePersonalLibraryType(uid) == BROWSE_LIBRARY_PERSONAL ? "personal"
                                                                                       : "all";
}

std::string ActualOnly(std::string_view library) {
    return library == "all" ? "actual" : "actual_" + std::string(library);
}

int ListSongs(const SongQuery &query, PLAYLIST_REC **listOut) {
    support::SongList songs(kUtilsSource);
    const bool read = VisitSongs(query, [&](const VARN_MEDIA_INFO &song) { songs.Append(song); });
    return read ? songs.Release(listOut) : -1;
}

}  // namespace

bool VisitSongs(const SongQuery &query, const std::function<void(const VARN_MEDIA_INFO &)> &visit) {
    std::string library = BrowseLibrary(query.uid);
    if (query.actualOnly) {
        library = ActualOnly(library);
    }
    const Tonvale::MediaHandle rows(AudioInfoDBOpen(library.c_str(), query.uid, VARN_TABLE_MUSIC,
                                                    query.columns, query.condition, nullptr,
                                                    nullptr, 0, -1, 0));
    if (!rows) {
        return false;
    }
    const auto song = std::make_unique<VARN_MEDIA_INFO>();
    while (MediaInfoDBGet(rows.get(), song.get()) == 0) {
        if (query.hash != nullptr &&
            SetSongHashValueByDBHandler(query.hash, rows.get(), song.get()) != 0) {
            LOG_ERROR(kUtilsSource, "Failed to keep the rating of song [%lu]",
                      static_cast<unsigned long>(song->id));
        }
        visit(*song);
    }
    return true;
}

}  // namespace Tonvale::musiclib

std::string VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid_t uid) noexcept {
    using namespace Tonvale::musiclib;
    return Tonvale::support::Guarded(kUtilsSource, std::string("shared"),
                                     [&] { return BrowseLibrary(uid); });
}

int VARNAudioWebapiUtilsGetPlaylistByDBQuery(uid_t uid, PLAYLIST_REC **listOut,
                                             PVLIBSZHASH *fillExtra, const char *condition,
                                             const char *columns, int actualOnly) noexcept {
    using namespace Tonvale::musiclib;
    if (listOut != nullptr) {
        *listOut = nullptr;
    }
    if (listOut == nullptr || !NonEmptyStr(condition)) {
        LOG_ERROR(kUtilsSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kUtilsSource, -1, [&] {
        return ListSongs({uid, condition, columns, actualOnly != 0, fillExtra}, listOut);
    });
}
