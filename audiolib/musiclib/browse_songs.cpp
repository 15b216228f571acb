// Songs by the condition of a caller: the older way to browse.
#include <string>

#include "musiclib/query.h"

namespace Tonvale::musiclib {

namespace {

bool Browse(const char *library, uid_t uid, const char *condition, const char *orderBy, int offset,
            int limit, support::SongList &out) {
    std::string kind;
    if (NormalizeLibraryKind(library, uid, kind) != 0) {
        return false;
    }
    const MediaHandle handle(AudioInfoDBOpen(kind.c_str(), uid, VARN_TABLE_MUSIC, "*", condition,
                                             nullptr, orderBy, offset, limit, 0));
    return handle && ReadSongs(*handle, out);
}

}  // namespace

}  // namespace Tonvale::musiclib

int VARNMusicBrowse(const char *library, uid_t uid, const char *condition, const char *orderBy,
                    int offset, int limit, PLAYLIST_REC **listOut) noexcept {
    using namespace Tonvale::musiclib;
    return ListSongs(library != nullptr, listOut, [&](Tonvale::support::SongList &songs) {
        return Browse(library, uid, condition, orderBy, offset, limit, songs);
    });
}

int VARNMusicBrowseOne(const char *library, uid_t uid, const char *condition, const char *orderBy,
                       PLAYLIST_REC **listOut) noexcept {
    return VARNMusicBrowse(library, uid, condition, orderBy, 0, 1, listOut) == 1 ? 0 : -1;
}
