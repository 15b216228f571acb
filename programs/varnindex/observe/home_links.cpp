#include "varnindex/observe/home_links.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "varnindex/observe/file_names.h"

namespace varnindex {
namespace {

namespace fs = std::filesystem;

bool IsBelowAny(const std::vector<std::string> &places, const std::string &path) {
    return std::any_of(places.begin(), places.end(),
                       [&](const std::string &place) { return IsBelow(place, path); });
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
    std::error_code error;
    home.places.push_back((fs::canonical(path.parent_path(), error) / path.filename()).string());
    const std::string real = fs::canonical(path, error).string();
    struct stat info {};
    if (error || ::stat(real.c_str(), &info) != 0) {
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
    if (home.isForeign) {
        return kNobody;
    }
    std::error_code error;
    const std::string real =
        (descriptor < 0 ? fs::canonical(path, error)
                        : fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error))
            .string();
    if (error) {
        return kNobody;  // it has changed since it was found
    }
    return IsBelowAny(home.places, real) ? 0 : folder->userid;
}

}  // namespace varnindex
