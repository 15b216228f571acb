#include <memory>

#include "command.h"
#include "database.h"
#include "number.h"
#include "playlist_output.h"
#include "playlist_target.h"

namespace tonvale_cli {

namespace {

struct PlaylistsOptions {
    Collection collection;
    int offset = 0;
    int limit = 100;
    bool json = false;
};

int Playlists(PlaylistsOptions &options) {
    if (const int status = Prepare(options.collection); status != kDone) {
        return status;
    }
    const Collection &from = options.collection;
    const int total = from.isFolder ? VARNPersonalPlaylistTotalGet(from.user.c_str())
                                    : VARNPlaylistTotalGet(from.Library(), from.uid, 0);
    const auto page = ListPlaylists(from, options.offset, options.limit);
    if (!page || total < 0) {
        return kFailed;
    }
    PrintPlaylists(page->get(), options.offset, total, options.json);
    return kDone;
}

}  // namespace

void AddPlaylists(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("playlists", "List the playlists, a page at a time");
    const auto options = std::make_shared<PlaylistsOptions>();
    verb->add_option("--user", options->collection.user, "For whom")
        ->type_name("NAME")
        ->capture_default_str();
    verb->add_flag("--personal", options->collection.personal,
                   "The user's own playlists instead of the shared ones");
    AddNumber(*verb, "--offset", options->offset, 0, "How many playlists to pass over");
    AddNumber(*verb, "--limit", options->limit, 0, "How many playlists to list; 0: all");
    verb->add_flag("--json", options->json, "Print JSON instead of a table");
    verb->callback([options, &action] { action = [options] { return Playlists(*options); }; });
}

}  // namespace tonvale_cli
