// Watches whole trees of folders through inotify(7), and tells which paths changed.
#pragma once

#include <set>
#include <string_view>

#include "varnindex/descriptor.h"
#include "varnindex/observe/links.h"
#include "varnindex/stop.h"

struct inotify_event;

namespace varnindex {

class TreeWatch {
  public:
    // `isStopped` is asked at every folder: nothing more is watched when it says so. Throws
    // std::system_error when the system gives no inotify instance.
    explicit TreeWatch(StopQuestion isStopped = nullptr);

    // To poll for reading.
    int Get() const { return inotify_.Get(); }

    // Watches these trees and no others; links to folders are followed as the walk follows them.
    // Returns the roots that are new, or whose folder is another one than before: a disk that was
    // mounted for example.
    std::vector<std::string> SetRoots(const std::vector<std::string> &roots);

    // Watches the folders that are others than before, because a disk was mounted or unmounted
    // there, and adds their paths to what changed. The system tells nothing of these: to be called
    // when its table of mounts has changed.
    void CheckMounts(std::set<std::string> &changed);

    // Reads the events that have arrived and adds the changed paths: a file of music or a list, or
    // a folder whose whole content may have changed.
    void Read(std::set<std::string> &changed);

    // The outermost folders that could not be watched because the system allows no more watches.
    const std::set<std::string> &Unwatched() const { return unwatched_; }

    // Tries again to watch those.
    void RetryUnwatched();

  private:
    struct Watched {
        int watch = -1;  // -1: its folder has gone
        dev_t device = 0;
        ino_t inode = 0;
    };

    bool IsWatched(const std::string &path) const;
    void AddTree(const std::string &path);
    void AddTree(const std::string &path, const Way &way);
    bool AddFolder(const std::string &path);
    void RemoveTree(const std::string &path);
    void Forget(int watch);
    void Handle(const inotify_event &event, std::string_view name, std::set<std::string> &changed);
    void HandleIn(const std::string &folder, std::string_view name, std::uint32_t mask,
                  std::set<std::string> &changed);

    StopQuestion isStopped_;
    Descriptor inotify_;
    std::vector<std::string> roots_;
    std::optional<LinkedFolders> library_;  // of these roots
    // One folder has one watch, through however many links it is reached.
    std::map<int, std::set<std::string>> paths_;
    std::map<std::string, Watched> watches_;
    std::set<std::string> unwatched_;
};

}  // namespace varnindex
