#include <cstdlib>
#include <string>

#include "audiofile/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/settings.h"
#include "varn/keyfile.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace AudioFile {

namespace {

using Tonvale::support::Guarded;

constexpr char kTranscodeMp3[] = "support_transcode_mp3";
constexpr char kPreferHtml5[] = "prefer_using_html5";
constexpr char kShowVirtualLibrary[] = "audio_show_virtual_library";
constexpr char kBrowsePersonalLibrary[] = "browse_personal_library";

constexpr long kLastBuildWithoutVirtualLibrary = 5515;

// A user's name in the file: the id as a signed number.
std::string EntryName(uid_t uid) {
    return std::to_string(static_cast<int>(uid));
}

// The user's value for a key, or null. `users` is whatever the file held.
const Json::Value *Find(const Json::Value &users, uid_t uid, const char *key) {
    if (!users.isObject()) {
        return nullptr;
    }
    const Json::Value &user = users[EntryName(uid)];
    return user.isObject() && user.isMember(key) ? &user[key] : nullptr;
}

bool Load(Json::Value &users) {
    return VARNAudioJsonLoad(SystemPath(varn::path::kUsersFile).c_str(), users) == 0;
}

bool GetSwitch(uid_t uid, const char *key, bool absent) noexcept {
    return Guarded(kSource, absent, [&] {
        Json::Value users;
        const Json::Value *value = Load(users) ? Find(users, uid, key) : nullptr;
        return value != nullptr && value->isBool() ? value->asBool() : absent;
    });
}

bool Set(uid_t uid, const char *key, const Json::Value &value) {
    Json::Value users;
    if (!Load(users) || !users.isObject()) {
        return false;
    }
    Json::Value &user = users[EntryName(uid)];
    if (!user.isObject()) {
        user = Json::Value(Json::objectValue);
    }
    user[key] = value;
    const std::string path = SystemPath(varn::path::kUsersFile);
    if (VARNAudioJsonSave(path.c_str(), users) != 0) {
        LOG_ERROR(kSource, "Save json file %s failed", path.c_str());
        return false;
    }
    return true;
}

bool SetSwitch(uid_t uid, const char *key, bool value) noexcept {
    return Guarded(kSource, false, [&] { return Set(uid, key, Json::Value(value)); });
}

bool IsTranscodingOffered() {
    return VARNAudioDefaultConfCheck(kTranscodeMp3, "yes", 0);
}

const char *BrowseTypeName(_tag_BROWSE_LIBRARY_TYPE type) {
    switch (type) {
        case BROWSE_LIBRARY_ALL:
            return "all";
        case BROWSE_LIBRARY_PERSONAL:
            return "personal";
    }
    return "";
}

}  // namespace

bool GetUserTranscodeMp3(uid_t uid) noexcept {
    return !IsTranscodingOffered() || GetSwitch(uid, kTranscodeMp3, true);
}

bool SetUserTranscodeMp3(uid_t uid, bool transcode) noexcept {
    return IsTranscodingOffered() && SetSwitch(uid, kTranscodeMp3, transcode);
}

bool GetPreferHtml5(uid_t uid) noexcept {
    return GetSwitch(uid, kPreferHtml5, true);
}

bool SetPreferHtml5(uid_t uid, bool prefer) noexcept {
    return SetSwitch(uid, kPreferHtml5, prefer);
}

bool GetUserShowVirtualLib(uid_t uid) noexcept {
    return IsSupportVirtualLib() && GetSwitch(uid, kShowVirtualLibrary, true);
}

bool SetUserShowVirtualLib(uid_t uid, bool show) noexcept {
    return SetSwitch(uid, kShowVirtualLibrary, show);
}

_tag_BROWSE_LIBRARY_TYPE GetUserBrowsePersonalLibraryType(uid_t uid) noexcept {
    return Guarded(kSource, BROWSE_LIBRARY_ALL, [&] {
        Json::Value users;
        const Json::Value *value = Load(users) ? Find(users, uid, kBrowsePersonalLibrary) : nullptr;
        const bool personal =
            value != nullptr && value->isString() && value->asString() == "personal";
        return personal ? BROWSE_LIBRARY_PERSONAL : BROWSE_LIBRARY_ALL;
    });
}

bool SetUserBrowsePersonalLibraryType(uid_t uid, _tag_BROWSE_LIBRARY_TYPE type) noexcept {
    return Guarded(kSource, false,
                   [&] { return Set(uid, kBrowsePersonalLibrary, BrowseTypeName(type)); });
}

bool IsSupportVirtualLib() noexcept {
    return Guarded(kSource, false, [] {
        char build[32] = "";
        const std::string version = SystemPath(varn::path::kVersion);
        if (VLIBCFileGetKeyValue(version.c_str(), "buildnumber", build, sizeof(build)) < 0) {
            return false;
        }
        return std::strtol(build, nullptr, 10) > kLastBuildWithoutVirtualLibrary;
    });
}

}  // namespace AudioFile

bool AudioFileGetUserShowVirtualLib(uid_t uid) noexcept {
    return AudioFile::GetUserShowVirtualLib(uid);
}
