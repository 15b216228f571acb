#include "varn/rating_record.h"

#include <string>

#include "linux/error.h"
#include "varn/descriptor.h"
#include "varn/keyfile.h"
#include "varn/path.h"
#include "varn/share.h"

namespace varn {

RatingKept KeepRating(const char *song, uid_t uid, unsigned stars, int milliseconds) noexcept {
    return Guarded(RatingKept::kNotWritten, [&] {
        PathBuffer eaDir = {};
        if (VARNEADirPath(song, eaDir.data(), eaDir.size() - 1) != 0) {
            return RatingKept::kNoFolderPath;
        }
        const UniqueFd folder(VARNEAOpenDir(eaDir.data()));
        if (!folder) {
            return RatingKept::kNoFolder;
        }
        const std::string user = std::to_string(uid);
        const int kept =
            stars > 0
                ? VLIBCFileSetKeyValueAt(folder.Get(), kRatingRecord, user.c_str(),
                                         std::to_string(stars).c_str(), milliseconds)
                : VLIBCFileRemoveKeyAt(folder.Get(), kRatingRecord, user.c_str(), milliseconds);
        return kept == 0 ? RatingKept::kYes : RatingKept::kNotWritten;
    });
}

}  // namespace varn
