#include "tonvale/paths.h"

#include <climits>
#include <cstring>
#include <filesystem>

#include "audiofile/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/handles.h"
#include "varn/path.h"
#include "varn/share.h"

namespace AudioFile {

namespace {

using Tonvale::support::Guarded;
using varn::Share;
using varn::ShareByName;
using varn::StringList;
using varn::User;
using varn::UserByName;

using varn::PathBuffer;

constexpr char kHomePrefix[] = "/home/";
constexpr int kTokenBytes = 1024;

// The first component of a path; "" with a log line when there is none.
std::string FirstToken(const std::string &path) {
    StringList tokens(VLIBCSzListAlloc(kTokenBytes));
    if (!tokens) {
        LOG_ERROR_OLDEST(kSource, ": VLIBCSzListAlloc() failed!");
        return "";
    }
    if (path.find('/') == std::string::npos) {
        LOG_ERROR_OLDEST(kSource, ": bad path name=%s", path.c_str());
        return "";
    }
    const std::string bounded = path.substr(0, varn::kPathSize - 1);
    PVLIBSZLIST list = tokens.release();
    const int count = VLIBCStrTok(bounded.c_str(), "/", &list);
    tokens.reset(list);
    if (count <= 0) {
        LOG_ERROR_OLDEST(kSource, " error path");
        return "";
    }
    return VLIBCSzListGet(list, 0);
}

// The folder that "/SHARE" or "/home/" stands for; "" with a log line when there is none.
std::string ShareVolumePath(const std::string &sharePath, const std::string &shareName,
                            const std::string &userName) {
    if (sharePath.compare(0, std::strlen(kHomePrefix), kHomePrefix) != 0) {
        const Share share = ShareByName(shareName.c_str());
        if (!share) {
            LOG_ERROR(kSource, "VARNShareGet fail");
            return "";
        }
        return share->szPath;
    }
    PathBuffer home = {};
    if (GetUserHomePath(userName.c_str(), home.data(), home.size()) != 0) {
        LOG_ERROR(kSource, "GetUserHomePath fail");
        return "";
    }
    return home.data();
}

bool Resolve(const std::string &sharePath, std::string &fullPath, std::string &shareName,
             std::string &volume, std::string &shareVolPath, const std::string &userName) {
    const std::string token = FirstToken(sharePath);
    if (token.empty()) {
        LOG_ERROR(kSource, "GetTokOfPath fail");
        return false;
    }
    shareName = token;
    std::string base = ShareVolumePath(sharePath, token, userName);
    if (base.empty()) {
        return false;
    }
    const std::size_t cut = token.size() + 1;
    fullPath = base + (cut < sharePath.size() ? sharePath.substr(cut) : "");
    volume = base.substr(0, base.find('/', 1));
    shareVolPath = std::move(base);
    return true;
}

std::string SharePath(const char *volPath) {
    PathBuffer name = {};
    PathBuffer base = {};
    if (VARNShareNamePathGet(volPath, name.data(), name.size(), base.data(), base.size()) != 0) {
        LOG_ERROR(kSource, "Failed to get share path");
        return "";
    }
    const std::size_t baseLength = std::strlen(base.data());
    if (baseLength > std::strlen(volPath)) {
        return "";
    }
    return std::string("/") + name.data() + (volPath + baseLength);
}

}  // namespace

bool FullPathGet(const char *sharePath, std::string &fullPath, std::string &shareName,
                 std::string &volume, std::string &shareVolPath,
                 const std::string &userName) noexcept {
    if (!NonEmptyStr(sharePath) || userName.empty()) {
        LOG_ERROR(kSource, "Bad parameters.");
        return false;
    }
    return Guarded(kSource, false, [&] {
        return Resolve(sharePath, fullPath, shareName, volume, shareVolPath, userName);
    });
}

std::string GetSharePathByVolPath(const char *volPath) noexcept {
    if (volPath == nullptr) {
        LOG_ERROR(kSource, "Bad parameter");
        return "";
    }
    return Guarded(kSource, std::string(), [&] { return SharePath(volPath); });
}

std::string GetAbsolutePath(const std::string &folder, const std::string &entry) noexcept {
    return Guarded(kSource, std::string(), [&] {
        std::string path;
        if (!entry.empty()) {
            path = (std::filesystem::path(folder) / entry).lexically_normal().string();
        }
        return path.size() < varn::kPathSize ? path : std::string();
    });
}

std::string GetHomeMusicPath(const std::string &userName) noexcept {
    if (userName.empty()) {
        LOG_ERROR(kSource, "Bad parameters");
        return "";
    }
    return Guarded(kSource, std::string(), [&]() -> std::string {
        const User user = UserByName(userName.c_str());
        if (!user) {
            return "";
        }
        const std::string real = varn::RealPath(user->szHomeDir);
        return (real.empty() ? user->szHomeDir : real) + "/music";
    });
}

}  // namespace AudioFile
