#include "service/playlists/playlist_place.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "service/base/text.h"
#include "service/playlists/playlists_lock.h"
#include "service/songs/music_places.h"
#include "tonvale/paths.h"
#include "varn/account.h"
#include "varn/host.h"
#include "varn/playlistsvc.h"
#include "varn/process.h"
#include "varn/replace_file.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "playlists";
constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr std::string_view kKept = ".kept";  // no extension of a playlist

// What errno tells of a name in a folder.
Failure NotDone(Reason reason, const fs::path &path) {
    return errno == EEXIST ? Failure(Reason::kPlaylistExists, path) : Failure(reason, path, errno);
}

bool MayHold(const Collection &collection, int folder) {
    return !collection.personal || MayHoldPlaylistsOf(collection.user, collection.uid, folder);
}

// If a registered folder or a home is missing, its disk is away. A folder made in its place would
// look like all that is left, and vanish below the disk when that is back.
varn::UniqueFd OpenPresent(const fs::path &folder) {
    varn::UniqueFd fd(open(folder.c_str(), kFolderFlags));
    if (!fd) {
        throw Failure(Reason::kFolderAway, folder);
    }
    return fd;
}

// Opens a folder, and makes it where it is missing, as the owner of the folder above. A later chown
// could hit what somebody has put in its place.
varn::UniqueFd OpenOrMake(int above, const fs::path &path, int flags) {
    const std::string name = path.filename();
    varn::UniqueFd folder(openat(above, name.c_str(), kFolderFlags | flags));
    if (folder || errno != ENOENT) {
        return folder;
    }
    struct stat info {};
    if (fstat(above, &info) != 0) {
        return folder;
    }
    const varn::RunAs before(varn::Who::kCaller);
    if (VLIBSetEffective(info.st_uid, info.st_gid) == 0 &&
        mkdirat(above, name.c_str(), info.st_mode & 0777) == 0) {
        folder.Reset(openat(above, name.c_str(), kFolderFlags | O_NOFOLLOW));
    }
    return folder;
}

// Where new playlists of a collection belong: a folder that is there, and what is made below it.
struct NewPlace {
    fs::path base;
    std::vector<std::string> names;
};

NewPlace PlaceOf(const Collection &collection) {
    if (collection.isFolder) {
        const fs::path preferences = SystemPath(varn::path::kPreferences);
        std::error_code error;
        fs::create_directories(preferences, error);
        return {preferences, {collection.user, kFolder}};
    }
    if (collection.personal) {
        const fs::path music = AudioFile::GetHomeMusicPath(collection.user);
        return {music.parent_path(), {music.filename(), kFolder}};
    }
    const std::vector<std::string> folders = varn::host::IndexedFolders();
    if (folders.empty()) {
        throw Failure(Reason::kNoPlaylistFolder);
    }
    return {folders.front(), {kFolder}};
}

// Root's rights may be used for a file. Users who may write to a folder can move others' private
// files there. So root's rights show only files that the user may read. They change only files that
// all may read, and those of others that all may write, because the library opens to all what it
// writes.
bool MayUse(const Collection &collection, HeldPlaylist::Use use, int file,
            const struct stat &info) {
    const bool isUsers = info.st_uid == collection.uid;
    if (geteuid() != 0 || collection.isForRoot || (isUsers && collection.personal)) {
        return true;
    }
    if (use == HeldPlaylist::Use::kChange) {
        const mode_t needed = isUsers ? 0444 : 0666;
        return (info.st_mode & needed) == needed;
    }
    const varn::RunAs before(varn::Who::kCaller);
    return isUsers ||
           (ResetCredentialsByName(collection.user.c_str()) == 0 &&
            faccessat(AT_FDCWD, varn::DescriptorPath(file).c_str(), R_OK, AT_EACCESS) == 0);
}

// A user's own collection has the user's files, and what the library or root has written there. A
// second name of such a file may stand anywhere.
bool MayStandThere(const Collection &collection, const struct stat &info) {
    const bool isSystems = info.st_uid == 0 || info.st_uid == getuid() ||
                           info.st_uid == GetUserIdFromName(varn::kPackageAccount);
    return !collection.personal || info.st_uid == collection.uid ||
           (isSystems && info.st_nlink == 1);
}

