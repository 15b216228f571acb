#include "varnindex/observe/links.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "varn/account.h"
#include "varn/descriptor.h"
#include "varn/path.h"
#include "varnindex/observe/file_names.h"

namespace varnindex {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 2;  // folders outside that link to each other have no end of paths

bool IsBelowAny(const std::vector<std::string> &places, const std::string &path) {
    return std::any_of(places.begin(), places.end(), [&](const std::string &place) {
        return varn::PathBelow(place, path).has_value();
    });
}

bool IsLinkToFolder(const std::string &path) {
    std::error_code error;
    return fs::is_symlink(path, error) && fs::is_directory(path, error);
}

}  // namespace

LinkedFolders::LinkedFolders(const std::vector<std::string> &roots) : roots_(roots) {
    for (const std::string &root : roots) {
        if (const std::string real = varn::RealPath(root); !real.empty()) {
            realRoots_.push_back(real);
        }
    }
}

const std::string *LinkedFolders::RootOf(const std::string &path) const {
    const auto root = std::find_if(roots_.begin(), roots_.end(), [&](const std::string &folder) {
        return varn::PathBelow(folder, path);
    });
    return root != roots_.end() ? &*root : nullptr;
}

// True where a walk comes without links.
bool LinkedFolders::IsWalked(const std::string &real) const {
    return std::any_of(realRoots_.begin(), realRoots_.end(), [&](const std::string &root) {
        return varn::PathBelow(root, real) && PassedOverPart(root, real).empty();
    });
}

Way LinkedFolders::Step(const Way &above, const std::string &folder, bool isLink) const {
    Way way = above;
    if (isLink) {
        ++way.links;
        way.real = varn::RealPath(folder);
        way.goesOn = way.links <= kMostLinks &&
                     !varn::PathBelow(way.real, varn::RealPath(varn::FolderOf(folder)));
    } else if (way.links > 0) {
        way.real += "/" + NameOf(folder);
    }
    way.goesOn = way.goesOn && (way.links == 0 || !IsWalked(way.real));
    return way;
}

Way LinkedFolders::WayTo(const std::string &path) const {
    Way way;
    const std::string *const root = RootOf(path);
    std::size_t length = root == nullptr ? path.size() : *root == "/" ? 0 : root->size();
    while (length < path.size() && way.goesOn) {
        length = std::min(path.find('/', length + 1), path.size());
        const std::string part = path.substr(0, length);
        way = Step(way, part, IsLinkToFolder(part));
    }
    return way;
}

// The way to the home is the administrator's; its last part, the folder for music, the user's.
const LinkedFolders::Home &LinkedFolders::HomeOf(const OwnedFolder &folder) {
    const auto [place, isNew] = homes_.try_emplace(folder.path);
    Home &home = place->second;
    if (!isNew) {
        return home;
    }
    const fs::path path = folder.path;
    home.places.push_back(fs::path(varn::RealPath(path.parent_path())) / path.filename());
    const std::string real = varn::RealPath(path);
    struct stat info {};
    if (real.empty() || ::stat(real.c_str(), &info) != 0) {
        return home;  // nothing is there
    }
    home.isForeign = !IsBelowAny(home.places, real) && info.st_uid != folder.userid;
    home.places.push_back(real);
    return home;
}

unsigned LinkedFolders::RequiredOwner(const std::string &path, int descriptor) {
    const OwnedFolder *const folder = folders_ != nullptr ? folders_->Of(path) : nullptr;
    if (folder == nullptr || folder->userid == 0) {
        return 0;
    }
    const Home &home = HomeOf(*folder);
    const std::string real = descriptor < 0 ? varn::RealPath(path) : varn::PathOfOpen(descriptor);
    if (home.isForeign || real.empty()) {  // it has changed since it was found
        return varn::kNoUser;
    }
    return IsBelowAny(home.places, real) ? 0 : folder->userid;
}

bool LinkedFolders::IsThere(const std::string &path) {
    struct stat info {};
    const std::string *const root = RootOf(path);
    const unsigned owner = RequiredOwner(path, -1);
    return root != nullptr && ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           (owner == 0 || owner == info.st_uid) && IsIndexedName(NameOf(path)) &&
           PassedOverPart(*root, path).empty() && WayTo(varn::FolderOf(path)).goesOn;
}

}  // namespace varnindex
