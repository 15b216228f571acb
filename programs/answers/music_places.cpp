#include "music_places.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "as_root.h"
#include "failure.h"
#include "varn/account.h"
#include "varn/host.h"

namespace tonvale_answers {

namespace {

namespace fs = std::filesystem;

bool LiesBelow(std::string_view folder, std::string_view path) {
    if (folder == "/") {
        return true;
    }
    return !folder.empty() && path.size() > folder.size() && path.starts_with(folder) &&
           path[folder.size()] == '/';
}

bool LiesInMusicOf(uid_t uid, const std::string &path) {
    PVARN_USER user = nullptr;
    const bool lies =
        VARNUserGetByUID(uid, &user) == 0 && IsUnderPersonalLibPath(user->szHomeDir, path.c_str());
    VARNUserFree(user);
    return lies;
}

// What lies in a home's music is its user's alone wherever there are personal libraries, also where
// the homes lie in an indexed folder.
bool LiesInSomebodysMusic(const std::string &path) {
    return IsPersonalLibraryEnabled() && IsPersonalLibraryPath(path.c_str());
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

std::string PathOfOpen(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

bool IsOpenAt(int fd, const fs::path &path) {
    std::error_code error;
    return fs::read_symlink(PathOfOpen(fd), error) == path && !error;
}

}  // namespace

bool MayHoldMusic(uid_t owner, const std::string &realPath) {
    if (owner != 0 && LiesInMusicOf(owner, realPath)) {
        return true;
    }
    return LiesInIndexedFolder(realPath) && !LiesInSomebodysMusic(realPath);
}

PlacedSong::PlacedSong(uid_t owner, const std::string &path) : folder_(-1) {
    const AsRoot root;
    const fs::path asked(path);
    std::error_code error;
    const fs::path folder = fs::canonical(asked.parent_path(), error);
    path_ = folder / asked.filename();
    if (!error && asked.has_filename() && !fs::is_directory(path_, error) &&
        MayHoldMusic(owner, path_)) {
        folder_ = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    if (folder_ >= 0 && !IsOpenAt(folder_, folder)) {
        close(folder_);
        folder_ = -1;
    }
    if (folder_ < 0) {
        throw Failure(Reason::kOutsideMusic, path);
    }
    heldPath_ = PathOfOpen(folder_) + "/" + asked.filename().native();
}

PlacedSong::~PlacedSong() {
    close(folder_);
}

bool PlacedSong::IsOpen(int fd, const std::string &path) const {
    const AsRoot root;
    const std::string held = PathOfOpen(folder_);
    return IsOpenAt(fd, LiesBelow(held, path)
                            ? fs::path(path_).parent_path() / path.substr(held.size() + 1)
                            : fs::path(path));
}

}  // namespace tonvale_answers
