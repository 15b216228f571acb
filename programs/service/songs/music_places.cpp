#include "service/songs/music_places.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "service/base/failure.h"
#include "service/people/settings.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "varn/host.h"
#include "varn/path.h"
#include "varn/run_as.h"

namespace tonvale_service {

namespace {

namespace fs = std::filesystem;

using varn::DescriptorPath;
using varn::LiesBelow;
using varn::PathOfOpen;

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

// The way from a folder to what lies below it.
fs::path WayDown(std::string_view folder, std::string_view path) {
    return fs::path(varn::PathBelow(folder, path).value_or("")).relative_path();
}

bool LiesInMusicOf(uid_t uid, const std::string &path) {
    const varn::User user = varn::UserByUid(uid);
    return user && IsUnderPersonalLibPath(user->szHomeDir, path.c_str());
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

bool IsOpenAt(int fd, const fs::path &path) {
    return PathOfOpen(fd) == path.native();
}

// Some file in a folder that is open.
std::string FileIn(int folder) {
    return PathOfOpen(folder) + "/x";
}

varn::UniqueFd OpenFolder(const std::string &path) {
    return varn::UniqueFd(open(path.c_str(), kFolderFlags));
}

bool IsSystems(uid_t uid) {
    return uid == 0 || uid == getuid();
}

// Goes down a path, through good links alone. A link is good when it is root's, or when what it
// leads to belongs to its own owner: nobody can lead root to the folder of somebody else. That
// holds for each link that another leads to.
class Walk {
  public:
    varn::UniqueFd Down(varn::UniqueFd folder, const fs::path &path) {
        for (const fs::path &name : path) {
            if (folder && !name.empty()) {
                folder = name.is_absolute() ? OpenFolder("/") : Step(folder.Get(), name);
            }
        }
        return folder;
    }

  private:
    varn::UniqueFd Step(int folder, const fs::path &name) {
        varn::UniqueFd next(openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat info {};
        if (!next || fstat(next.Get(), &info) != 0 || !S_ISLNK(info.st_mode)) {
            return next;
        }
        varn::PathBuffer target{};
        if (--linksLeft_ < 0 || readlinkat(next.Get(), "", target.data(), target.size() - 1) < 0) {
            return varn::UniqueFd();
        }
        const uid_t owner = info.st_uid;
        next = Down(varn::UniqueFd(openat(folder, ".", kFolderFlags)), target.data());
        const bool isGood =
            next && fstat(next.Get(), &info) == 0 && (IsSystems(owner) || owner == info.st_uid);
        return isGood ? std::move(next) : varn::UniqueFd();
    }

    int linksLeft_ = 40;  // as many as the kernel follows
};

// A folder to which links below an indexed folder lead, and which is nobody's music. Empty where
// there is none.
varn::UniqueFd OpenLinked(const std::string &path) {
    for (const std::string &root : varn::host::IndexedFolders()) {
        if (!LiesBelow(root, path)) {
            continue;
        }
        varn::UniqueFd folder = Walk().Down(OpenFolder(root), WayDown(root, path));
        if (folder && !IsPersonalLibraryPath(FileIn(folder.Get()).c_str())) {
            return folder;
        }
    }
    return varn::UniqueFd();
}

// The folder beside the preferences is the package's, and so are all links there.
bool IsAmongPreferences(const std::string &user, const std::string &path) {
    const fs::path folder = PreferenceFolder(user);
    if (folder.empty()) {
        return false;
    }
    for (const fs::path &place : {folder, folder / "playlists"}) {
        std::error_code error;
        const fs::path real = fs::canonical(place, error);
        if (!error && LiesBelow(real.native(), path)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool MayHoldMusic(uid_t owner, const std::string &realPath) {
    if (owner != 0 && LiesInMusicOf(owner, realPath)) {
        return true;
    }
    return LiesInIndexedFolder(realPath) && !LiesInSomebodysMusic(realPath);
}

bool MayHoldPlaylistsOf(const std::string &user, uid_t uid, int folder) {
    struct stat info {};
    const std::string file = FileIn(folder);
    return LiesInMusicOf(uid, file) || IsAmongPreferences(user, file) ||
           (uid != 0 && fstat(folder, &info) == 0 && info.st_uid == uid);
}

varn::UniqueFd OpenPlaylistFolder(const std::string &path) {
    varn::UniqueFd folder = OpenFolder(path);
    if (!folder || MayHoldMusic(0, FileIn(folder.Get()))) {
        return folder;
    }
    folder = OpenLinked(path);
    errno = folder ? errno : EPERM;
    return folder;
}

PlacedSong::PlacedSong(uid_t owner, const std::string &path) : folder_(-1) {
    const varn::RunAs root(varn::Who::kRoot);
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
    heldPath_ = DescriptorPath(folder_) + "/" + asked.filename().native();
}

PlacedSong::~PlacedSong() {
    close(folder_);
}

bool PlacedSong::IsOpen(int fd, const std::string &path) const {
    const varn::RunAs root(varn::Who::kRoot);
    const std::string held = DescriptorPath(folder_);
    return IsOpenAt(fd, LiesBelow(held, path) ? fs::path(path_).parent_path() / WayDown(held, path)
                                              : fs::path(path));
}

}  // namespace tonvale_service
