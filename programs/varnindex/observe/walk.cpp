#include "varnindex/observe/walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>

#include "varnindex/descriptor.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

struct CloseDir {
    void operator()(DIR *dir) const { ::closedir(dir); }
};
using DirPtr = std::unique_ptr<DIR, CloseDir>;

std::int64_t Microseconds(const timespec &time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000 + time.tv_nsec / 1000;
}

DirPtr OpenFolder(const std::string &path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    DirPtr dir(::fdopendir(fd));
    if (!dir) {
        ::close(fd);
    }
    return dir;
}

// For file systems that do not tell with the name; DT_UNKNOWN where that fails.
unsigned char TypeOf(int folder, const char *name) {
    struct stat info {};
    const bool isKnown = ::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0;
    return static_cast<unsigned char>(isKnown ? IFTODT(info.st_mode) : unsigned{DT_UNKNOWN});
}

// A link that leads nowhere is no fault of the folder: the disk that it leads to may be away.
bool LeadsNowhere(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

std::string ErrorText(int error) {
    return std::generic_category().message(error);
}

// Without the slash at its end.
std::string NameOfFolder(const std::string &path) {
    return path.size() > 1 ? path.substr(0, path.size() - 1) : path;
}

Found Other(Found::Kind kind, std::string path, std::string reason) {
    Found found;
    found.kind = kind;
    found.path = std::move(path);
    found.reason = std::move(reason);
    return found;
}

}  // namespace

std::vector<std::string> OrderedFolders(const std::vector<std::string> &folders) {
    std::vector<std::string> ordered;
    for (const std::string &folder : folders) {
        std::string path = std::filesystem::absolute(folder).lexically_normal().string();
        if (!path.ends_with('/')) {
            path += '/';
        }
        ordered.push_back(std::move(path));
    }
    std::sort(ordered.begin(), ordered.end());
    std::vector<std::string> result;
    for (const std::string &path : ordered) {
        if (result.empty() || !path.starts_with(result.back())) {
            result.push_back(path);
        }
    }
    for (std::string &path : result) {
        if (path.size() > 1) {
            path.pop_back();
        }
    }
    return result;
}

Walk::Walk(std::vector<std::string> folders, NameFilter wanted, LinkedFolders *library,
           StopQuestion isStopped)
    : folders_(std::move(folders)),
      roots_(folders_),
      wanted_(wanted),
      library_(library),
      isStopped_(isStopped) {
    std::reverse(folders_.begin(), folders_.end());
}

std::optional<Found> Walk::Next() {
    for (;;) {
        std::optional<Found> found;
        if (levels_.empty()) {
            if (folders_.empty()) {
                return std::nullopt;
            }
            const std::string folder = std::move(folders_.back());
            folders_.pop_back();
            found = EnterRoot(folder == "/" ? folder : folder + "/");
        } else if (levels_.back().entries.empty()) {
            levels_.pop_back();
        } else {
            Entry entry = std::move(levels_.back().entries.back());
            levels_.back().entries.pop_back();
            found = Take(std::move(entry));
        }
        if (found) {
            return found;
        }
    }
}

std::optional<Found> Walk::EnterRoot(const std::string &path) {
    if (!IsUtf8(path)) {
        return Other(Found::Kind::kBlocked, path, "the name is not UTF-8");
    }
    const std::string folder = NameOfFolder(path);
    const std::string *const root = library_ != nullptr ? library_->RootOf(folder) : nullptr;
    if (root != nullptr && !PassedOverPart(*root, folder).empty()) {
        return std::nullopt;
    }
    return Enter(path, Reached::kAsRoot);
}

// Of the folders on the way down those above were asked before; a walk of a part begins below them.
bool Walk::IsWithoutMusic(const std::string &path, Reached reached) const {
    const std::string folder = NameOfFolder(path);
    return withoutMusic_.contains(folder) ||
           (reached == Reached::kAsRoot &&
            std::any_of(withoutMusic_.begin(), withoutMusic_.end(),
                        [&](const std::string &above) { return IsBelow(above, folder); }));
}

bool Walk::IsLinkedRoot(const std::string &path) {
    return library_ != nullptr && library_->IsBehindLink(NameOfFolder(path));
}

// A folder that somebody has registered is where a disk is mounted, if anywhere. A stray file in
// the mount point does not tell that its songs were thrown away.
bool Walk::IsWholeRoot(const std::string &path) const {
    const std::string folder = NameOfFolder(path);
    const std::string *const root = library_ != nullptr ? library_->RootOf(folder) : nullptr;
    return levels_.empty() && (library_ == nullptr || (root != nullptr && *root == folder));
}

