#include "named_playlist.h"

#include <algorithm>
#include <array>
#include <climits>

#include "failure.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_answers {

namespace {

// The largest row id has ten digits.
bool IsRow(const std::string &key) {
    return !key.empty() && key.size() <= 9 && key.front() != '0' &&
           std::all_of(key.begin(), key.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// A key becomes the name of a file.
bool IsFileName(const std::string &key) {
    return key != "." && key != ".." && key.size() <= NAME_MAX &&
           key.find('/') == std::string::npos;
}

std::string PreferenceFolder(const std::string &user) {
    std::array<char, PATH_MAX> folder{};
    if (VARNUserPreferenceDirGet(user.c_str(), folder.data(), folder.size()) != 0) {
        throw Failure(Reason::kFailed, "the user '" + user + "' has no preference folder");
    }
    return folder.data();
}

}  // namespace

NamedPlaylist FindNamedPlaylist(uid_t uid, const std::string &user, const std::string &id) {
    bool isShared = false;
    NamedPlaylist found;
    std::string key;
    const bool isId = VARNAudioWebapiUtilsParsePlaylistId(id, isShared, found.isSmart, key) == 1 &&
                      id == std::string("playlist_") + (isShared ? "shared" : "personal") +
                                (found.isSmart ? "_smart/" : "_normal/") + key;
    const bool byRow = isShared || IsPersonalLibEnabled(user.c_str());
    if (!isId || key.empty() || (!found.isSmart && !(byRow ? IsRow(key) : IsFileName(key)))) {
        throw Failure(Reason::kBad, "'" + id + "' is no playlist's identifier");
    }
    const bool isThere = VARNAudioWebapiUtilsGetPlaylistNamePath(
                             id, uid, PreferenceFolder(user), byRow, found.name, found.path) == 1;
    // A look-up that fails may leave the process running as root.
    if (ResetCredentialsByName(varn::kPackageAccount, true) != 0) {
        throw Failure(Reason::kFailed, "cannot switch to the package's account");
    }
    if (!isThere) {
        throw Failure(Reason::kNotFound, "there is no playlist '" + id + "'");
    }
    found.id = id;
    return found;
}

}  // namespace tonvale_answers
