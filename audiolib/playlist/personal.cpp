// The users' own playlists: m3u files in a folder beside their preferences.
#include <sys/stat.h>

#include <string>

#include "misc/places.h"
#include "playlist/catalogue.h"
#include "playlist/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "varn/account.h"
#include "varn/path.h"
#include "varn/run_as.h"

namespace Tonvale::playlist {

namespace {

constexpr char kPattern[] = "/*.m3u";
constexpr std::size_t kExtension = 4;

// "" for a name that no user can have.
std::string OwnFolder(const char *userName) {
    varn::PathBuffer folder{};
    return VARNUserPreferenceDirGet(userName, folder.data(), folder.size()) == 0
               ? std::string(folder.data()) + kOwnFolder
               : "";
}

// A path that stands for itself in a pattern.
std::string Literal(const std::string &path) {
    std::string escaped;
    for (const char c : path) {
        if (c == '*' || c == '?' || c == '[' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

int ListOwn(const char *userName, VARN_PLAYLIST **listOut) {
    const std::string folder = OwnFolder(userName);
    if (folder.empty()) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    OwnedPlaylists list(std::exchange(*listOut, nullptr));
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kAccountBefore, kSource);
    const misc::Matches matches((Literal(folder) + kPattern).c_str());
    if (matches.Failed()) {
        LOG_ERROR(kSource, "Failed to list %s", folder.c_str());
        return -1;
    }
    for (const std::string path : matches.Names()) {
        struct stat info {};
        if (stat(path.c_str(), &info) != 0) {
            LOG_ERROR(kSource, "%s is not a valid path", path.c_str());
            continue;
        }
        const std::string name = path.substr(path.rfind('/') + 1);
        VARN_PLAYLIST &node = Prepend(list);
        CopyText(name.substr(0, name.size() - kExtension), node.title, sizeof node.title);
        CopyText(path, node.path, sizeof node.path);
    }
    *listOut = PlaylistReverse(list.release());
    return 0;
}

bool IsSameFolder(const std::string &one, const std::string &other) {
    struct stat first {};
    struct stat second {};
    return stat(one.c_str(), &first) == 0 && S_ISDIR(first.st_mode) &&
           stat(other.c_str(), &second) == 0 && S_ISDIR(second.st_mode) &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool IsOriginal(const std::string &playlistPath, const char *userName) {
    const std::size_t slash = playlistPath.rfind('/');
    const std::string folder = OwnFolder(userName);
    return slash != std::string::npos && !folder.empty() &&
           IsSameFolder(playlistPath.substr(0, slash), folder);
}

}  // namespace

}  // namespace Tonvale::playlist

using namespace Tonvale::playlist;
using Tonvale::support::Guarded;

int VARNPersonalPlaylistListAll(const char *userName, VARN_PLAYLIST **listOut) noexcept {
    if (userName == nullptr || listOut == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return ListOwn(userName, listOut); });
}

int VARNPersonalPlaylistTotalGet(const char *userName) noexcept {
    VARN_PLAYLIST *list = nullptr;
    if (VARNPersonalPlaylistListAll(userName, &list) != 0) {
        return -1;
    }
    const Tonvale::OwnedPlaylists owned(list);
    return VARNPlaylistCount(list);
}

bool VARNPlaylistIsOriginalPersonalPlaylist(const char *playlistPath,
                                            const char *userName) noexcept {
    if (playlistPath == nullptr || userName == nullptr) {
        return false;
    }
    return Guarded(kSource, false, [&] { return IsOriginal(playlistPath, userName); });
}