varn::UniqueFd OpenList(const Collection &collection, const PlaylistFolder &folder,
                        const fs::path &path, HeldPlaylist::Use use) {
    const varn::RunAs root(varn::Who::kRoot);
    varn::UniqueFd file(openat(folder.Get(), path.filename().c_str(),
                               O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info {};
    if (!file && errno == ENOENT) {
        throw Failure(Reason::kNoSuchPlaylist, path.stem());
    }
    if (!file && errno != ELOOP) {
        throw Failure(Reason::kPlaylistNotRead, path, errno);
    }
    if (!file || fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode) ||
        !MayStandThere(collection, info)) {
        throw Failure(Reason::kPlaylistOutside, path);
    }
    if (!MayUse(collection, use, file.Get(), info)) {
        throw Failure(Reason::kPlaylistOfAnother, path);
    }
    return file;
}

// False with errno set.
bool ReadAll(int fd, std::string &text) {
    struct stat info {};
    if (fstat(fd, &info) != 0) {
        return false;
    }
    if (static_cast<std::size_t>(info.st_size) > varn::kMostPlaylistBytes) {
        errno = EFBIG;
        return false;
    }
    text.resize(static_cast<std::size_t>(info.st_size));
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t got =
            pread(fd, text.data() + done, text.size() - done, static_cast<off_t>(done));
        if (got < 0 && errno != EINTR) {
            return false;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    text.resize(done);
    return true;
}

}  // namespace

PlaylistFolder::PlaylistFolder(varn::UniqueFd folder, fs::path path)
    : folder_(std::move(folder)), path_(std::move(path)) {}

PlaylistFolder::PlaylistFolder(const Collection &collection, const fs::path &folder)
    : path_(folder) {
    const varn::RunAs root(varn::Who::kRoot);
    folder_ = collection.personal ? varn::UniqueFd(open(folder.c_str(), kFolderFlags))
                                  : OpenPlaylistFolder(folder);
    if (!folder_ && errno != EPERM) {
        throw Failure(Reason::kFolderNotRead, folder, errno);
    }
    if (!folder_ || !MayHold(collection, folder_.Get())) {
        throw Failure(Reason::kPlaylistOutside, folder);
    }
}

PlaylistFolder PlaylistFolder::ForNew(const Collection &collection) {
    const varn::RunAs root(varn::Who::kRoot);
    auto [path, names] = PlaceOf(collection);
    varn::UniqueFd folder = OpenPresent(path);
    for (const std::string &name : names) {
        path /= name;
        // A link in place of the last one is refused, as one that leads to somebody else's is.
        folder = OpenOrMake(folder.Get(), path, &name == &names.back() ? O_NOFOLLOW : 0);
        if (!folder) {
            throw Failure(Reason::kFolderNotMade, path, errno);
        }
        if (!MayHold(collection, folder.Get())) {
            throw Failure(Reason::kPlaylistOutside, path);
        }
    }
    return {std::move(folder), std::move(path)};
}

bool PlaylistFolder::IsGone(const fs::path &folder) {
    const varn::RunAs root(varn::Who::kRoot);
    std::error_code error;
    return fs::status(folder, error).type() == fs::file_type::not_found;
}

void PlaylistFolder::CheckIsFree(const std::string &name) const {
    for (const char *format : {"m3u", "m3u8", "pls", "wpl"}) {
        if (Has(name + "." + format)) {
            throw Failure(Reason::kPlaylistExists, path_ / (name + "." + format));
        }
    }
}

mode_t PlaylistFolder::KindOf(const std::string &name) const {
    const varn::RunAs root(varn::Who::kRoot);
    struct stat info {};
    if (fstatat(folder_.Get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
        return info.st_mode;
    }
    return errno == ENOENT ? 0 : throw Failure(Reason::kFolderNotRead, path_, errno);
}

varn::UniqueFd PlaylistFolder::Make(const std::string &file) const {
    const varn::RunAs root(varn::Who::kRoot);
    struct stat info {};
    varn::UniqueFd made(
        openat(folder_.Get(), file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0777));
    if (!made) {
        throw NotDone(Reason::kPlaylistNotWritten, path_ / file);
    }
    if (geteuid() == 0 && fstat(folder_.Get(), &info) == 0 &&
        fchown(made.Get(), info.st_uid, info.st_gid) != 0) {
        syslog(LOG_ERR, "Failed to give %s to its owner: %m", (path_ / file).c_str());
    }
    return made;
}

void PlaylistFolder::Move(const std::string &from, const std::string &to, Reason reason) const {
    const varn::RunAs root(varn::Who::kRoot);
    const int folder = folder_.Get();
    bool moved = renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0;
    if (!moved && (errno == EINVAL || errno == ENOSYS)) {
        // A file system without that flag: of two who give one name at once, one may lose a file.
        errno = EEXIST;
        moved = !Has(to) && renameat(folder, from.c_str(), folder, to.c_str()) == 0;
    }
    if (!moved && errno == ENOENT) {
        throw Failure(Reason::kNoSuchPlaylist, fs::path(from).stem());
    }
    if (!moved) {
        throw NotDone(reason, path_ / (reason == Reason::kPlaylistNotRenamed ? to : from));
    }
}

bool PlaylistFolder::Remove(const std::string &file) const {
    const varn::RunAs root(varn::Who::kRoot);
    if (unlinkat(folder_.Get(), file.c_str(), 0) == 0) {
        return true;
    }
    return errno == ENOENT ? false
                           : throw Failure(Reason::kPlaylistNotDeleted, path_ / file, errno);
}

HeldPlaylist::HeldPlaylist(const Collection &collection, const std::string &path, Use use)
    : folder_(collection, fs::path(path).parent_path()),
      path_(path),
      file_(OpenList(collection, folder_, path, use)) {}

struct stat HeldPlaylist::Status() const {
    struct stat info {};
    return fstat(file_.Get(), &info) == 0 ? info
                                          : throw Failure(Reason::kPlaylistNotRead, path_, errno);
}

std::string HeldPlaylist::State() const {
    std::string text;
    return ReadAll(file_.Get(), text) ? HashOf(text)
                                      : throw Failure(Reason::kPlaylistNotRead, path_, errno);
}

std::string HeldPlaylist::Contents() const {
    std::string text;
    if (flock(file_.Get(), LOCK_EX | LOCK_NB) != 0) {
        throw Failure(Reason::kPlaylistLocked, path_);
    }
    const bool read = ReadAll(file_.Get(), text);
    const int error = errno;
    flock(file_.Get(), LOCK_UN);
    return read ? std::move(text) : throw Failure(Reason::kPlaylistNotRead, path_, error);
}

KeptCopy::KeptCopy(const HeldPlaylist &list)
    : folder_(list.folder_),
      list_(fs::path(list.path_).filename()),
      name_(("." + list_).substr(0, NAME_MAX - kKept.size()).append(kKept)) {
    const std::string contents = list.Contents();
    const varn::RunAs root(varn::Who::kRoot);
    struct stat info {};
    bool isWritten = fstat(list.file_.Get(), &info) == 0;
    const varn::FileOwner owner = {info.st_uid, info.st_gid};
    isWritten =
        isWritten && varn::ReplaceFile(varn::DescriptorPath(folder_.Get()) + "/" + name_, contents,
                                       info.st_mode & 0777, geteuid() == 0 ? &owner : nullptr);
    if (!isWritten) {
        throw Failure(Reason::kPlaylistNotWritten, list.path_, errno);
    }
}

KeptCopy::~KeptCopy() {
    const varn::RunAs root(varn::Who::kRoot);
    if (isOurs_ && unlinkat(folder_.Get(), name_.c_str(), 0) != 0) {
        syslog(LOG_ERR, "Failed to remove %s: %m", (folder_.Path() / name_).c_str());
    }
}

void KeptCopy::PutBack() {
    const varn::RunAs root(varn::Who::kRoot);
    isOurs_ = false;
    if (renameat(folder_.Get(), name_.c_str(), folder_.Get(), list_.c_str()) != 0) {
        syslog(LOG_ERR, "Failed to put %s back, which is kept as %s: %m",
               (folder_.Path() / list_).c_str(), name_.c_str());
    }
}

HeldPlaylist HoldToRead(const Collection &collection, Playlist &playlist) {
    try {
        return {collection, playlist.path};
    } catch (const Failure &failure) {
        if (failure.Why() != Reason::kNoSuchPlaylist) {
            throw;
        }
    }
    const PlaylistsLock lock(collection, Lock::Kind::kRead);
    playlist = PlaylistOfKey(collection, KeyOf(collection, playlist));
    return {collection, playlist.path};
}

}  // namespace tonvale_service
