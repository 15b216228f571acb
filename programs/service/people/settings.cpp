#include "service/people/settings.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "service/base/failure.h"
#include "service/base/lock.h"
#include "service/sharing/link_hooks.h"
#include "tonvale/settings.h"
#include "varn/handles.h"
#include "varn/packageconf.h"
#include "varn/path.h"
#include "varn/replace_file.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

constexpr Right kRights[] = {
    {"usb", RIGHT_USB, "play through the server's own output"},
    {"streaming", RIGHT_STREAMING, "stream to a browser or another client"},
    {"playlist", RIGHT_PLAYLIST, "manage shared playlists"},
    {"upnp", RIGHT_UPNP, "play to UPnP renderers"},
    {"editsong", RIGHT_EDITSONG, "edit the tags of songs"},
    {"sharing", RIGHT_SHARING, "make share links"}};

constexpr char kYes[] = "yes";
constexpr char kNo[] = "no";
constexpr char kAll[] = "all";
constexpr char kPersonal[] = "personal";
constexpr char kBrowse[] = "browse_personal_library";
constexpr char kItems[] = "items";

struct Switch {
    const char *name;
    bool (*get)(uid_t) noexcept;
    const char *meaning;
};
constexpr std::array kSwitches = {
    Switch{"support_transcode_mp3", AudioFile::GetUserTranscodeMp3, "songs are transcoded to MP3"},
    Switch{"prefer_using_html5", AudioFile::GetPreferHtml5, "the HTML5 player is preferred"},
    Switch{"audio_show_virtual_library", AudioFile::GetUserShowVirtualLib,
           "tracks of cue sheets are shown"}};

std::string UsersFile() {
    return SystemPath(varn::path::kUsersFile);
}

// False for an account that is gone; accounts that cannot be read are a failure.
bool HasAccount(uid_t uid) {
    const varn::User user = varn::UserByUid(uid);
    if (!user && VLIBCErrGet() != VLIB_ERR_NOT_FOUND) {
        throw Failure(Reason::kAccountsNotRead, SystemPath(varn::path::kPasswd));
    }
    return user != nullptr;
}

// Holds off the other writers of the users file and the custom keys. Take it before reading what is
// to be changed.
class SettingsLock : public Lock {
  public:
    SettingsLock()
        : Lock(SystemPath(varn::path::kUsersFile) + ".lock", Kind::kWrite,
               Reason::kSettingsLocked) {}
};

// The library's own save would show readers, who take no lock, half a file. Called under a
// SettingsLock. The file belongs to the package.
void Save(const std::string &path, const Json::Value &settings) {
    const varn::RunAs package(varn::Who::kPackage);
    if (!package) {
        throw Failure(Reason::kAccountNotTaken, varn::kPackageAccount);
    }
    constexpr std::size_t kMostBytes = 1U << 20U;  // of the users file more is not read
    constexpr mode_t kNewFileMode = 0644;
    const std::string text = settings.toStyledString();
    struct stat before {};
    const bool isNew = stat(path.c_str(), &before) != 0;
    errno = EFBIG;
    if (text.size() > kMostBytes ||
        !varn::ReplaceFile(path, text, isNew ? kNewFileMode : before.st_mode & 0777)) {
        throw Failure(Reason::kFileNotWritten, path, errno);
    }
}

// Puts back what an entry had beside its rights.
void KeepPreferences(const Json::Value &before, Json::Value &entry) {
    if (!before.isObject()) {
        return;
    }
    for (const std::string &key : before.getMemberNames()) {
        const bool isRight = std::any_of(std::begin(kRights), std::end(kRights),
                                         [&](const Right &right) { return key == right.name; });
        if (!isRight) {
            entry[key] = before[key];
        }
    }
}

enum class Entry { kAny, kNewAlone };

