#include "playlist_show.h"

#include <optional>
#include <string>

#include "accounts.h"
#include "answers/tracks.h"
#include "command.h"
#include "database.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "user.h"

namespace tonvale_cli {

namespace {

using Tonvale::webapi::playlist::PlaylistLibrary;
using Tonvale::webapi::playlist::PlaylistResult;

// The playlist's length, its page in `tracks`; -1 for a playlist that cannot be read.
int ReadPage(const PlaylistLibrary &library, const PlaylistResult &playlist,
             const TracksOptions &options, Json::Value &tracks) {
    const int type = playlist.personal ? PLAYLIST_TYPE_PERSONAL : PLAYLIST_TYPE_SHARED;
    if (!playlist.smart) {
        return library.GetTrackFromNormalPlaylist(playlist.path, type, options.offset,
                                                  options.limit, tracks);
    }
    return library.GetTrackFromSmartPlaylist(playlist.name, type,
                                             VARNAudioWebapiUtilsGetBrowseLibraryByUid(library.uid),
                                             options.offset, options.limit, tracks);
}

}  // namespace

bool IsPlaylistId(const std::string &text) {
    return text.starts_with("playlist_") && text.find('/') != std::string::npos &&
           !PlaylistResult(text).GetId().empty();
}

int ShowTracks(const TracksOptions &options) {
    const PlaylistResult playlist(options.id);
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    const std::optional<uid_t> uid = FindUser(options.user);
    if (!uid) {
        return kUsage;
    }
    if (auto done = EnsureDatabase(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    PlaylistLibrary library(*uid, options.user, PreferenceFolder(options.user));
    tonvale_answers::Apply(options.additions, library);
    Json::Value tracks(Json::arrayValue);
    const int total = ReadPage(library, playlist, options, tracks);
    if (total < 0) {
        Complain("the playlist " + options.id + " cannot be read for the user '" + options.user +
                 "'; the lines above tell why");
        return kFailed;
    }
    (options.json ? PrintTracksJson : PrintTracksTable)(tracks, options.offset, total);
    return kDone;
}

}  // namespace tonvale_cli
