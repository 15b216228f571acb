#include "playlist_show.h"

#include <memory>
#include <string>

#include "accounts.h"
#include "database.h"
#include "number.h"
#include "playlist_output.h"
#include "playlist_target.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "track_output.h"

namespace tonvale_cli {

namespace {

using Tonvale::webapi::playlist::PlaylistLibrary;
using Tonvale::webapi::playlist::PlaylistResult;

struct ShowOptions {
    std::string name;  // the playlist's identifier, its id or its title
    Collection collection;
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

// A playlist by its identifier, as the web API shows it: track objects.
int ShowTracks(const ShowOptions &options, const PlaylistResult &playlist) {
    const std::string &user = options.collection.user;
    PlaylistLibrary library(options.collection.uid, user, PreferenceFolder(user));
    Apply(options.additions, library);
    Json::Value tracks(Json::arrayValue);
    const int total = ReadPage(library, playlist, options, tracks);
    if (total < 0) {
        Complain("the playlist " + options.name + " cannot be read for the user '" + user +
                 "'; the lines above tell why");
        return kFailed;
    }
    (options.json ? PrintTracksJson : PrintTracksTable)(tracks, options.offset, total);
    return kDone;
}

// A playlist by its id or title: its entries, each with the position that the other verbs take.
int ShowEntries(const ShowOptions &options) {
    if (!options.additions.empty()) {
        Complain("--additional is for playlists named by identifier, such as " +
                 std::string("playlist_shared_normal/ID"));
        return kUsage;
    }
    const auto playlist = FindPlaylist(options.collection, options.name);
    if (!playlist) {
        return kUsage;
    }
    int total = -1;
    const SongRecords page(VARNPlaylistParseByPath(options.collection.uid, playlist->path.c_str(),
                                                   nullptr, &total, options.offset, options.limit,
                                                   "*", 0));
    if (total < 0) {
        Complain("the playlist cannot be read; the lines above tell why");
        return kFailed;
    }
    PrintEntries(page.get(), options.offset, total, options.json);
    return kDone;
}

int Show(ShowOptions &options) {
    if (const int status = Prepare(options.collection); status != kDone) {
        return status;
    }
    const PlaylistResult playlist(options.name);
    return playlist.GetId().empty() ? ShowEntries(options) : ShowTracks(options, playlist);
}

}  // namespace

void AddPlaylistShow(CLI::App &playlist, Action &action) {
    CLI::App *verb = playlist.add_subcommand("show", "List a playlist's tracks, a page at a time");
    const auto options = std::make_shared<ShowOptions>();
    verb->add_option("PLAYLIST", options->name,
                     "Its id or title, for its entries, or its identifier, for track objects")
        ->required();
    verb->add_option("--user", options->collection.user, "For whom")
        ->type_name("NAME")
        ->capture_default_str();
    verb->add_flag("--personal", options->collection.personal,
                   "Look for an id or title among the user's own playlists");
    AddNumber(*verb, "--offset", options->offset, 0, "How many tracks to pass over");
    AddNumber(*verb, "--limit", options->limit, 0, "How many tracks to list; 0: all");
    verb->add_flag("--json", options->json, "Print JSON instead of a table");
    AddAdditions(*verb, options->additions)->needs("--json");
    verb->callback([options, &action] { action = [options] { return Show(*options); }; });
}

}  // namespace tonvale_cli