// Whether the library has a folder at the link that leads to it.
Walk::Behind Walk::LookBehindLink(const std::string &path, Reached reached, const struct stat &info,
                                  bool isForeign) {
    const std::string folder = NameOfFolder(path);
    if (library_ != nullptr) {
        if (isForeign && !library_->LibraryPath(folder)) {
            return Behind::kRefused;
        }
        const bool goesOn =
            !library_->LeavesOut(folder) && seen_.emplace(info.st_dev, info.st_ino).second;
        return goesOn ? Behind::kGoesOn : Behind::kLeftOut;
    }
    if (!realRoots_) {
        realRoots_.emplace(roots_);
    }
    std::error_code error;
    const std::string real = reached == Reached::kThroughLink
                                 ? std::filesystem::canonical(folder, error).string()
                                 : std::string();
    const bool isElsewhere = realRoots_->IsRoot(info.st_dev, info.st_ino) ||
                             (!real.empty() && realRoots_->DirectPath(real));
    if (isElsewhere || isForeign || !seen_.emplace(info.st_dev, info.st_ino).second) {
        links_.leftOut.insert(folder);
        return isElsewhere || !isForeign ? Behind::kLeftOut : Behind::kRefused;
    }
    if (!real.empty()) {
        links_.taken.emplace(folder, real);
    }
    return Behind::kGoesOn;
}

// Goes down into a folder. A folder that cannot be read to its end is not entered at all: half of
// its entries would look as if the others had been deleted.
std::optional<Found> Walk::Enter(const std::string &path, Reached reached) {
    const DirPtr dir = OpenFolder(path);
    struct stat info {};
    if (!dir || ::fstat(::dirfd(dir.get()), &info) != 0) {
        return Other(Found::Kind::kBlocked, path, ErrorText(errno));
    }
    const bool isLinked =
        reached == Reached::kThroughLink ||
        (reached == Reached::kAsRoot ? IsLinkedRoot(path) : levels_.back().isLinked);
    // Of each folder anew: a link may have come in its place, or on the way to it.
    const unsigned requiredOwner =
        homes_ != nullptr ? homes_->RequiredOwner(NameOfFolder(path), ::dirfd(dir.get())) : 0;
    const bool isForeign = requiredOwner != 0 && requiredOwner != info.st_uid;
    const Behind behind = isLinked    ? LookBehindLink(path, reached, info, isForeign)
                          : isForeign ? Behind::kRefused
                                      : Behind::kGoesOn;
    if (behind == Behind::kRefused) {
        return Other(Found::Kind::kRefused, path, HomeLinks::kReason);
    }
    if (behind == Behind::kLeftOut || IsOnTheWay(info.st_dev, info.st_ino)) {
        return std::nullopt;
    }
    Level level{path, info.st_dev, info.st_ino, {}};
    level.isLinked = isLinked;
    level.requiredOwner = requiredOwner;
    level.homeOwner = homes_ != nullptr ? homes_->OwnerOfHome(NameOfFolder(path)) : 0;
    bool hasNames = false;
    for (;;) {
        StopIfAsked(isStopped_);
        errno = 0;
        const dirent *const entry = ::readdir(dir.get());
        if (entry == nullptr) {
            break;
        }
        if (!IsPassedOver(entry->d_name)) {
            hasNames = true;
            AddEntry(::dirfd(dir.get()), entry->d_name, entry->d_type, level);
        } else if (entry->d_name == kAttributeFolder) {
            level.hasAttributes = true;
        }
    }
    if (errno != 0) {
        return Other(Found::Kind::kBlocked, path, ErrorText(errno));
    }
    std::sort(level.entries.begin(), level.entries.end(),
              [](const Entry &a, const Entry &b) { return a.key > b.key; });
    if (!hasNames) {
        return Other(Found::Kind::kEmpty, path, "the folder is empty");
    }
    if (level.entries.empty() && IsWholeRoot(path)) {
        return Other(Found::Kind::kEmpty, path, "neither music nor a folder is in it");
    }
    if (IsWithoutMusic(path, reached)) {
        return Other(Found::Kind::kEmpty, path, "none of its music is there");
    }
    level.sheets = SheetsAmong(level.entries, path);
    levels_.push_back(std::move(level));
    return std::nullopt;
}

