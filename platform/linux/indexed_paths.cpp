#include "linux/indexed_paths.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include "linux/memory.h"
#include "varn/account.h"
#include "varn/database.h"
#include "varn/descriptor.h"
#include "varn/host.h"
#include "varn/path.h"
#include "varn/share.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace varn::playlist {

namespace {

constexpr std::size_t kMostFolders = 100000;  // of a list that names no two in the same one

// Where a playlist really is. One that is not there is where its folder is.
std::string RealFolderOf(const std::string &list) {
    const std::string open = PathOfDescriptor(list);
    const std::string real = open.empty() ? RealPath(list) : open;
    if (!real.empty()) {
        return FolderOf(real);
    }
    const std::string folder = FolderOf(list);
    const std::string realFolder = RealPath(folder);
    return realFolder.empty() ? folder : realFolder;
}

std::string NameOf(const std::string &list) {
    const std::string open = PathOfDescriptor(list);
    const std::string path = open.empty() ? list : open;
    return path.substr(path.rfind('/') + 1);
}

// The folder of the library's playlist of this name that is really this one; "" without one, or
// where the library does not answer.
std::string FolderInLibrary(const std::string &realFolder, const std::string &name) {
    const auto sql =
        Sql("SELECT path FROM playlist WHERE path LIKE '%%/@VARN:LVAR' UNION ALL "
            "SELECT path FROM personal_playlist WHERE path LIKE '%%/@VARN:LVAR'",
            name, name);
    const Connection connection = sql ? ConnectLibrary() : nullptr;
    const auto rows = connection ? Execute(connection.get(), *sql) : std::nullopt;
    if (!rows) {
        return "";
    }
    for (const Row row : *rows) {
        const std::string folder = FolderOf(row.Text("path"));
        if (RealPath(folder) == realFolder) {
            return folder;
        }
    }
    return "";
}

// The music of the homes that have some.
std::vector<std::string> MusicOfHomes() {
    std::vector<std::string> folders;
    for (const host::HomeOwner &owner :
         host::HomeOwners().value_or(std::vector<host::HomeOwner>())) {
        const User user = UserByName(owner.name.c_str());
        std::string music = user ? RealPath(user->szHomeDir) + "/music" : "";
        if (!music.empty() && !RealPath(music).empty()) {
            folders.push_back(std::move(music));
        }
    }
    return folders;
}

// What a real path is below a folder of the system.
std::optional<std::string_view> Below(std::string_view folder, const std::string &real) {
    const std::string place = RealPath(SystemPath(folder));
    return place.empty() ? std::nullopt : PathBelow(place, real);
}

// True for folders that are in the library, if at all, by their real paths.
bool IsKnownByItself(const std::string &realFolder) {
    auto rest = Below(path::kHomes, realFolder);
    return Below(path::kPreferences, realFolder) ||
           (rest && !TakeComponent(*rest).empty() && TakeComponent(*rest) == "music");
}

// The music of the user in whose home or preferences a folder is; "" elsewhere. A link in its place
// is not followed: the user can make it lead anywhere.
std::string OwnMusicOf(const std::string &realFolder) {
    auto rest = Below(path::kPreferences, realFolder);
    rest = rest ? rest : Below(path::kHomes, realFolder);
    const std::string name(rest ? TakeComponent(*rest) : "");
    const User user = name.empty() ? nullptr : UserByName(name.c_str());
    const std::string home = user ? RealPath(user->szHomeDir) : "";
    return home.empty() ? "" : home + "/music";
}

}  // namespace

IndexedPaths::IndexedPaths(const std::string &list)
    : roots_(host::IndexedFolders()), realFolder_(RealFolderOf(list)) {
    for (const std::string &root : roots_) {
        if (std::string real = RealPath(root); !real.empty()) {
            places_.push_back({std::move(real), root});
        }
    }
    folder_ = NameOfFolder(list);
}

// What is below an indexed folder is in the library there, whatever links lead to it. Of two roots
// that are one folder the one that `preferred` is written with.
std::optional<std::string> IndexedPaths::InRoot(std::string_view real,
                                                std::string_view preferred) const {
    std::optional<std::string> found;
    for (const auto &[place, indexed] : places_) {
        const auto rest = PathBelow(place, real);
        if (!rest) {
            continue;
        }
        std::string path = indexed + std::string(*rest);
        if (path == preferred) {
            return path;
        }
        if (!found) {
            found = std::move(path);
        }
    }
    return found;
}

std::string IndexedPaths::NameOfFolder(const std::string &list) {
    if (auto inRoot = InRoot(realFolder_, FolderOf(list))) {
        return *std::move(inRoot);
    }
    if (IsKnownByItself(realFolder_)) {
        return realFolder_;
    }
    const std::vector<std::string> homes = MusicOfHomes();
    for (const std::string &music : homes) {
        if (const std::string real = RealPath(music); PathBelow(real, realFolder_)) {
            places_.push_back({real, music});
            return *InRoot(realFolder_, "");
        }
    }
    // A link to the folder that the library knows is in one of these.
    if (places_.empty() && homes.empty()) {
        return realFolder_;
    }
    Place link = {realFolder_, FolderInLibrary(realFolder_, NameOf(list))};
    if (link.indexed.empty() || link.indexed == link.real) {
        return realFolder_;
    }
    const std::string folder = link.indexed;
    // The link itself may stand above the folder.
    for (std::string above = FolderOf(link.indexed);
         above != "/" && RealPath(above) == FolderOf(link.real); above = FolderOf(above)) {
        link = {FolderOf(link.real), above};
    }
    places_.push_back(std::move(link));
    return folder;
}

std::vector<std::string> IndexedPaths::Music() const {
    std::vector<std::string> music;
    for (const std::string &root : roots_) {
        music.push_back(RealPath(root));
    }
    music.push_back(OwnMusicOf(realFolder_));
    return music;
}

const std::string &IndexedPaths::OfFolder(const std::string &folder) {
    if (last_ != nullptr && last_->first == folder) {
        return last_->second;
    }
    if (known_.size() >= kMostFolders) {
        known_.clear();
    }
    const auto [place, isNew] = known_.try_emplace(folder, folder);
    if (isNew) {
        if (auto indexed = InRoot(RealPath(folder), folder)) {
            place->second = *std::move(indexed);
        }
    }
    last_ = &*place;
    return place->second;
}

std::string IndexedPaths::Of(const std::string &path) {
    if (!path.starts_with('/')) {
        return path;  // an address
    }
    const std::size_t slash = path.rfind('/');
    const std::string &folder = OfFolder(slash == 0 ? "/" : path.substr(0, slash));
    return (folder == "/" ? "" : folder) + path.substr(slash);
}

}  // namespace varn::playlist
