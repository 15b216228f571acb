#include "varnindex/observe/home_links.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "varn/account.h"
#include "varn/descriptor.h"
#include "varn/path.h"

namespace varnindex {
namespace {

namespace fs = std::filesystem;

bool IsBelowAny(const std::vector<std::string> &places, const std::string &path) {
    return std::any_of(places.begin(), places.end(), [&](const std::string &place) {
        return varn::PathBelow(place, path).has_value();
    });
}

}  // namespace

// The way to the home is the administrator's; its last part, the folder for music, the user's.
const HomeLinks::Home &HomeLinks::HomeOf(const OwnedFolder &folder) {
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

unsigned HomeLinks::RequiredOwner(const std::string &path, int descriptor) {
    const OwnedFolder *const folder = folders_.Of(path);
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

}  // namespace varnindex
