// The rating record that is kept with a song's file.
#include <array>
#include <string>

#include "support/boundary.h"
#include "support/fd.h"
#include "support/log.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/keyfile.h"
#include "varn/path.h"
#include "varn/run_as.h"
#include "varn/share.h"

namespace {

using Tonvale::support::Guarded;

constexpr char kSource[] = "audiolib/misc";
constexpr char kRecordName[] = "VARNAUDIO_SONG_RATING";
constexpr unsigned kMostStars = 5;
constexpr int kPatience = 2000;  // milliseconds

// One user's line of a record, as text.
struct Line {
    std::string user;
    std::string star;
    const char *song;  // what log lines call it
    int patience;      // milliseconds
};

// The record's folder belongs to every user, and root writes here: by its descriptor, so that
// nobody leads the writing elsewhere.
bool SetLine(int folder, const Line &line) {
    if (VLIBCFileSetKeyValueAt(folder, kRecordName, line.user.c_str(), line.star.c_str(),
                               line.patience) != 0) {
        LOG_ERROR(kSource, "Failed to save song rating in file [uid=%s, star=%s, path=%s]",
                  line.user.c_str(), line.star.c_str(), line.song);
        return false;
    }
    return true;
}

// Removes a line, and the file with the last one.
bool RemoveLine(int folder, const Line &line) {
    if (VLIBCFileRemoveKeyAt(folder, kRecordName, line.user.c_str(), line.patience) != 0) {
        LOG_ERROR(kSource, "Failed to remove song rating in file [uid=%s, star=%s, path=%s]",
                  line.user.c_str(), line.star.c_str(), line.song);
        return false;
    }
    return true;
}

bool SetRating(const char *path, const Line &line) {
    // Every exit leaves the process as the package's account.
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
    std::array<char, varn::kPathSize - 1> directory = {};
    if (VARNEADirPath(path, directory.data(), directory.size()) != 0) {
        LOG_ERROR(kSource, "Failed to get @eaDir [path=%s]", line.song);
        return false;
    }
    const Tonvale::support::Fd folder(VARNEAOpenDir(directory.data()));
    if (!folder) {
        LOG_ERROR(kSource, "Failed to create song ratting file under @eaDir [path=%s]", line.song);
        return false;
    }
    return line.star != "0" ? SetLine(folder.Get(), line) : RemoveLine(folder.Get(), line);
}

}  // namespace

int VARNSetSongRatingToEA(const char *path, unsigned uid, unsigned star) noexcept {
    return Tonvale::SetSongRatingToEA(path, uid, star, kPatience);
}

int Tonvale::SetSongRatingToEA(const char *path, unsigned uid, unsigned star, int milliseconds,
                               const char *name) noexcept {
    if (path == nullptr || uid == varn::kNoUser || star > kMostStars) {
        LOG_ERROR(kSource, "Bad parameter.");
        return 0;
    }
    return Guarded(kSource, 0, [&] {
        const Line line = {std::to_string(uid), std::to_string(star), name != nullptr ? name : path,
                           milliseconds};
        return SetRating(path, line) ? 1 : 0;
    });
}
