#include "service/playlists/playlists.h"

#include <json/json.h>

#include <memory>

#include "command.h"
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
    if (!Prepare(options)) {
        return kFailed;
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

void AddPlaylists(const Verb &app) {
    const Verb verb = app.AddVerb("playlists", "List the playlists, a page at a time");
    const auto options = std::make_shared<PlaylistsOptions>();
    AddCollection(verb, *options, "The user's own playlists instead of the shared ones");
    verb.AddPaging(options->offset, options->limit, "playlists");
    verb.AddFlag("--json", options->json, "Print JSON instead of a table");
    verb.Do([options] { return Playlists(*options); });
}

}  // namespace tonvale_cli
