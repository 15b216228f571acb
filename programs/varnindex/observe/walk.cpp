#include "varnindex/observe/walk.h"

#include <dirent.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>

#include "varn/path.h"
#include "varn/text.h"
#include "varnindex/descriptor.h"
#include "varnindex/observe/file_names.h"

namespace varnindex {
namespace {

struct CloseDir {
    void operator()(DIR *dir) const { ::closedir(dir); }
};
using DirPtr = std::unique_ptr<DIR, CloseDir>;

// Within the years 1 to 9999, as the library can hold it.
std::int64_t Microseconds(const timespec &time) {
    constexpr std::int64_t kYear1 = -62'135'596'800;
    constexpr std::int64_t kYear10000 = 253'402'300'800;
    return std::clamp<std::int64_t>(time.tv_sec, kYear1, kYear10000 - 1) * 1'000'000 +
           time.tv_nsec / 1000;
}

// For file systems that do not tell the type with the name; DT_UNKNOWN where that fails.
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

Found Walk::Entry::At(std::string path) const {
    Found found = Other(kind, std::move(path), error != 0 ? ErrorText(error) : "");
    if (kind == Found::Kind::kRefused) {
        found.reason = LinkedFolders::kReason;
    }
    found.size = size;
    found.modified = modified;
    found.seen = seen;
    return found;
}

std::vector<std::string> OrderedFolders(const std::vector<std::string> &folders) {
    std::set<std::string> ordered;  // each with "/" at its end, as the walk orders them
    for (const std::string &folder : folders) {
        ordered.insert((std::filesystem::absolute(folder) / "").lexically_normal());
    }
    std::vector<std::string> result;
    for (const std::string &path : ordered) {
        const std::string folder = NameOfFolder(path);
        if (result.empty() || !varn::PathBelow(result.back(), folder)) {
            result.push_back(folder);
        }
    }
    return result;
}

Walk::Walk(std::vector<std::string> folders, NameFilter wanted, LinkedFolders &library,
           StopQuestion isStopped)
    : folders_(std::move(folders)), wanted_(wanted), library_(library), isStopped_(isStopped) {
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
            const Entry entry = std::move(levels_.back().entries.back());
            levels_.back().entries.pop_back();
            found = Take(entry);
        }
        if (found) {
            return found;
        }
    }
}

std::optional<Found> Walk::EnterRoot(const std::string &path) {
    if (!varn::IsUtf8(path)) {
        return Other(Found::Kind::kBlocked, path, "the name is not UTF-8");
    }
    const std::string folder = NameOfFolder(path);
    const std::string *const root = library_.RootOf(folder);
    if (root != nullptr && !PassedOverPart(*root, folder).empty()) {
        return std::nullopt;
    }
    return Enter(path, library_.WayTo(folder));
}

// The folders above were asked on the way down; the walk of a part begins below them.
bool Walk::IsWithoutMusic(const std::string &folder) const {
    return withoutMusic_.contains(folder) ||
           (levels_.empty() &&
            std::any_of(withoutMusic_.begin(), withoutMusic_.end(),
                        [&](const std::string &above) { return varn::PathBelow(above, folder); }));
}

// Goes down into a folder. A folder that cannot be read to its end is not entered at all: half of
// its entries would look as if the others had been deleted.
std::optional<Found> Walk::Enter(const std::string &path, const Way &way) {
    if (!way.goesOn) {
        return std::nullopt;
    }
    const DirPtr dir(::opendir(path.c_str()));
    struct stat info {};
    if (!dir || ::fstat(::dirfd(dir.get()), &info) != 0) {
        return Other(Found::Kind::kBlocked, path, ErrorText(errno));
    }
    const std::string folder = NameOfFolder(path);
    Level level{path, way};
    // Of each folder anew: a link may have come in its place, or on the way to it.
    level.requiredOwner = library_.RequiredOwner(folder, ::dirfd(dir.get()));
    level.homeOwner = library_.OwnerOfHome(folder);
    if (level.requiredOwner != 0 && level.requiredOwner != info.st_uid) {
        return Other(Found::Kind::kRefused, path, LinkedFolders::kReason);
    }
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
    if (!hasNames) {
        return Other(Found::Kind::kEmpty, path, "the folder is empty");
    }
    if (IsWithoutMusic(folder)) {
        return Other(Found::Kind::kEmpty, path, "none of its files is there");
    }
    level.entries.shrink_to_fit();
    std::sort(level.entries.begin(), level.entries.end(),
              [](const Entry &a, const Entry &b) { return a.name > b.name; });
    level.sheets = SheetsAmong(level.entries, path);
    levels_.push_back(std::move(level));
    return std::nullopt;
}

// The entries stand in reverse order.
std::shared_ptr<FolderSheets> Walk::SheetsAmong(const std::vector<Entry> &entries,
                                                const std::string &folder) {
    std::vector<Found> sheets;
    std::vector<std::string> songs;
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        if (entry->isFolder || !varn::IsUtf8(entry->name)) {
            continue;
        }
        if (IsSheetName(entry->name)) {
            sheets.push_back(entry->At(entry->name));
        } else if (entry->kind == Found::Kind::kFile && IsMusicName(entry->name)) {
            songs.push_back(entry->name);
        }
    }
    return sheets.empty()
               ? nullptr
               : std::make_shared<FolderSheets>(folder, std::move(sheets), std::move(songs));
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
    requiredOwner = library_.RequiredOwner(level.path + name, target.Get());
    return true;
}

void Walk::AddEntry(int folder, const char *name, unsigned char type, Level &level) const {
    const bool wanted = wanted_(name);
    if (type == DT_UNKNOWN) {
        type = TypeOf(folder, name);
    }
    const auto add = [&](std::string as, Found::Kind kind, int error) {
        Entry &entry = level.entries.emplace_back();
        entry.name = std::move(as);
        entry.kind = kind;
        entry.error = error;
        return &entry;
    };
    const auto addFolder = [&] {
        Entry *const entry = add(std::string(name) + "/", Found::Kind::kFile, 0);
        entry->isFolder = true;
        entry->isLink = type == DT_LNK;
    };
    if (type == DT_DIR) {
        addFolder();
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
        // It may have been a file or a folder. The two stand at different places of the order; one
        // of them is enough to be told.
        add(name, LeadsNowhere(error) ? Found::Kind::kAbsent : Found::Kind::kBlocked, error);
        add(std::string(name) + "/", Found::Kind::kAbsent, error);
    } else if (S_ISDIR(info.st_mode)) {
        addFolder();
    } else if (S_ISREG(info.st_mode) && wanted) {
        const bool isForeign = owner != 0 && owner != info.st_uid;
        Entry *const entry = add(name, isForeign ? Found::Kind::kRefused : Found::Kind::kFile, 0);
        entry->size = info.st_size;
        entry->modified = Microseconds(info.st_mtim);
        entry->seen = {info.st_dev, info.st_ino, level.homeOwner};
    }
}

std::optional<Found> Walk::Take(const Entry &entry) {
    const Level &level = levels_.back();
    std::string path = level.path + entry.name;
    if (!varn::IsUtf8(entry.name)) {
        return Other(Found::Kind::kRefused, std::move(path), "the name is not UTF-8");
    }
    if (path.size() >= PATH_MAX) {
        return Other(Found::Kind::kRefused, std::move(path), "the path is too long");
    }
    if (entry.isFolder) {
        return Enter(path, library_.Step(level.way, NameOfFolder(path), entry.isLink));
    }
    Found found = entry.At(std::move(path));
    found.sheets = level.sheets;
    found.hasAttributes = level.hasAttributes;
    return found;
}

}  // namespace varnindex