// A new entry is made of rights and of what the configuration offers; an administrator here changes
// rights alone.
void Record(uid_t uid, unsigned mask, Entry which) {
    const SettingsLock lock;
    Json::Value users = ReadUsers();
    const Json::Value before = users[std::to_string(uid)];
    if (which == Entry::kNewAlone && !before.isNull()) {
        return;
    }
    AudioUsers::SetUser(users, uid, mask);
    KeepPreferences(before, users[std::to_string(uid)]);
    Save(UsersFile(), users);
}

}  // namespace

std::span<const Right> AllRights() {
    return kRights;
}

std::vector<std::string> RightNames(unsigned mask) {
    std::vector<std::string> names;
    for (const Right &right : kRights) {
        if ((mask & right.bit) != 0) {
            names.emplace_back(right.name);
        }
    }
    return names;
}

unsigned MaskOf(const std::vector<std::string> &names) {
    unsigned mask = 0;
    for (const Right &right : kRights) {
        mask |= std::find(names.begin(), names.end(), right.name) != names.end() ? right.bit : 0;
    }
    return mask;
}

Json::Value RightsObject(unsigned mask) {
    Json::Value rights(Json::objectValue);
    for (const Right &right : kRights) {
        rights[right.name] = (mask & right.bit) != 0;
    }
    return rights;
}

bool IsAdministrator(const std::string &user) {
    return user == "admin" || VLIBGroupIsAdminGroupMem(user.c_str(), 0) == 1;
}

std::string AccountName(uid_t uid) {
    const varn::User user = varn::UserByUid(uid);
    return user ? user->szName : "";
}

std::string PreferenceFolder(const std::string &name) {
    varn::PathBuffer folder{};
    VARNUserPreferenceDirGet(name.c_str(), folder.data(), folder.size());
    return folder.data();
}

Json::Value ReadUsers() {
    Json::Value users;
    if (!AudioUsers::Read(users, UsersFile()) || !users.isObject()) {
        throw Failure(Reason::kUsersNotRead, UsersFile());
    }
    return users;
}

Json::Value UserList() {
    Json::Value list(Json::arrayValue);
    for (const unsigned uid : AudioUsers::enumUsers(ReadUsers())) {
        Json::Value entry(Json::objectValue);
        const std::string name = AccountName(uid);
        entry["uid"] = uid;
        entry["name"] = name;
        entry["rights"] = RightsObject(name.empty() ? 0 : AudioUsers::GetUserPermission(name));
        list.append(std::move(entry));
    }
    return list;
}

uid_t UidOf(const std::string &name) {
    const varn::User user = varn::UserByName(name.c_str());
    if (!user) {
        throw Failure(Reason::kNoSuchUser, name);
    }
    return user->uid;
}

void SetPermission(const std::string &user, unsigned mask) {
    const uid_t uid = UidOf(user);
    Record(uid, mask, Entry::kAny);
    // Also where it was missing before: a call that could not reach the links may be repeated.
    if ((mask & RIGHT_SHARING) == 0) {
        LinksFollowLostRight(uid);
    }
}

void SetFirstPermission(uid_t uid, unsigned mask) {
    Record(uid, mask, Entry::kNewAlone);
}

void RemoveEntry(uid_t uid) {
    const SettingsLock lock;
    Json::Value users = ReadUsers();
    if (users.isMember(std::to_string(uid))) {
        AudioUsers::Remove(users, uid);
        Save(UsersFile(), users);
    }
}

// Gives the rights that AudioUsers::InitUserPermission gives, and syncs what it writes.
void MakeUsers() {
    const SettingsLock lock;
    struct stat present {};
    if (stat(UsersFile().c_str(), &present) == 0) {
        return;
    }
    Json::Value users(Json::objectValue);
    for (const auto &[name, mask] : {std::pair("admin", unsigned{RIGHT_ALL}), {"guest", 0U}}) {
        if (const varn::User user = varn::UserByName(name)) {
            AudioUsers::SetUser(users, user->uid, mask);
        }
    }
    Save(UsersFile(), users);
}

