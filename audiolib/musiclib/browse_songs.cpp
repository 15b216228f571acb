// Songs by the condition of a caller: the older way to browse.
#include <string>

#include "musiclib/query.h"
#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"

namespace Tonvale::musiclib {

namespace {

// What both forms of browsing run.
int Browse(const char *library, uid_t uid, const char *condition, const char *orderBy, int offset,
           int limit, PLAYLIST_REC **listOut) {
    std::string kind;
    if (NormalizeLibraryKind(library, uid, kind) != 0) {
        return -1;
    }
    const MediaHandle handle(AudioInfoDBOpen(kind.c_str(), uid, VARN_TABLE_MUSIC, "*", condition,
                                             nullptr, orderBy, offset, limit, 0));
    if (!handle) {
        return -1;
    }
    support::SongList songs(kSource);
    if (!ReadSongs(*handle, songs)) {
        return -1;
    }
    const int count = songs.Size();
    *listOut = songs.Release();
    return count;
}

}  // namespace

}  // namespace Tonvale::musiclib

int VARNMusicBrowse(const char *library, uid_t uid, const char *condition, const char *orderBy,
                    int offset, int limit, PLAYLIST_REC **listOut) noexcept {
    using namespace Tonvale::musiclib;
    if (listOut != nullptr) {
        *listOut = nullptr;
    }
    if (library == nullptr || listOut == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        return Browse(library, uid, condition, orderBy, offset, limit, listOut);
    });
}

int VARNMusicBrowseOne(const char *library, uid_t uid, const char *condition, const char *orderBy,
                       PLAYLIST_REC **listOut) noexcept {
    using namespace Tonvale::musiclib;
    if (listOut != nullptr) {
        *listOut = nullptr;
    }
    if (library == nullptr || listOut == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        return Browse(library, uid, condition, orderBy, 0, 1, listOut) == 1 ? 0 : -1;
    });
}
