#include "service/songs/song_file.h"

#include <fcntl.h>

#include <filesystem>
#include <system_error>

#include "service/base/failure.h"
#include "service/songs/music_places.h"
#include "varn/path.h"
#include "varn/run_as.h"

namespace tonvale_service {

namespace fs = std::filesystem;

namespace {

// A user can move others' private files into his music, which are not his to hear.
bool IsMovedHere(uid_t owner, const struct stat &info) {
    return owner != 0 && info.st_uid != owner && (info.st_mode & S_IROTH) == 0;
}

}  // namespace

SongFile OpenSongFile(uid_t owner, const std::string &path) {
    const varn::RunAs root(varn::Who::kRoot);
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    SongFile opened;
    opened.file.Reset(
        open(real.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    opened.path = opened.file ? varn::PathOfOpen(opened.file.Get()) : "";
    if (error || opened.path.empty() || opened.path.size() >= varn::kPathSize ||
        fstat(opened.file.Get(), &opened.info) != 0 || !S_ISREG(opened.info.st_mode) ||
        IsMovedHere(owner, opened.info) || !MayHoldMusic(owner, opened.path)) {
        throw Failure(Reason::kOutsideMusic, path);
    }
    return opened;
}

SongFile OpenSongFile(const VARN_MEDIA_INFO &song) {
    return OpenSongFile(song.userid, song.path);
}

}  // namespace tonvale_service
