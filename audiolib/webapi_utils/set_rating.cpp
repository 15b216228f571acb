// Ratings, by the identifiers of songs.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <new>
#include <string>

#include "misc/song_rating.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/statement.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "webapi_utils/source.h"

namespace {

namespace support = Tonvale::support;

using Tonvale::webapi_utils::kSource;

constexpr unsigned kMostStars = 5;

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kPatience(2);

// The row ids of the songs that the library knows; identifiers of other things are passed over.
std::vector<std::string> RowIds(const std::vector<std::string> &identifiers) {
    std::vector<std::string> ids;
    for (const std::string &identifier : identifiers) {
        std::string id;
        if (VARNAudioWebapiUtilsParseSongId(identifier, id) == 0) {
            ids.push_back(std::move(id));
        }
    }
    return ids;
}

// A connected database; null, with a log line.
Tonvale::MediaHandle OpenDatabase() {
    Tonvale::MediaHandle database(new (std::nothrow) MEDIA_DB_HANDLE{});
    if (!database) {
        LOG_ERROR(kSource, "Failed to malloc.");
        return nullptr;
    }
    database->conn = support::Connect(kSource).release();
    return database->conn != nullptr ? std::move(database) : nullptr;
}

// A failure is logged there and changes no result: the table has the rating. Every account that may
// read a file can keep it locked, so that the waiting is limited for all files together.
void WriteFiles(const std::vector<std::string> &paths, unsigned uid, unsigned star) {
    const auto end = Clock::now() + kPatience;
    for (const std::string &path : paths) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        const int milliseconds = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
        Tonvale::misc::SetSongRating(path.c_str(), uid, star, milliseconds);
    }
}

int SetRating(unsigned uid, const std::vector<std::string> &identifiers, unsigned star) {
    const std::vector<std::string> ids = RowIds(identifiers);
    const Tonvale::MediaHandle database = OpenDatabase();
    if (!database) {
        return 0;
    }
    std::vector<std::string> paths;
    if (!ids.empty() && VARNAudioWebapiSaveDBStar(ids, paths, database.get(), uid, star) == 0) {
        LOG_ERROR(kSource, "Failed to save star of tracks");
        return 0;
    }
    WriteFiles(paths, uid, star);
    return 1;
}

}  // namespace

int VARNAudioWebapiSetSongRating(unsigned uid, const std::vector<std::string> &identifiers,
                                 unsigned star) noexcept {
    if (identifiers.empty() || uid == varn::kNoUser || star > kMostStars) {
        return 0;
    }
    return support::Guarded(kSource, 0, [&] { return SetRating(uid, identifiers, star); });
}
