// Which links to folders are followed. All that is asked of a link can be seen at the link itself,
// so a walk of a part of the library comes to the same folders as a walk of all of it.
#pragma once

#include <map>

#include "varnindex/observe/folders.h"

namespace varnindex {

// What a path to a folder passes.
struct Way {
    int links = 0;          // to folders
    std::string real = {};  // where the folder is; "" without a link
    bool goesOn = true;     // false: the library does not go down here
};

class LinkedFolders {
  public:
    // `roots` as OrderedFolders gives them.
    explicit LinkedFolders(const std::vector<std::string> &roots);

    // The same of all folders, with what links in homes may lead to; `folders` outlives it.
    explicit LinkedFolders(const Folders &folders) : LinkedFolders(folders.Roots()) {
        folders_ = &folders;
    }

    // The root that a path lies in; null outside.
    const std::string *RootOf(const std::string &path) const;

    // The way to a folder, one step below `above`. A link is not followed into a folder that is
    // indexed at its own place, nor to one above the link, and neither is a third link of a path.
    Way Step(const Way &above, const std::string &folder, bool isLink) const;

    // The way from a root to a path in it; ends at the first folder where it does not go on.
    Way WayTo(const std::string &path) const;

    // True when a walk of all folders comes to a file of that path now, music or a list.
    bool IsThere(const std::string &path);

    // The user to whom what is at `path` has to belong for being indexed, in a home and reached by
    // a link that leads out of it: the home's owner, or varn::kNoUser where the home's folder is
    // itself a link to what is not his. 0 anywhere else. A user who puts links into a folder must
    // not make other users' songs his own by that. With a descriptor of what was found there (or
    // -1) the answer is about that, whatever is put in its place meanwhile.
    unsigned RequiredOwner(const std::string &path, int descriptor);

    // The user in whose home a path is; 0 anywhere else.
    unsigned OwnerOfHome(const std::string &path) const {
        return folders_ != nullptr ? folders_->OwnerOf(path) : 0;
    }

    static constexpr const char *kReason =
        "a link leads there, out of the home, and it does not belong to the home's owner";

  private:
    struct Home {
        std::vector<std::string> places;  // where its own files are, without links
        bool isForeign = false;
    };

    const Home &HomeOf(const OwnedFolder &folder);
    bool IsWalked(const std::string &real) const;

    std::vector<std::string> roots_;
    std::vector<std::string> realRoots_;
    const Folders *folders_ = nullptr;
    std::map<std::string, Home> homes_;  // by the configured path
};

}  // namespace varnindex
