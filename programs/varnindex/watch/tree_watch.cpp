#include "varnindex/watch/tree_watch.h"

#include <sys/inotify.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <utility>

#include "varn/path.h"
#include "varnindex/observe/file_names.h"

namespace varnindex {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kFolderMask = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM |
                                      IN_MOVED_TO | IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;

// True when a new name is a file that is whole already: a link, symbolic or hard. Anything else is
// told again when its writer closes it.
bool IsNewLink(const std::string &path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 &&
           (S_ISLNK(info.st_mode) || (S_ISREG(info.st_mode) && info.st_nlink > 1));
}

bool IsFolder(const std::string &path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

}  // namespace

TreeWatch::TreeWatch(StopQuestion isStopped)
    : isStopped_(isStopped), inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!inotify_) {
        throw SystemError("the system gives no means to watch (fs.inotify.max_user_instances)");
    }
}

// True when the folder at a path is the one that is watched.
bool TreeWatch::IsWatched(const std::string &path) const {
    const auto known = watches_.find(path);
    struct stat info {};
    return known != watches_.end() && known->second.watch >= 0 &&
           ::stat(path.c_str(), &info) == 0 && known->second.device == info.st_dev &&
           known->second.inode == info.st_ino;
}

std::vector<std::string> TreeWatch::SetRoots(const std::vector<std::string> &roots) {
    library_.emplace(roots);
    for (const std::string &root : std::exchange(roots_, roots)) {
        if (std::find(roots.begin(), roots.end(), root) == roots.end()) {
            RemoveTree(root);
        }
    }
    std::vector<std::string> changed;
    for (const std::string &root : roots) {
        if (!IsWatched(root)) {
            RemoveTree(root);
            AddTree(root);
            if (IsWatched(root) || unwatched_.contains(root)) {
                changed.push_back(root);
            }
        }
    }
    return changed;
}

void TreeWatch::AddTree(const std::string &path) {
    AddTree(path, library_->WayTo(path));
}

void TreeWatch::AddTree(const std::string &path, const Way &way) {
    // Watched first and listed then, so that nothing made in between is missed.
    if (!way.goesOn || path.size() >= PATH_MAX || (isStopped_ != nullptr && isStopped_()) ||
        !AddFolder(path)) {
        return;
    }
    std::error_code error;
    for (fs::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
        std::error_code gone;
        if (!IsPassedOver(at->path().filename().native()) && at->is_directory(gone)) {
            const std::string &below = at->path().native();
            AddTree(below, library_->Step(way, below, at->is_symlink(gone)));
        }
    }
}

// False when nothing below the folder is to be watched either.
bool TreeWatch::AddFolder(const std::string &path) {
    const int watch = ::inotify_add_watch(inotify_.Get(), path.c_str(), kFolderMask);
    struct stat info {};
    if (watch < 0 || ::stat(path.c_str(), &info) != 0) {
        // An unreadable folder tells by its attributes when it becomes readable; its parent sees
        // it.
        if (errno == ENOSPC || errno == ENOMEM) {
            unwatched_.insert(path);
        }
        return false;
    }
    paths_[watch].insert(path);
    watches_[path] = {watch, info.st_dev, info.st_ino};
    return true;
}

void TreeWatch::RemoveTree(const std::string &path) {
    const auto isIn = [&](const std::string &folder) {
        return varn::PathBelow(path, folder).has_value();
    };
    for (auto at = watches_.lower_bound(path);
         at != watches_.end() && at->first.starts_with(path);) {
        if (!isIn(at->first)) {
            ++at;
            continue;
        }
        const int watch = at->second.watch;
        if (const auto paths = paths_.find(watch); paths != paths_.end()) {
            paths->second.erase(at->first);
            if (paths->second.empty()) {
                paths_.erase(paths);
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
                at->second.watch = -1;
            }
        }
    }
}

void TreeWatch::CheckMounts(std::set<std::string> &changed) {
    std::vector<std::string> others;
    for (const auto &[path, watched] : watches_) {
        if ((others.empty() || !varn::PathBelow(others.back(), path)) && !IsWatched(path)) {
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

void TreeWatch::Handle(const inotify_event &event, std::string_view name,
                       std::set<std::string> &changed) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        // Nobody knows what the lost events were about: new folders may be among them.
        for (const std::string &root : roots_) {
            RemoveTree(root);
            AddTree(root);
            changed.insert(root);
        }
        return;
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
    } else if (IsIndexedName(name) && ((mask & IN_CREATE) == 0 || IsNewLink(path))) {
        changed.insert(path);
    }
}

}  // namespace varnindex
