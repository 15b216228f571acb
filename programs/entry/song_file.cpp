#include "song_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include "answers/as_root.h"
#include "refusal.h"
#include "tonvale/paths.h"
#include "varn/account.h"
#include "varn/host.h"

namespace tonvale_entry {

namespace {

namespace fs = std::filesystem;

bool LiesBelow(std::string_view folder, std::string_view path) {
    if (folder == "/") {
        return true;
    }
    return !folder.empty() && path.size() > folder.size() && path.starts_with(folder) &&
           path[folder.size()] == '/';
}

// Only the way to the home is resolved. The folder in it is the user's own to replace: one that is
// a link makes nothing behind it his music.
bool LiesInMusicOf(const std::string &user, const std::string &path) {
    return LiesBelow(AudioFile::GetHomeMusicPath(user), path);
}

bool LiesInMusicOf(uid_t uid, const std::string &path) {
    PVARN_USER user = nullptr;
    if (VARNUserGetByUID(uid, &user) != 0) {
        return false;
    }
    const std::string name = user->szName;
    VARNUserFree(user);
    return LiesInMusicOf(name, path);
}

// What lies in a home's music is its user's alone wherever there are personal libraries, also where
// the homes lie in an indexed folder. Accounts that cannot be read may have such homes.
bool LiesInSomebodysMusic(const std::string &path) {
    if (!IsPersonalLibraryEnabled() || !IsPersonalLibraryPath(path.c_str())) {
        return false;
    }
    const auto owners = varn::host::HomeOwners();
    return !owners || std::any_of(owners->begin(), owners->end(), [&](const auto &owner) {
        return LiesInMusicOf(owner.name, path);
    });
}

// An indexed folder may be a link itself: the configuration names it.
bool LiesInIndexedFolder(const std::string &path) {
    const std::vector<std::string> folders = varn::host::IndexedFolders();
    return std::any_of(folders.begin(), folders.end(), [&](const std::string &folder) {
        std::error_code error;
        const fs::path real = fs::canonical(folder, error);
        return !error && LiesBelow(real.native(), path);
    });
}

bool MayBePlayed(uid_t owner, const std::string &path) {
    if (owner != 0 && LiesInMusicOf(owner, path)) {
        return true;
    }
    return LiesInIndexedFolder(path) && !LiesInSomebodysMusic(path);
}

}  // namespace

std::string RealSongFile(const VARN_MEDIA_INFO &song) {
    const tonvale_answers::AsRoot root;
    std::error_code error;
    std::string path = fs::canonical(song.path, error).native();
    struct stat info {};
    if (error || path.size() >= sizeof song.path || lstat(path.c_str(), &info) != 0 ||
        !S_ISREG(info.st_mode) || !MayBePlayed(song.userid, path)) {
        throw Refusal{Code::kNoSuchItem};
    }
    return path;
}

}  // namespace tonvale_entry
