#include "varnindex/watch/tree_watch.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "varnindex/observe/file_names.h"

namespace varnindex {
namespace {

constexpr std::uint32_t kFolderMask = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM |
                                      IN_MOVED_TO | IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;

struct CloseDir {
    void operator()(DIR *dir) const { ::closedir(dir); }
};

// The names of the folders in a folder, links to folders included.
std::vector<std::string> Subfolders(const std::string &path) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, CloseDir> dir(::opendir(path.c_str()));
    while (const dirent *const entry = dir ? ::readdir(dir.get()) : nullptr) {
        struct stat info {};
        const auto type = entry->d_type;
        const bool isFolder =
            type == DT_DIR ||
            ((type == DT_LNK || type == DT_UNKNOWN) &&
             ::fstatat(::dirfd(dir.get()), entry->d_name, &info, 0) == 0 && S_ISDIR(info.st_mode));
        if (isFolder && !IsPassedOver(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    // The walk takes the first of several links.
    std::sort(names.begin(), names.end(),
              [](const std::string &a, const std::string &b) { return a + "/" < b + "/"; });
    return names;
}

// True when a new name is a file that is whole already: a link, symbolic or hard. Anything else is
// told again when its writer closes it.
bool IsNewLink(const std::string &path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 &&
           (S_ISLNK(info.st_mode) || (S_ISREG(info.st_mode) && info.st_nlink > 1));
}

bool IsFolder(const std::string &path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

TreeWatch::TreeWatch(NameFilter wanted, bool (*isStopped)())
    : wanted_(wanted), isStopped_(isStopped), inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!inotify_) {
        throw SystemError("the system gives no means to watch (fs.inotify.max_user_instances)");
    }
}

TreeWatch::Identity TreeWatch::IdentityOf(const std::string &path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? Identity{info.st_dev, info.st_ino} : Identity();
}

std::vector<std::string> TreeWatch::SetRoots(const std::vector<std::string> &roots) {
    std::vector<std::string> gone;
    for (const auto &[root, identity] : roots_) {
        if (std::find(roots.begin(), roots.end(), root) == roots.end()) {
            gone.push_back(root);
        }
    }
    for (const std::string &root : gone) {
        RemoveTree(root);
        roots_.erase(root);
    }
    std::vector<std::string> changed;
    for (const std::string &root : roots) {
        const Identity now = IdentityOf(root);
        const auto known = roots_.find(root);
        if (known != roots_.end() && known->second == now) {
            continue;
        }
        RemoveTree(root);
        roots_[root] = now;
        AddTree(root);
        if (now != Identity()) {
            changed.push_back(root);
        }
    }
    return changed;
}

bool TreeWatch::AddFile(const std::string &path) {
    const std::string folder = std::filesystem::path(path).parent_path();
    const int watch = ::inotify_add_watch(
        inotify_.Get(), folder.c_str(),
        IN_CLOSE_WRITE | IN_MODIFY | IN_MOVED_TO | IN_DELETE | IN_ONLYDIR | IN_MASK_ADD);
    if (watch < 0) {
        return false;
    }
    fileFolders_[watch] = folder;
    files_.insert(path);
    return true;
}

void TreeWatch::AddTree(const std::string &path) {
    std::vector<Identity> onTheWay;
    // A folder that is reached through a link may hold one of the folders above it.
    for (const auto &[root, identity] : roots_) {
        for (std::size_t end = root.size(); IsBelow(root, path) && end < path.size();
             end = std::min(path.find('/', end + 1), path.size())) {
            onTheWay.push_back(IdentityOf(path.substr(0, end)));
        }
    }
    AddTree(path, Reached::kDirectly, onTheWay);
}

void TreeWatch::AddTree(const std::string &path, Reached reached, std::vector<Identity> &onTheWay) {
    if (isStopped_ != nullptr && isStopped_()) {
        return;
    }
    const Identity identity = IdentityOf(path);
    if (path.size() >= PATH_MAX || identity == Identity() ||
        std::find(onTheWay.begin(), onTheWay.end(), identity) != onTheWay.end()) {
        return;
    }
    // Watched first and listed then, so that nothing made in between is missed.
    if (!AddFolder(path, reached, identity)) {
        return;
    }
    onTheWay.push_back(identity);
    for (const std::string &name : Subfolders(path)) {
        const std::string below = path + "/" + name;
        std::error_code gone;
        const bool isLink = std::filesystem::is_symlink(below, gone);
        AddTree(below, isLink ? Reached::kThroughLink : Reached::kDirectly, onTheWay);
    }
    onTheWay.pop_back();
}

// False when there is nothing to look for below the folder, either. A link to a folder that is
// watched already adds nothing: folders that link to each other have no end of paths.
bool TreeWatch::AddFolder(const std::string &path, Reached reached, const Identity &identity) {
    // Added to what a file of this folder is watched for.
    const int watch = ::inotify_add_watch(inotify_.Get(), path.c_str(), kFolderMask | IN_MASK_ADD);
    if (watch < 0) {
        // An unreadable folder tells by its attributes when it becomes readable; its parent sees
        // it.
        if (errno == ENOSPC || errno == ENOMEM) {
            unwatched_.insert(path);
        }
        return false;
    }
    std::set<std::string> &paths = paths_[watch];
    if (reached == Reached::kThroughLink && !paths.empty() && !paths.contains(path)) {
        return false;
    }
    paths.insert(path);
    watches_[path] = {watch, identity};
    return true;
}

void TreeWatch::RemoveTree(const std::string &path) {
    const auto isIn = [&](const std::string &folder) { return IsBelow(path, folder); };
    for (auto at = watches_.lower_bound(path);
         at != watches_.end() && at->first.starts_with(path);) {
        if (!isIn(at->first)) {
            ++at;
            continue;
        }
        const int watch = at->second.watch;
        auto &paths = paths_[watch];
        paths.erase(at->first);
        if (paths.empty()) {
            paths_.erase(watch);
            if (!fileFolders_.contains(watch)) {
                ::inotify_rm_watch(inotify_.Get(), watch);
            }
        }
        at = watches_.erase(at);
    }
    std::erase_if(unwatched_, isIn);
}

// The system has ended a watch: its folder is gone, or what it was on was unmounted. The paths
// stay, for CheckMounts or until their folder tells that they are gone.
void TreeWatch::Forget(int watch) {
    if (const auto ended = paths_.extract(watch)) {
        for (const std::string &path : ended.mapped()) {
            if (const auto at = watches_.find(path);
                at != watches_.end() && at->second.watch == watch) {
                at->second.identity = Identity();
            }
            if (const auto root = roots_.find(path); root != roots_.end()) {
                root->second = Identity();
            }
        }
    }
    fileFolders_.erase(watch);
}

void TreeWatch::CheckMounts(std::set<std::string> &changed) {
    std::vector<std::string> others;
    for (const auto &[path, watched] : watches_) {
        const bool isBelowOne = !others.empty() && IsBelow(others.back(), path);
        if (!isBelowOne && !roots_.contains(path) && IdentityOf(path) != watched.identity) {
            others.push_back(path);
        }
    }
    for (const std::string &path : others) {
        RemoveTree(path);
        AddTree(path);
        changed.insert(path);
    }
}

void TreeWatch::RetryUnwatched() {
    for (const std::string &path : std::exchange(unwatched_, {})) {
        AddTree(path);
    }
}

void TreeWatch::Read(std::set<std::string> &changed) {
    alignas(inotify_event) std::array<char, 65536> block;
    for (;;) {
        const ssize_t got = ::read(inotify_.Get(), block.data(), block.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return;
        }
        for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
            inotify_event event{};
            std::memcpy(&event, block.data() + at, sizeof event);
            const char *const name = block.data() + at + sizeof event;
            Handle(event, {name, event.len > 0 ? ::strnlen(name, event.len) : 0}, changed);
            at += sizeof event + event.len;
        }
    }
}

// Nobody knows what the lost events were about: new folders may be among them.
void TreeWatch::RebuildAfterOverflow(std::set<std::string> &changed) {
    for (auto &[root, identity] : roots_) {
        RemoveTree(root);
        identity = IdentityOf(root);
    }
    for (const auto &[root, identity] : roots_) {
        AddTree(root);
        changed.insert(root);
    }
    changed.insert(files_.begin(), files_.end());
}

void TreeWatch::Handle(const inotify_event &event, std::string_view name,
                       std::set<std::string> &changed) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        RebuildAfterOverflow(changed);
        return;
    }
    if (const auto folder = fileFolders_.find(event.wd);
        folder != fileFolders_.end() && !name.empty()) {
        const std::string path = folder->second + "/" + std::string(name);
        if (files_.contains(path)) {
            changed.insert(path);
        }
    }
    if (const auto found = paths_.find(event.wd); found != paths_.end() && !name.empty()) {
        // Copied: handling a new folder changes the map.
        for (const std::string &folder : std::set(found->second)) {
            HandleIn(folder, name, event.mask, changed);
        }
    }
    if ((event.mask & IN_IGNORED) != 0) {
        Forget(event.wd);
    }
}

void TreeWatch::HandleIn(const std::string &folder, std::string_view name, std::uint32_t mask,
                         std::set<std::string> &changed) {
    const std::string path = folder + "/" + std::string(name);
    if (IsPassedOver(name)) {
        return;
    }
    const bool appeared = (mask & (IN_CREATE | IN_MOVED_TO)) != 0;
    const bool gone = (mask & (IN_DELETE | IN_MOVED_FROM)) != 0;
    const bool wasFolder = watches_.contains(path) || unwatched_.contains(path);
    const bool isFolder = (mask & IN_ISDIR) != 0 || (appeared && IsFolder(path));
    if (gone && (wasFolder || isFolder)) {
        RemoveTree(path);
        changed.insert(path);
    } else if (isFolder) {
        // Attributes of a folder matter only when they open one that could not be watched.
        if (appeared || !wasFolder) {
            AddTree(path);
            changed.insert(path);
        }
    } else if (wanted_(name) && ((mask & IN_CREATE) == 0 || IsNewLink(path))) {
        changed.insert(path);
    }
}

}  // namespace varnindex
