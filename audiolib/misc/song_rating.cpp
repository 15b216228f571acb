#include "misc/song_rating.h"

#include "misc/source.h"
#include "support/log.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/rating_record.h"
#include "varn/run_as.h"

namespace Tonvale::misc {

namespace {

constexpr unsigned kMostStars = 5;
constexpr int kPatience = 2000;  // milliseconds

}  // namespace

int SetSongRating(const char *path, uid_t uid, unsigned star, int milliseconds) noexcept {
    using varn::RatingKept;
    if (path == nullptr || uid == varn::kNoUser || star > kMostStars) {
        LOG_ERROR(kSource, "Bad parameter.");
        return 0;
    }
    // Every exit leaves the process as the package's account.
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
    switch (varn::KeepRating(path, uid, star, milliseconds)) {
        case RatingKept::kYes:
            return 1;
        case RatingKept::kNoFolderPath:
            LOG_ERROR(kSource, "Failed to get @eaDir [path=%s]", path);
            return 0;
        case RatingKept::kNoFolder:
            LOG_ERROR(kSource, "Failed to create song ratting file under @eaDir [path=%s]", path);
            return 0;
        case RatingKept::kNotWritten:
            break;
    }
    LOG_ERROR(kSource, "Failed to %s song rating in file [uid=%u, star=%u, path=%s]",
              star > 0 ? "save" : "remove", uid, star, path);
    return 0;
}

}  // namespace Tonvale::misc

int VARNSetSongRatingToEA(const char *path, unsigned uid, unsigned star) noexcept {
    using namespace Tonvale::misc;
    return SetSongRating(path, uid, star, kPatience);
}