void SyncUsers() {
    const SettingsLock lock;
    const Json::Value before = ReadUsers();
    Json::Value users = before;
    for (const unsigned uid : AudioUsers::enumUsers(before)) {
        if (!HasAccount(uid)) {
            AudioUsers::Remove(users, uid);
        }
    }
    if (users != before) {
        Save(UsersFile(), users);
    }
}

Json::Value PreferencesOf(uid_t uid) {
    Json::Value preferences(Json::objectValue);
    for (const Switch &one : kSwitches) {
        preferences[one.name] = one.get(uid);
    }
    const bool isPersonal =
        AudioFile::GetUserBrowsePersonalLibraryType(uid) == BROWSE_LIBRARY_PERSONAL;
    preferences[kBrowse] = isPersonal ? kPersonal : kAll;
    return preferences;
}

const std::vector<Preference> &AllPreferences() {
    static const std::vector<Preference> preferences = [] {
        std::vector<Preference> all;
        for (const Switch &one : kSwitches) {
            all.push_back({one.name, one.meaning, {kYes, kNo}});
        }
        all.push_back({kBrowse, "the library that is browsed", {kAll, kPersonal}});
        return all;
    }();
    return preferences;
}

void CheckPreference(const std::string &name, const std::string &value) {
    for (const Preference &known : AllPreferences()) {
        if (name != known.name) {
            continue;
        }
        if (std::find(known.values.begin(), known.values.end(), value) == known.values.end()) {
            throw Failure(Reason::kUnknownPreferenceValue, name);
        }
        if (name == kSwitches[0].name && !VARNAudioDefaultConfCheck(kSwitches[0].name, kYes, 0)) {
            throw Failure(Reason::kTranscodingNotOffered, name);
        }
        return;
    }
    throw Failure(Reason::kUnknownPreference, name);
}

void SetPreference(uid_t uid, const std::string &name, const std::string &value) {
    CheckPreference(name, value);
    const SettingsLock lock;
    Json::Value users = ReadUsers();
    Json::Value &entry = users[std::to_string(uid)];
    if (!entry.isObject()) {
        entry = Json::Value(Json::objectValue);
    }
    // In the form in which the library stores preferences.
    entry[name] = name == kBrowse ? Json::Value(value) : Json::Value(value == kYes);
    Save(UsersFile(), users);
}

Json::Value CustomKeys() {
    Json::Value keys(Json::arrayValue);
    for (int index = 1; index <= kCustomKeys; ++index) {
        std::string type;
        std::string value;
        std::string title;
        if (VARNAudioCustomGet(index, type, value, title) != 0) {
            throw Failure(Reason::kCustomKeysNotRead, SystemPath(varn::path::kCustomKeys));
        }
        Json::Value key(Json::objectValue);
        key["index"] = index;
        key["type"] = type;
        key["value"] = value;
        key["title"] = title;
        keys.append(std::move(key));
    }
    return keys;
}

void SetCustomKey(int index, const std::string &type, const std::string &value,
                  const std::string &title) {
    if (index < 1 || index > kCustomKeys) {
        throw Failure(Reason::kUnknownCustomKey, std::to_string(index));
    }
    const SettingsLock lock;
    Json::Value keys;
    if (VARNAudioCustomLoadJson(keys) != 0 || !keys.isObject() || !keys[kItems].isArray()) {
        throw Failure(Reason::kCustomKeysNotRead, SystemPath(varn::path::kCustomKeys));
    }
    Json::Value &key = keys[kItems][index - 1];
    if (!key.isObject()) {
        key = Json::Value(Json::objectValue);
        key["id"] = index;
    }
    key["type"] = type;
    key["value"] = value;
    key["title"] = title;
    Save(SystemPath(varn::path::kCustomKeys), keys);
}

}  // namespace tonvale_service
