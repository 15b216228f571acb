#include <string>

#include "support/boundary.h"
#include "support/log.h"
#include "support/song_list.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;
using Tonvale::webapi_utils::kSource;

// The row ids of song identifiers, separated by commas; "" when one of them has none.
std::string RowIds(const Json::Value &ids) {
    std::string joined;
    for (const Json::Value &id : ids) {
        std::string number;
        if (!id.isString() || VARNAudioWebapiUtilsParseSongId(id.asString(), number) != 0) {
            return "";
        }
        joined += (joined.empty() ? "" : ",") + number;
    }
    return joined;
}

}  // namespace

int VARNAudioWebapiUtilsGetMediaList(uid_t uid, const Json::Value &ids,
                                     PLAYLIST_REC **listOut) noexcept {
    if (listOut != nullptr) {
        *listOut = nullptr;
    }
    if (listOut == nullptr || !ids.isArray()) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        if (ids.empty()) {
            return 0;
        }
        const std::string numbers = RowIds(ids);
        PLAYLIST_REC *list = nullptr;
        const int found = numbers.empty() ? -1 : VARNMusicListGetByID(uid, numbers.c_str(), &list);
        varn::OwnedSongs songs(list);
        if (found != static_cast<int>(ids.size())) {
            return -1;
        }
        *listOut = songs.release();
        return found;
    });
}
