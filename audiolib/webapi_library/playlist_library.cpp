#include <array>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/boundary.h"
#include "support/log.h"
#include "support/numbers.h"
#include "tonvale/playlists.h"
#include "tonvale/settings.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "varn/path.h"
#include "varn/playlistsvc.h"
#include "varn/run_as.h"
#include "webapi_library/source.h"
#include "webapi_utils/playlist_words.h"

namespace Tonvale::webapi {

namespace {

// The initial room of the table of ratings.
constexpr int kHashCapacity = 8196;

}  // namespace

HashRating::HashRating() noexcept : hash_(VLIBCSzHashAlloc(kHashCapacity)) {}

HashRating::~HashRating() {
    if (hash_ != nullptr) {
        VLIBCSzHashFree(hash_);
    }
}

}  // namespace Tonvale::webapi

namespace Tonvale::webapi::playlist {

namespace {

using namespace playlist_words;
using support::Guarded;
using support::LeadingInt;
using varn::PathBuffer;

constexpr char kEveryColumn[] = "*";

// A playlist of the catalogue by its row id; "" with a log line.
std::string PathInCatalogue(const char *library, unsigned uid, const std::string &key) {
    PathBuffer path = {};
    if (VARNPlaylistPathGet(library, uid, LeadingInt(key), path.data(),
                            static_cast<int>(path.size())) != 0) {
        LOG_ERROR(kLibrarySource, "Failed to get playlist path.");
        return "";
    }
    return path.data();
}

// A file of the user's playlist folder, whose links only root may follow; "" with a log line.
std::string PathInFolder(const std::string &preferenceDir, const std::string &key) {
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kBackOrGoOn, kLibrarySource);
    if (!root) {
        LOG_ERROR(kLibrarySource, "Failed to run as root.");
        return "";
    }
    const std::string folder = preferenceDir + "/" + kFolder;
    const std::string real = varn::RealPath(folder);
    if (real.empty()) {
        LOG_ERROR(kLibrarySource, "Failed to get playlist path.");
        return "";
    }
    return (real + "/" + key + ".m3u").substr(0, varn::kPathSize - 1);
}

std::string PlaylistPath(const PlaylistLibrary &library, const std::string &key, int type) {
    if (type == PLAYLIST_TYPE_SHARED) {
        return PathInCatalogue(kShared, library.uid, key);
    }
    if (key == kSharedSongsId) {
        return library.preferenceDir + "/" + kSharedSongsKey + ".m3u";
    }
    if (IsPersonalLibEnabled(library.userName.c_str())) {
        return PathInCatalogue(kPersonal, library.uid, key);
    }
    return PathInFolder(library.preferenceDir, key);
}

int NormalPage(const PlaylistLibrary &library, const std::string &key, int type, int offset,
               int limit, Json::Value &tracks) {
    const std::string path = library.GetPlaylistPath(key, type);
    if (path.empty()) {
        return -1;
    }
    HashRating ratings;
    if (*ratings.Get() == nullptr) {
        LOG_ERROR(kLibrarySource, "Failed to alloc memory");
        return -1;
    }
    int total = -1;
    const varn::OwnedSongs songs(VARNPlaylistParseByPath(library.uid, path.c_str(), ratings.Get(),
                                                         &total, offset, limit, kEveryColumn, 0));
    library.GetTrackJson(ratings.Get(), songs.get(), tracks);
    return total;
}

std::string SmartRules(const PlaylistLibrary &library, const std::string &name, int type) {
    return type == PLAYLIST_TYPE_PERSONAL ? VarnAudioUtils::LoadSmartPlsRulesByFilename(
                                                library.preferenceDir + "/" + kSmartFile, name)
                                          : VarnAudioUtils::LoadSmartPlsRules(name);
}

int SmartPage(const PlaylistLibrary &library, const std::string &name, int type,
              const std::string &selector, int offset, int limit, Json::Value &tracks) {
    const std::string rules = SmartRules(library, name, type);
    if (rules.empty()) {
        LOG_ERROR(kLibrarySource, "Failed to get smart playlist by the name [%s]", name.c_str());
        return -1;
    }
    HashRating ratings;
    if (*ratings.Get() == nullptr) {
        LOG_ERROR(kLibrarySource, "Failed to alloc memory");
        return -1;
    }
    const int total = library.GetTotalFromSmartPlaylist(rules, selector);
    if (total < 0) {
        LOG_ERROR(kLibrarySource, "Fail to get number of tracks in the smart playlist [%s]",
                  name.c_str());
        return -1;
    }
    PLAYLIST_REC *first = nullptr;
    int count = 0;
    const int listed = VARNPlaylistSmartListSongs(library.uid, &first, ratings.Get(), rules.c_str(),
                                                  &count, offset, limit, selector.c_str());
    const varn::OwnedSongs songs(first);
    if (listed < 0) {
        LOG_ERROR(kLibrarySource, "Fail to emun songs of smart playlist [%s]", name.c_str());
        return -1;
    }
    library.GetTrackJson(ratings.Get(), songs.get(), tracks);
    return total;
}

}  // namespace

PlaylistLibrary::PlaylistLibrary(const VARN::APIRequest &request) noexcept
    : WebapiLibrary(request) {}

PlaylistLibrary::PlaylistLibrary(unsigned userId, const std::string &user,
                                 const std::string &preferenceFolder) noexcept
    : WebapiLibrary(userId, user, preferenceFolder) {}

int PlaylistLibrary::GetTrackFromNormalPlaylist(const std::string &key, int type, int offset,
                                                int limit, Json::Value &tracks) const noexcept {
    return Guarded(kLibrarySource, -1,
                   [&] { return NormalPage(*this, key, type, offset, limit, tracks); });
}

std::string PlaylistLibrary::GetPlaylistPath(const std::string &key, int type) const noexcept {
    return Guarded(kLibrarySource, std::string(), [&] { return PlaylistPath(*this, key, type); });
}

int PlaylistLibrary::GetTrackFromSmartPlaylist(const std::string &name, int type,
                                               const std::string &selector, int offset, int limit,
                                               Json::Value &tracks) const noexcept {
    return Guarded(kLibrarySource, -1,
                   [&] { return SmartPage(*this, name, type, selector, offset, limit, tracks); });
}

int PlaylistLibrary::GetTotalFromSmartPlaylist(const std::string &rules,
                                               const std::string &selector) const noexcept {
    return Guarded(kLibrarySource, -1, [&] {
        HashRating ratings;
        if (*ratings.Get() == nullptr) {
            return -1;
        }
        PLAYLIST_REC *first = nullptr;
        int count = 0;
        // One song is enough: the count is that of all.
        const int listed = VARNPlaylistSmartListSongs(uid, &first, ratings.Get(), rules.c_str(),
                                                      &count, 0, 1, selector.c_str());
        const varn::OwnedSongs song(first);
        return listed < 0 ? -1 : count;
    });
}

bool PlaylistLibrary::GetSharedPlaylistPrivilege() const noexcept {
    return !userName.empty() && (AudioUsers::GetUserPermission(userName) & RIGHT_PLAYLIST) != 0;
}

}  // namespace Tonvale::webapi::playlist
