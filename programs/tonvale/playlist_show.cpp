#include "playlist_show.h"

#include <memory>
#include <optional>
#include <string>

#include "accounts.h"
#include "database.h"
#include "number.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "track_output.h"
#include "user.h"

namespace tonvale_cli {

namespace {

using Tonvale::webapi::playlist::PlaylistLibrary;
using Tonvale::webapi::playlist::PlaylistResult;

struct ShowOptions {
    std::string id;
    std::string user = "admin";
    Additions additions;
    int offset = 0;
    int limit = 100;
    bool json = false;
};

// The playlist's length, its page in `tracks`; -1 for a playlist that cannot be read.
int ReadPage(const PlaylistLibrary &library, const PlaylistResult &playlist,
             const ShowOptions &options, Json::Value &tracks) {
    const int type = playlist.personal ? PLAYLIST_TYPE_PERSONAL : PLAYLIST_TYPE_SHARED;
    if (!playlist.smart) {
        return library.GetTrackFromNormalPlaylist(playlist.path, type, options.offset,
                                                  options.limit, tracks);
    }
    return library.GetTrackFromSmartPlaylist(playlist.name, type,
                                             VARNAudioWebapiUtilsGetBrowseLibraryByUid(library.uid),
                                             options.offset, options.limit, tracks);
}

int Show(const ShowOptions &options) {
    const PlaylistResult playlist(options.id);
    if (playlist.GetId().empty()) {
        Complain("'" + options.id + "' is no playlist: name it as playlist_shared_normal/ID, " +
                 "playlist_personal_normal/KEY, playlist_shared_smart/NAME or " +
                 "playlist_personal_smart/NAME");
        return kUsage;
    }
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
    Apply(options.additions, library);
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

}  // namespace

void AddPlaylistShow(CLI::App &playlist, Action &action) {
    CLI::App *verb = playlist.add_subcommand("show", "List a playlist's tracks, a page at a time");
    const auto options = std::make_shared<ShowOptions>();
    verb->add_option("ID", options->id, "The playlist's identifier")->required();
    verb->add_option("--user", options->user, "Who asks")->type_name("NAME")->capture_default_str();
    AddNumber(*verb, "--offset", options->offset, 0, "How many tracks to pass over");
    AddNumber(*verb, "--limit", options->limit, 0, "How many tracks to list; 0: all");
    verb->add_flag("--json", options->json, "Print JSON instead of a table");
    AddAdditions(*verb, options->additions)->needs("--json");
    verb->callback([options, &action] { action = [options] { return Show(*options); }; });
}

}  // namespace tonvale_cli
