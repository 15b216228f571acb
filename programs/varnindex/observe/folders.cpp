#include "varnindex/observe/folders.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "tonvale/paths.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "varn/host.h"
#include "varn/packageconf.h"
#include "varn/path.h"
#include "varn/systempath.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/observe/walk.h"

namespace varnindex {
namespace {

namespace fs = std::filesystem;

std::string Normal(const std::string &path) {
    const auto ordered = OrderedFolders({path});
    return ordered.front();
}

// The owner of a home music folder that no listed account has.
unsigned OwnerOfUnlisted(const std::string &name, const fs::path &music) {
    const varn::User user = varn::UserByName(name.c_str());
    return user && AudioFile::GetHomeMusicPath(name) == music ? user->uid : kNobody;
}

// A shared folder around all homes does not make everything in them everybody's. The music of an
// account that is found only by its name stays that account's; what an account has left behind is
// nobody's. A home in which something is registered itself is left as it is.
void AddUnlistedHomes(const std::vector<std::string> &shared, std::vector<OwnedFolder> &homes) {
    std::error_code error;
    const fs::path all = fs::canonical(SystemPath(varn::path::kHomes), error);
    const auto isAnyShared = [&](auto is) { return std::any_of(shared.begin(), shared.end(), is); };
    const bool isShared = !error && isAnyShared([&](const std::string &folder) {
        return varn::PathBelow(Normal(folder), all.native()).has_value();
    });
    std::set<std::string> listed;
    for (const OwnedFolder &home : homes) {
        listed.insert(home.path);
    }
    if (!isShared) {
        return;
    }
    for (fs::directory_iterator at(all, error), end; !error && at != end; at.increment(error)) {
        const fs::path music = at->path() / "music";
        const bool isRegistered = isAnyShared([&](const std::string &folder) {
            return varn::PathBelow(at->path().native(), Normal(folder)).has_value();
        });
        std::error_code missing;
        if (!listed.contains(music) && !isRegistered && fs::is_directory(music, missing)) {
            homes.push_back({music, OwnerOfUnlisted(at->path().filename(), music)});
        }
    }
}

}  // namespace

Folders::Folders(const std::vector<std::string> &shared, std::vector<OwnedFolder> homes,
                 std::vector<unsigned> unseen)
    : folders_(std::move(homes)), unseen_(std::move(unseen)), sharedUnknown_(shared.empty()) {
    for (const std::string &path : shared) {
        folders_.push_back({path, 0});
    }
    for (OwnedFolder &folder : folders_) {
        folder.path = Normal(folder.path);
    }
    // A home that is also registered as a shared folder stays its user's: the homes come first.
    std::stable_sort(folders_.begin(), folders_.end(),
                     [](const auto &a, const auto &b) { return a.path < b.path; });
    const auto same = [](const auto &a, const auto &b) { return a.path == b.path; };
    folders_.erase(std::unique(folders_.begin(), folders_.end(), same), folders_.end());
}

Folders Folders::Configured() {
    std::vector<OwnedFolder> homes;
    std::vector<unsigned> unseen;
    bool unknown = false;
    if (!IsPersonalLibraryEnabled()) {
        // "no" was written by somebody; without the key the configuration may be lost.
        char value[8];
        unknown = VARNAudioConfGet("enable_personal_library", value, sizeof value) < 0;
    } else {
        const auto accounts = varn::host::HomeOwners();
        unknown = !accounts || accounts->empty();
        for (const auto &account : accounts.value_or(std::vector<varn::host::HomeOwner>())) {
            std::string path = AudioFile::GetHomeMusicPath(account.name);
            std::error_code error;
            const fs::file_status status = fs::status(path, error);
            if (path.empty() || status.type() == fs::file_type::not_found) {
                unseen.push_back(account.uid);
            } else {
                homes.push_back({std::move(path), account.uid});
            }
        }
    }
    const std::vector<std::string> shared = varn::host::IndexedFolders();
    if (IsPersonalLibraryEnabled()) {
        AddUnlistedHomes(shared, homes);
    }
    Folders folders(shared, std::move(homes), std::move(unseen));
    folders.accountsUnknown_ = unknown;
    folders.hasHomes_ = IsPersonalLibraryEnabled();
    return folders;
}

void Folders::AddUnlisted(const std::vector<unsigned> &owners) {
    for (const unsigned owner : owners) {
        const bool isListed =
            std::any_of(folders_.begin(), folders_.end(),
                        [&](const auto &folder) { return folder.userid == owner; });
        if (hasHomes_ && owner != 0 && !isListed && varn::UserByUid(owner)) {
            unseen_.push_back(owner);
        }
    }
}

std::vector<std::string> Folders::Roots() const {
    std::vector<std::string> paths;
    for (const OwnedFolder &folder : folders_) {
        paths.push_back(folder.path);
    }
    return OrderedFolders(paths);
}

const OwnedFolder *Folders::Of(const std::string &path) const {
    const auto isBefore = [](const OwnedFolder &folder, const std::string &text) {
        return folder.path < text;
    };
    for (std::string above = path;; above = varn::FolderOf(above)) {
        const auto found = std::lower_bound(folders_.begin(), folders_.end(), above, isBefore);
        if (found != folders_.end() && found->path == above) {
            return &*found;
        }
        if (above == "/" || above == ".") {
            return nullptr;
        }
    }
}

unsigned Folders::OwnerOf(const std::string &path) const {
    const OwnedFolder *const folder = Of(path);
    return folder != nullptr ? folder->userid : 0;
}

bool Folders::IsUnseen(unsigned userid) const {
    if (userid == 0) {
        return sharedUnknown_;
    }
    return accountsUnknown_ || std::find(unseen_.begin(), unseen_.end(), userid) != unseen_.end();
}

std::string Folders::UnseenCondition() const {
    std::string condition = sharedUnknown_ ? "userid = 0" : "false";
    condition += accountsUnknown_ ? " OR userid <> 0" : "";
    for (const unsigned userid : unseen_) {
        condition += " OR userid = " + std::to_string(userid);
    }
    return "(" + condition + ")";
}

std::vector<std::string> FoldersToWalk(const Folders &folders,
                                       const std::vector<std::string> &paths) {
    std::vector<std::string> result;
    for (const std::string &given : paths) {
        std::string path = Normal(given);
        if (const OwnedFolder *const configured = folders.Of(path)) {
            std::error_code error;
            while (path != configured->path && !fs::is_directory(path, error)) {
                path = varn::FolderOf(path);
            }
            result.push_back(path);
        }
    }
    return OrderedFolders(result);
}

}  // namespace varnindex
