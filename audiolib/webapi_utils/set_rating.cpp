// Ratings, by the identifiers of songs.
#include <memory>
#include <new>
#include <string>

#include "support/boundary.h"
#include "support/handles.h"
#include "support/log.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;

using Tonvale::webapi_utils::kSource;

constexpr unsigned kNoUser = 4294967295U;
constexpr unsigned kMostStars = 5;

using Database = std::unique_ptr<MEDIA_DB_HANDLE, Tonvale::support::Releaser<AudioInfoDBClose>>;

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
Database OpenDatabase() {
    Database database(new (std::nothrow) MEDIA_DB_HANDLE{});
    if (!database) {
        LOG_ERROR(kSource, "Failed to malloc.");
        return nullptr;
    }
    database->conn = AudioInfoDBConnect();
    if (database->conn == nullptr) {
        LOG_ERROR(kSource, "Failed to connect to database");
        return nullptr;
    }
    return database;
}

int SetRating(unsigned uid, const std::vector<std::string> &identifiers, unsigned star) {
    const std::vector<std::string> ids = RowIds(identifiers);
    const Database database = OpenDatabase();
    if (!database) {
        return 0;
    }
    std::vector<std::string> paths;
    if (!ids.empty() && VARNAudioWebapiSaveDBStar(ids, paths, database.get(), uid, star) == 0) {
        LOG_ERROR(kSource, "Failed to save star of tracks");
        return 0;
    }
    for (const std::string &path : paths) {
        // What fails is logged there; the table has the rating.
        VARNSetSongRatingToEA(path.c_str(), uid, star);
    }
    return 1;
}

}  // namespace

int VARNAudioWebapiSetSongRating(unsigned uid, const std::vector<std::string> &identifiers,
                                 unsigned star) noexcept {
    if (identifiers.empty() || uid == kNoUser || star > kMostStars) {
        return 0;
    }
    return Guarded(kSource, 0, [&] { return SetRating(uid, identifiers, star); });
}
