// Links in the users' homes: a user who puts links into a folder must not make other users' songs
// his own by that.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "varnindex/observe/folders.h"

namespace varnindex {

class HomeLinks {
  public:
    // `folders` outlives it.
    explicit HomeLinks(const Folders &folders) : folders_(folders) {}

    // The user to whom what is at `path` has to belong for being indexed, in a home and reached by
    // a link that leads out of it: the home's owner, or varn::kNoUser where the home's folder is itself a
    // link to what is not his. 0 anywhere else. With a descriptor of what was found there (or -1) the
    // answer is about that, whatever is put in its place meanwhile.
    unsigned RequiredOwner(const std::string &path, int descriptor);

    // The user in whose home a path is; 0 anywhere else.
    unsigned OwnerOfHome(const std::string &path) const { return folders_.OwnerOf(path); }

    static constexpr const char *kReason =
        "a link leads there, out of the home, and it does not belong to the home's owner";

  private:
    struct Home {
        std::vector<std::string> places;  // where its own files are, without links
        bool isForeign = false;
    };
    const Home &HomeOf(const OwnedFolder &folder);

    const Folders &folders_;
    std::map<std::string, Home> homes_;  // by the configured path
};

}  // namespace varnindex
