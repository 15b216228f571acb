// The folders that are indexed, and whose their songs are.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace varnindex {

// The owner of a home without an account: its music is nobody's, and must not become everybody's. A
// number that the library's columns can hold.
inline constexpr unsigned kNobody = std::numeric_limits<std::int32_t>::max();

struct OwnedFolder {
    std::string path;     // absolute
    unsigned userid = 0;  // 0: shared
};

// The folders that a scan looks at and the owner of every path. Paths are kept as they are
// configured, but absolute, without "." and "..", double slashes and a slash at the end.
class Folders {
  public:
    // `shared` and `homes` are all that is configured; `unseen` the users whose homes cannot be
    // looked at now.
    Folders(const std::vector<std::string> &shared, std::vector<OwnedFolder> homes,
            std::vector<unsigned> unseen);

    // The shared folders and, where personal libraries are enabled, each account's home music
    // folder; within a shared folder also those of accounts that are not listed, and kNobody's.
    static Folders Configured();

    // The accounts of a directory service are found one by one, but need not be listed: of these
    // users, owners of rows, those that have an account and no folder here are unseen. Does nothing
    // while homes are switched off.
    void AddUnlisted(const std::vector<unsigned> &owners);

    // True when homes are switched on.
    bool HasHomes() const { return hasHomes_; }

    bool Empty() const { return folders_.empty(); }
    const std::vector<OwnedFolder> &All() const { return folders_; }

    // Every folder once, in byte order, those within another one left out: the roots of a walk.
    std::vector<std::string> Roots() const;

    // The innermost configured folder that is `path` or lies above it; null when there is none.
    const OwnedFolder *Of(const std::string &path) const;

    // Whose a path is; what lies in no configured folder is shared.
    unsigned OwnerOf(const std::string &path) const;

    // True when an owner's rows have to stay because nobody knows where they belong: the home is
    // not there, the accounts cannot be listed, or the list of shared folders is empty, which is
    // more likely a lost configuration than the wish for an empty library.
    bool IsUnseen(unsigned userid) const;

    // The same as a condition of SQL on the column "userid".
    std::string UnseenCondition() const;

  private:
    std::vector<OwnedFolder> folders_;  // by path
    std::vector<unsigned> unseen_;
    bool sharedUnknown_ = false;
    bool accountsUnknown_ = false;
    bool hasHomes_ = false;
};

// What to walk for a list of files and folders, which need not exist any more: each existing folder
// itself, and for anything else the nearest folder above it that exists, but none above the
// configured folder that it lies in. What lies in no configured folder is left out: somebody's home
// may have been configured when its change was told, and its songs must not become everybody's.
std::vector<std::string> FoldersToWalk(const Folders &folders,
                                       const std::vector<std::string> &paths);

}  // namespace varnindex
