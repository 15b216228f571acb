#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "audiousers/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/settings.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace AudioUsers {

namespace {

using Tonvale::support::Guarded;
using varn::User;
using varn::UserByName;
using varn::UserByUid;

constexpr char kAdmin[] = "admin";
constexpr char kGuest[] = "guest";
constexpr char kApplication[] = "VARN.XDK.Tonvale.Application";
constexpr char kAnyAddress[] = "0.0.0.0";

struct Right {
    const char *key;
    unsigned bit;
};

// In the order in which an entry is written.
constexpr std::array kRights = {Right{"usb", RIGHT_USB},
                                Right{"upnp", RIGHT_UPNP},
                                Right{"streaming", RIGHT_STREAMING},
                                Right{"playlist", RIGHT_PLAYLIST},
                                Right{"editsong", RIGHT_EDITSONG},
                                Right{"sharing", RIGHT_SHARING}};

std::string UsersFile() {
    return SystemPath(varn::path::kUsersFile);
}

bool IsTrue(const Json::Value &entry, const char *key) {
    return entry.isMember(key) && entry[key].isBool() && entry[key].asBool();
}

// The preferences that an entry carries along, of those that the package offers.
void AddPreferences(uid_t uid, Json::Value &entry) {
    if (VARNAudioDefaultConfCheck("support_transcode_mp3", "yes", 0)) {
        entry["support_transcode_mp3"] = AudioFile::GetUserTranscodeMp3(uid);
    }
    if (VARNAudioConfCheck("audio_show_virtual_library", "yes", 1)) {
        entry["audio_show_virtual_library"] = AudioFile::GetUserShowVirtualLib(uid);
    }
    if (VARNAudioConfCheck("prefer_using_html5", "yes", 0)) {
        entry["prefer_using_html5"] = AudioFile::GetPreferHtml5(uid);
    }
    if (VARNAudioConfCheck("enable_personal_library", "yes", 0)) {
        entry["browse_personal_library"] =
            static_cast<int>(AudioFile::GetUserBrowsePersonalLibraryType(uid));
    }
}

unsigned Recorded(const Json::Value &json, uid_t uid) {
    const std::string name = std::to_string(uid);
    if (!json.isObject() || !json[name].isObject()) {
        return RIGHT_STREAMING;
    }
    // "streaming" is written for readers of the file and never asked: every user may stream.
    unsigned mask = RIGHT_STREAMING;
    for (const Right &right : kRights) {
        if (right.bit != RIGHT_STREAMING && IsTrue(json[name], right.key)) {
            mask |= right.bit;
        }
    }
    return mask;
}

unsigned PermissionOf(const std::string &userName) {
    if (userName == kAdmin) {
        return RIGHT_ALL;
    }
    const User user = UserByName(userName.c_str());
    if (!user) {
        LOG_ERROR(kSource, "Fail to get user by name.");
        return 0;
    }
    if (VLIBAppPrivUserHas(userName.c_str(), kApplication, kAnyAddress) != 1) {
        return 0;
    }
    Json::Value json;
    if (!Read(json, UsersFile())) {
        return 0;
    }
    return GetUser(json, user->uid, VLIBGroupIsAdminGroupMem(userName.c_str(), 0) == 1);
}

std::vector<unsigned> ListedUsers(const Json::Value &json) {
    std::vector<unsigned> uids;
    if (!json.isObject()) {
        return uids;
    }
    for (const std::string &name : json.getMemberNames()) {
        const long uid = std::strtol(name.c_str(), nullptr, 10);
        // A larger number would be taken for the user whose id its low bits are.
        if (uid > 0 && uid <= std::numeric_limits<uint32_t>::max()) {
            uids.push_back(static_cast<unsigned>(uid));
        }
    }
    return uids;
}

}  // namespace

bool InitUserPermission() noexcept {
    return Guarded(kSource, false, [] {
        const std::string path = UsersFile();
        struct stat status;
        if (stat(path.c_str(), &status) == 0) {
            return true;
        }
        Json::Value json(Json::objectValue);
        if (const User admin = UserByName(kAdmin)) {
            SetUser(json, admin->uid, RIGHT_ALL);
        }
        if (const User guest = UserByName(kGuest)) {
            SetUser(json, guest->uid, 0);
        }
        return Save(json, path);
    });
}

void SetUser(Json::Value &json, uid_t uid, unsigned mask) noexcept {
    Guarded(kSource, [&] {
        Json::Value entry(Json::objectValue);
        for (const Right &right : kRights) {
            entry[right.key] = (mask & right.bit) != 0;
        }
        AddPreferences(uid, entry);
        if (!json.isObject()) {
            json = Json::Value(Json::objectValue);
        }
        json[std::to_string(uid)] = entry;
    });
}

void Remove(Json::Value &json, uid_t uid) noexcept {
    Guarded(kSource, [&] {
        if (json.isObject()) {
            json.removeMember(std::to_string(uid));
        }
    });
}

unsigned GetUser(const Json::Value &json, uid_t uid, bool isAdmin) noexcept {
    if (isAdmin) {
        return GetUserPermission(kAdmin);
    }
    return Guarded(kSource, 0U, [&] { return Recorded(json, uid); });
}

unsigned GetUserPermission(const std::string &userName) noexcept {
    return Guarded(kSource, 0U, [&] { return PermissionOf(userName); });
}

std::vector<unsigned> enumUsers(const Json::Value &json) noexcept {
    return Guarded(kSource, std::vector<unsigned>(), [&] { return ListedUsers(json); });
}

void SyncUsers() noexcept {
    Guarded(kSource, [] {
        Json::Value json;
        if (!Read(json, UsersFile())) {
            return;
        }
        for (const unsigned uid : ListedUsers(json)) {
            if (!UserByUid(uid)) {
                Remove(json, uid);
            }
        }
        Save(json, UsersFile());
    });
}

}  // namespace AudioUsers
