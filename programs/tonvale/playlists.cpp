#include "service/playlists.h"

#include <json/json.h>

#include <memory>

#include "command.h"
#include "number.h"
#include "page_output.h"
#include "playlist_options.h"
#include "playlist_output.h"

namespace tonvale_cli {

namespace {

struct PlaylistsOptions : CollectionOptions {
    int offset = 0;
    int limit = 100;
    bool json = false;
};

int Playlists(PlaylistsOptions &options) {
    if (const int status = Prepare(options); status != kDone) {
        return status;
    }
    const auto page =
        tonvale_service::ListPlaylists(std::vector<tonvale_service::Collection>{options.collection},
                                       options.offset, options.limit);
    if (options.json) {
        PrintJson(*page);
    } else {
        PrintTable(*page);
    }
    return kDone;
}

}  // namespace

void AddPlaylists(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("playlists", "List the playlists, a page at a time");
    const auto options = std::make_shared<PlaylistsOptions>();
    AddCollection(*verb, *options, "The user's own playlists instead of the shared ones");
    AddNumber(*verb, "--offset", options->offset, 0, "How many playlists to pass over");
    AddNumber(*verb, "--limit", options->limit, 0, "How many playlists to list; 0: all");
    verb->add_flag("--json", options->json, "Print JSON instead of a table");
    verb->callback([options, &action] { action = [options] { return Playlists(*options); }; });
}

}  // namespace tonvale_cli
