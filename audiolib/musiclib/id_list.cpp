// Songs by their ids.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "musiclib/query.h"
#include "support/log.h"
#include "tonvale/playlists.h"
#include "varn/account.h"
#include "varn/database.h"
#include "varn/number.h"

namespace Tonvale::musiclib {

namespace {

constexpr int kIdListBytes = 1024;
constexpr int kBatch = 5000;

// Reads the rows in the order of the ids; one that comes twice is there twice.
void Arrange(MEDIA_DB_HANDLE &rows, const VLIBSZLIST &ids, support::SongList &out) {
    std::unordered_map<std::int64_t, int> rowById;
    for (int row = 0; row < rows.rowCount; ++row) {
        rowById.emplace(varn::Row(rows.result, row).Number("id"), row);
    }
    for (int i = 0; i < ids.nItem; ++i) {
        const auto found = rowById.find(varn::LeadingNumber<std::int64_t>(VLIBCSzListGet(&ids, i)));
        if (found != rowById.end()) {
            rows.cursor = found->second;
            MediaInfoDBGet(&rows, &out.Append().info);
        }
    }
}

// The parts of a list between its commas; null, with a log line, when memory is short.
varn::StringList SplitIds(const char *idList) {
    PVLIBSZLIST list = VLIBCSzListAlloc(kIdListBytes);
    const bool isSplit = list != nullptr && VLIBCStrTok(idList, ",", &list) >= 0;
    varn::StringList ids(list);
    if (!isSplit) {
        LOG_ERROR(kSource, "Failed to alloc memory %d", kIdListBytes);
        ids.reset();
    }
    return ids;
}

// The songs of some ids.
bool ListBatch(uid_t uid, const std::string &library, const std::string &idList,
               support::SongList &out) {
    const varn::StringList ids = SplitIds(idList.c_str());
    if (!ids || !support::SongsFitMemory(kSource, std::int64_t{out.Size()} + ids->nItem)) {
        return false;
    }
    // Any other text could make the condition another one.
    const bool areIds = idList.find_first_not_of("0123456789, ") == idList.npos;
    const std::string condition = "id in (" + idList + ")";
    const MediaHandle handle(areIds ? AudioInfoDBOpen(library.c_str(), uid, VARN_TABLE_MUSIC, "*",
                                                      condition.c_str(), nullptr, nullptr, 0, -1, 0)
                                    : nullptr);
    if (!handle) {
        LOG_ERROR(kSource, "Failed to open media database (%s).", library.c_str());
        return false;
    }
    Arrange(*handle, *ids, out);
    return true;
}

// The length of the text's first ids, without the comma after them.
std::size_t BatchLength(std::string_view idList) {
    std::size_t end = idList.find(',');
    for (int ids = 1; ids < kBatch && end != idList.npos; ++ids) {
        end = idList.find(',', end + 1);
    }
    return std::min(end, idList.size());
}

// A batch at a time: the rows of a long list are not all in memory beside their records.
bool ListByIds(uid_t uid, std::string_view idList, support::SongList &out) {
    const std::string library = VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid);
    if (library.empty()) {
        return false;
    }
    for (;;) {
        const std::size_t length = BatchLength(idList);
        if (!ListBatch(uid, library, std::string(idList.substr(0, length)), out)) {
            return false;
        }
        if (length == idList.size()) {
            return true;
        }
        idList.remove_prefix(length + 1);
    }
}

}  // namespace

}  // namespace Tonvale::musiclib

int VARNMusicListGetByID(uid_t uid, const char *idList, PLAYLIST_REC **listOut) noexcept {
    using namespace Tonvale::musiclib;
    const bool isGood = uid != varn::kNoUser && NonEmptyStr(idList);
    return ListSongs(isGood, listOut, [&](Tonvale::support::SongList &songs) {
        return ListByIds(uid, idList, songs);
    });
}
