#include <algorithm>
#include <string>

#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/webapi.h"
#include "webapi_utils/playlist_words.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;
using Tonvale::webapi_utils::kSource;
using namespace Tonvale::webapi::playlist_words;

// The word at `index` of a text that is split at every "_".
std::string Word(const std::string &text, int index) {
    std::size_t start = 0;
    for (; index > 0; --index) {
        start = text.find('_', start) + 1;
    }
    return text.substr(start, text.find('_', start) - start);
}

bool Parse(const std::string &id, bool &shared, bool &smart, std::string &key) {
    const std::size_t slash = id.find('/');
    if (slash == std::string::npos || id.find("../", slash + 1) != std::string::npos) {
        return false;
    }
    const std::string kind = id.substr(0, slash);
    const auto words = std::count(kind.begin(), kind.end(), '_') + 1;
    if (words != 3 && words != 4) {
        return false;
    }
    shared = Word(kind, 1) == kShared;
    smart = Word(kind, 2) == kSmart;
    key = id.substr(slash + 1);
    return true;
}

}  // namespace

int VARNAudioWebapiUtilsParsePlaylistId(const std::string &id, bool &shared, bool &smart,
                                        std::string &key) noexcept {
    return Guarded(kSource, 0, [&] {
        if (!Parse(id, shared, smart, key)) {
            LOG_ERROR(kSource, "Invalid plsylist id.");  // spelled as operators know it
            return 0;
        }
        return 1;
    });
}

namespace Tonvale::webapi::playlist {

PlaylistResult::PlaylistResult(const std::string &id) noexcept {
    Guarded(kSource, [&] {
        bool isShared = false;
        bool isSmart = false;
        std::string key;
        if (VARNAudioWebapiUtilsParsePlaylistId(id, isShared, isSmart, key) != 1) {
            return;
        }
        (isSmart ? name : path) = std::move(key);
        personal = !isShared;
        smart = isSmart;
    });
}

PlaylistResult::PlaylistResult(const std::string &playlistName, const std::string &key,
                               bool isPersonal) noexcept
    : personal(isPersonal) {
    Guarded(kSource, [&] {
        name = playlistName;
        path = key;
    });
}

PlaylistResult::PlaylistResult(const std::string &playlistName, bool isPersonal) noexcept
    : personal(isPersonal), smart(true) {
    Guarded(kSource, [&] { name = playlistName; });
}

std::string PlaylistResult::GetId() const noexcept {
    return Guarded(kSource, std::string(), [&]() -> std::string {
        const std::string &key = smart ? name : path;
        if (key.empty()) {
            return "";
        }
        return std::string(kPlaylist) + "_" + (personal ? kPersonal : kShared) + "_" +
               (smart ? kSmart : kNormal) + "/" + key;
    });
}

}  // namespace Tonvale::webapi::playlist
