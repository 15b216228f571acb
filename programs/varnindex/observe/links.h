// Which links to folders are followed. A folder is in the library once, whatever links lead to it:
// at its own place, where it has one below the indexed folders, else at the first link.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "varnindex/observe/folders.h"
#include "varnindex/observe/home_links.h"
#include "varnindex/stop.h"

namespace varnindex {

// What a walk of all folders has made of the links. No path has a slash at its end.
struct LinkChoices {
    std::map<std::string, std::string> taken;  // where they lead
    std::set<std::string> leftOut;             // links, and folders reached by links
};

// Where the indexed folders really are.
class RealRoots {
  public:
    // `roots` as OrderedFolders gives them. Those that are missing hold nothing.
    explicit RealRoots(const std::vector<std::string> &roots);

    // The path below a root for a real path that a walk reaches without links; none where it does
    // not.
    std::optional<std::string> DirectPath(const std::string &real) const;

    bool IsRoot(dev_t device, ino_t inode) const { return identities_.contains({device, inode}); }

  private:
    std::map<std::string, std::string> roots_;  // by their real paths
    std::set<std::pair<dev_t, ino_t>> identities_;
};

// The library's links for walks of parts of it, which choose as a walk of all folders does. Nothing
// is looked at before somebody asks about a link.
class LinkedFolders {
  public:
    // Calls that look at folders throw Stopped when `isStopped` says so.
    explicit LinkedFolders(std::vector<std::string> roots, StopQuestion isStopped = nullptr)
        : roots_(std::move(roots)), isStopped_(isStopped) {}

    // The same of all folders, with what links in homes may lead to; `folders` outlives it.
    explicit LinkedFolders(const Folders &folders, StopQuestion isStopped = nullptr)
        : roots_(folders.Roots()), isStopped_(isStopped), homes_(folders) {}

    // The root that a path lies in; none outside.
    const std::string *RootOf(const std::string &path) const;

    // True when a link to a folder stands in the path, below its root.
    bool IsBehindLink(const std::string &path);

    // True when the walk of all folders does not go down into this folder, or one above it, which
    // is a link or below one.
    bool LeavesOut(const std::string &folder);

    // Where the library has what a path through a link leads to; none when that is the path itself,
    // or nowhere.
    std::optional<std::string> LibraryPath(const std::string &path);

    // True when a walk of all folders comes to a file of that path now, music or a list.
    bool IsThere(const std::string &path);

  private:
    const LinkChoices &Choices();
    bool IsLink(const std::string &path);
    std::optional<std::string> Elsewhere(const std::string &real);

    std::vector<std::string> roots_;
    StopQuestion isStopped_;
    std::optional<HomeLinks> homes_;
    std::optional<LinkChoices> choices_;
    std::unordered_map<std::string, bool> isLink_;
};

}  // namespace varnindex
