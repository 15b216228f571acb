// Songs by their ids.
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "musiclib/query.h"
#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/playlists.h"

namespace Tonvale::musiclib {

namespace {

constexpr int kIdListBytes = 1024;

unsigned long Number(const char *text) {
    return std::strtoul(text != nullptr ? text : "", nullptr, 10);
}

// Reads the rows in the order of the ids; one that comes twice is there twice.
void Arrange(MEDIA_DB_HANDLE &rows, const VLIBSZLIST &ids, support::SongList &out) {
    std::unordered_map<unsigned long, int> rowById;
    for (int row = 0; row < rows.rowCount; ++row) {
        rowById.emplace(Number(VARNDBFetchField(rows.result, row, "id")), row);
    }
    for (int i = 0; i < ids.nItem; ++i) {
        const auto found = rowById.find(Number(VLIBCSzListGet(&ids, i)));
        if (found != rowById.end()) {
            rows.cursor = found->second;
            MediaInfoDBGet(&rows, &out.Append().info);
        }
    }
}

// The ids of a list of digits and commas; null, with a log line, when memory is short.
support::StringList SplitIds(const char *idList) {
    PVLIBSZLIST list = VLIBCSzListAlloc(kIdListBytes);
    const bool isSplit = list != nullptr && VLIBCStrTok(idList, ",", &list) >= 0;
    support::StringList ids(list);
    if (!isSplit) {
        LOG_ERROR(kSource, "Failed to alloc memory %d", kIdListBytes);
        ids.reset();
    }
    return ids;
}

bool ListByIds(uid_t uid, const char *idList, support::SongList &out) {
    const std::string library = VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid);
    const support::StringList ids = SplitIds(idList);
    if (library.empty() || !ids) {
        return false;
    }
    const std::string condition = std::string("id in (") + idList + ")";
    const Handle handle(AudioInfoDBOpen(library.c_str(), uid, VARN_TABLE_MUSIC, "*",
                                        condition.c_str(), nullptr, nullptr, 0, -1, 0));
    if (!handle) {
        LOG_ERROR(kSource, "Failed to open media database (%s).", library.c_str());
        return false;
    }
    Arrange(*handle, *ids, out);
    return true;
}

}  // namespace

}  // namespace Tonvale::musiclib

int VARNMusicListGetByID(uid_t uid, const char *idList, PLAYLIST_REC **listOut) noexcept {
    using namespace Tonvale::musiclib;
    if (listOut != nullptr) {
        *listOut = nullptr;
    }
    if (uid == kNoUser || listOut == nullptr || !NonEmptyStr(idList) ||
        idList[std::strspn(idList, "0123456789,")] != '\0') {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        Tonvale::support::SongList songs(kSource);
        if (!ListByIds(uid, idList, songs)) {
            return -1;
        }
        const int count = songs.Size();
        *listOut = songs.Release();
        return count;
    });
}
