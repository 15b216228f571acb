#include <sys/stat.h>

#include <string>

#include "support/boundary.h"
#include "support/log.h"
#include "support/numbers.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "varn/path.h"
#include "varn/playlistsvc.h"
#include "varn/run_as.h"
#include "varn/systempath.h"
#include "webapi_utils/playlist_words.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;
using Tonvale::support::LeadingInt;
using Tonvale::webapi_utils::kSource;
using namespace Tonvale::webapi::playlist_words;

using varn::PathBuffer;

struct Playlist {
    std::string name;
    std::string path;
};

// A playlist of the catalogue by its row id.
bool FromCatalogue(const std::string &key, unsigned uid, bool shared, Playlist &found) {
    PathBuffer path = {};
    PathBuffer title = {};
    const int size = static_cast<int>(path.size());
    const bool good =
        VARNPlaylistPathGet(shared ? kShared : kPersonal, uid, LeadingInt(key), path.data(),
                            size) >= 0 &&
        (shared ? VARNPlaylistTitleGet(key.c_str(), title.data(), size)
                : VARNPlaylistTitleGetByPath(path.data(), title.data(), size, uid)) >= 0;
    if (!good) {
        LOG_ERROR(kSource, "Failed to get playlist.");
        return false;
    }
    found = {title.data(), path.data()};
    return true;
}

// A file of the user's preference folder.
bool FromFolder(const std::string &key, const std::string &userDir, Playlist &found) {
    const std::string file =
        (userDir + "/" + kFolder + "/" + key + ".m3u").substr(0, varn::kPathSize - 1);
    varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
    struct stat status;
    if (stat(file.c_str(), &status) != 0) {
        LOG_ERROR(kSource, "Failed to get playlist. name=%s", file.c_str());
        root.Stay();  // given behaviour, which callers have to see to
        return false;
    }
    found = {key, file};
    return true;
}

bool FromSmartFile(const std::string &key, const std::string &userDir, bool shared,
                   Playlist &found) {
    const std::string file =
        shared ? SystemPath(varn::path::kSmartPlaylists) : userDir + "/" + kSmartFile;
    if (!IsiTunesPlaylistExistByFilename(file.c_str(), key.c_str())) {
        LOG_ERROR(kSource, "Failed to get iTunes's playlist. name=%s", key.c_str());
        return false;
    }
    found = {key, file};
    return true;
}

}  // namespace

int VARNAudioWebapiUtilsGetPlaylistNamePath(const std::string &id, unsigned uid,
                                            const std::string &userDir, bool byRecordNumber,
                                            std::string &name, std::string &path) noexcept {
    return Guarded(kSource, 0, [&] {
        bool shared = false;
        bool smart = false;
        std::string key;
        if (VARNAudioWebapiUtilsParsePlaylistId(id, shared, smart, key) != 1) {
            return 0;
        }
        Playlist found;
        const bool good = smart                      ? FromSmartFile(key, userDir, shared, found)
                          : shared || byRecordNumber ? FromCatalogue(key, uid, shared, found)
                                                     : FromFolder(key, userDir, found);
        if (good) {
            name = std::move(found.name);
            path = std::move(found.path);
        }
        return good ? 1 : 0;
    });
}