std::shared_ptr<FolderSheets> Walk::SheetsAmong(const std::vector<Entry> &entries,
                                                const std::string &folder) {
    std::vector<SheetFile> sheets;
    for (const Entry &entry : entries) {
        if (entry.kind && IsSheetName(entry.key) && IsUtf8(entry.key)) {
            sheets.push_back({entry.key, entry.size, entry.modified, entry.reason, entry.seen});
        }
    }
    if (sheets.empty()) {
        return nullptr;
    }
    std::vector<std::string> songs;
    for (const Entry &entry : entries) {
        if (entry.kind == Found::Kind::kFile && IsMusicName(entry.key) && IsUtf8(entry.key)) {
            songs.push_back(entry.key);
        }
    }
    std::reverse(sheets.begin(), sheets.end());  // the entries stand in reverse order
    std::reverse(songs.begin(), songs.end());
    return std::make_shared<FolderSheets>(folder, std::move(sheets), std::move(songs));
}

bool Walk::IsOnTheWay(dev_t device, ino_t inode) const {
    return std::any_of(levels_.begin(), levels_.end(), [&](const Level &level) {
        return level.device == device && level.inode == inode;
    });
}

// What an entry is, and in a home who has to own it; false with errno set. A link that took the
// place of a file is not followed, and where a link leads is found out once: both may change at any
// time.
bool Walk::LookAt(int folder, const char *name, bool isLink, const Level &level, struct stat &info,
                  unsigned &requiredOwner) const {
    requiredOwner = level.requiredOwner;
    if (!isLink || level.homeOwner == 0) {
        return ::fstatat(folder, name, &info, isLink ? 0 : AT_SYMLINK_NOFOLLOW) == 0;
    }
    const Descriptor target(::openat(folder, name, O_PATH | O_CLOEXEC));
    if (!target || ::fstat(target.Get(), &info) != 0) {
        return false;
    }
    requiredOwner = homes_->RequiredOwner(level.path + name, target.Get());
    return true;
}

void Walk::AddEntry(int folder, const char *name, unsigned char type, Level &level) const {
    const bool wanted = wanted_(name);
    if (type == DT_UNKNOWN) {
        type = TypeOf(folder, name);
    }
    if (type == DT_DIR) {
        level.entries.push_back({std::string(name) + "/"});
        return;
    }
    if (type != DT_LNK && type != DT_UNKNOWN && !(type == DT_REG && wanted)) {
        return;
    }
    struct stat info {};
    unsigned owner = 0;
    if (!LookAt(folder, name, type == DT_LNK, level, info, owner)) {
        const int error = errno;
        if (type == DT_REG && error == ENOENT) {
            return;  // deleted since the folder was read
        }
        const auto kind = LeadsNowhere(error) ? Found::Kind::kAbsent : Found::Kind::kBlocked;
        // It may have been a file or a folder. The two stand at different places of the order; one
        // of them is enough to be told.
        level.entries.push_back({name, kind, ErrorText(error)});
        level.entries.push_back({std::string(name) + "/", Found::Kind::kAbsent, ErrorText(error)});
    } else if (S_ISDIR(info.st_mode)) {
        level.entries.push_back({std::string(name) + "/", std::nullopt, {}, type == DT_LNK});
    } else if (S_ISREG(info.st_mode) && wanted) {
        if (owner != 0 && owner != info.st_uid) {
            level.entries.push_back({name, Found::Kind::kRefused, HomeLinks::kReason});
            return;
        }
        level.entries.push_back({name,
                                 Found::Kind::kFile,
                                 {},
                                 type == DT_LNK,
                                 info.st_size,
                                 Microseconds(info.st_mtim),
                                 {info.st_dev, info.st_ino, level.homeOwner}});
    }
}

std::optional<Found> Walk::Take(Entry entry) {
    const std::string path = levels_.back().path + entry.key;
    if (!IsUtf8(entry.key)) {
        return Other(Found::Kind::kRefused, path, "the name is not UTF-8");
    }
    if (path.size() >= PATH_MAX) {
        return Other(Found::Kind::kRefused, path, "the path is too long");
    }
    if (!entry.kind) {
        return Enter(path, entry.isLink ? Reached::kThroughLink : Reached::kDirectly);
    }
    const Level &level = levels_.back();
    Found found = Other(*entry.kind, path, std::move(entry.reason));
    found.size = entry.size;
    found.modified = entry.modified;
    found.sheets = level.sheets;
    found.hasAttributes = level.hasAttributes;
    found.seen = entry.seen;
    return found;
}

}  // namespace varnindex
