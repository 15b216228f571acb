#include "song_file.h"

#include <fcntl.h>

#include <filesystem>
#include <system_error>

#include "failure.h"
#include "music_places.h"
#include "varn/run_as.h"

namespace tonvale_service {

namespace fs = std::filesystem;

namespace {

// A user can move others' private files into his music, which are not his to hear.
bool IsMovedHere(const VARN_MEDIA_INFO &song, const struct stat &info) {
    return song.userid != 0 && info.st_uid != song.userid && (info.st_mode & S_IROTH) == 0;
}

}  // namespace

SongFile OpenSongFile(const VARN_MEDIA_INFO &song) {
    const varn::RunAs root(varn::Who::kRoot);
    std::error_code error;
    const fs::path real = fs::canonical(song.path, error);
    SongFile opened;
    opened.file.Reset(
        open(real.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    opened.path = opened.file ? varn::PathOfOpen(opened.file.Get()) : "";
    if (error || opened.path.empty() || opened.path.size() >= sizeof song.path ||
        fstat(opened.file.Get(), &opened.info) != 0 || !S_ISREG(opened.info.st_mode) ||
        IsMovedHere(song, opened.info) || !MayHoldMusic(song.userid, opened.path)) {
        throw Failure(Reason::kOutsideMusic, song.path);
    }
    return opened;
}

}  // namespace tonvale_service
