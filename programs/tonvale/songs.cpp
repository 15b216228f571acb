// The verb that lists tracks.
#include "service/songs/songs.h"

#include <memory>

#include "command.h"
#include "library_options.h"
#include "page_output.h"
#include "song_output.h"
#include "track_output.h"

namespace tonvale_cli {

namespace {

using tonvale_service::SongPage;
using tonvale_service::SongSortKeys;

struct SongsOptions : LibraryOptions {
    Additions additions;
};

int Songs(SongsOptions &options) {
    if (!OpenLibrary(options)) {
        return kFailed;
    }
    const std::unique_ptr<SongPage> page =
        ListSongs(options, TrackWriter(options.uid, options.user, options.additions));
    if (options.json) {
        PrintJson(*page);
    } else {
        PrintTable(page->Rows(), page->Offset(), page->Total());
    }
    return kDone;
}

}  // namespace

void AddSongs(const Verb &app) {
    const Verb verb = app.AddVerb("songs", "List the library's tracks, a page at a time");
    const auto options = std::make_shared<SongsOptions>();
    AddLibrary(verb, *options);
    AddFilters(verb, options->filters);
    std::vector<std::string> keys = SongSortKeys();
    keys.emplace_back(tonvale_service::kRandom);
    AddPage(verb, *options, keys, "tracks");
    AddAdditions(verb, options->additions).Needs("--json");
    verb.Do([options] { return Songs(*options); });
}

}  // namespace tonvale_cli
