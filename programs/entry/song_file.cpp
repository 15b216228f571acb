#include "song_file.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "refusal.h"
#include "service/music_places.h"
#include "varn/run_as.h"

namespace tonvale_entry {

namespace fs = std::filesystem;

namespace {

// A user can move others' private files into his music, which are not his to hear.
bool IsMovedHere(const VARN_MEDIA_INFO &song, const struct stat &info) {
    return song.userid != 0 && info.st_uid != song.userid && (info.st_mode & S_IROTH) == 0;
}

}  // namespace

std::string RealSongFile(const VARN_MEDIA_INFO &song) {
    const varn::RunAs root(varn::Who::kRoot);
    std::error_code error;
    std::string path = fs::canonical(song.path, error).native();
    struct stat info {};
    if (error || path.size() >= sizeof song.path || lstat(path.c_str(), &info) != 0 ||
        !S_ISREG(info.st_mode) || IsMovedHere(song, info) ||
        !tonvale_service::MayHoldMusic(song.userid, path)) {
        throw Refusal{Code::kNoSuchItem};
    }
    return path;
}

}  // namespace tonvale_entry
