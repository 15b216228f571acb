// The verbs that list tracks: songs, and search.
#include "service/songs.h"

#include <memory>

#include "command.h"
#include "library_options.h"
#include "page_output.h"
#include "song_output.h"
#include "track_output.h"

namespace tonvale_cli {

namespace {

using tonvale_service::SearchFields;
using tonvale_service::SongPage;
using tonvale_service::SongSortKeys;

struct SongsOptions : LibraryOptions {
    Additions additions;
};

struct SearchOptions : SongsOptions {
    std::string keyword;
    std::string in = SearchFields().front();
};

// Prints the page that `find` finds.
template <typename Find>
int List(SongsOptions &options, const Find &find) {
    int status = kDone;
    if (!OpenLibrary(options, status)) {
        return status;
    }
    const std::unique_ptr<SongPage> page =
        find(TrackWriter(options.uid, options.user, options.additions));
    if (options.json) {
        PrintJson(*page);
    } else {
        PrintTable(page->Rows(), page->Offset(), page->Total());
    }
    return kDone;
}

int Songs(SongsOptions &options) {
    return List(options, [&](const auto &writer) { return ListSongs(options, writer); });
}

int Search(SearchOptions &options) {
    return List(options, [&](const auto &writer) {
        return SearchSongs(options, options.keyword, options.in, writer);
    });
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

void AddSearch(const Verb &app) {
    const Verb verb = app.AddVerb("search", "List the tracks that have a text in their tags");
    const auto options = std::make_shared<SearchOptions>();
    verb.AddText("keyword", options->keyword, "The text, in any case, anywhere in a tag")
        .Required()
        .ValueName("TEXT")
        .Check([](const std::string &text) { return text.empty() ? "it is empty" : ""; });
    verb.AddText("--in", options->in, "The tag to look at").OneOf(SearchFields()).ValueName("");
    AddLibrary(verb, *options);
    AddFilters(verb, options->filters);
    AddPage(verb, *options, SongSortKeys(), "tracks");
    AddAdditions(verb, options->additions).Needs("--json");
    verb.Do([options] { return Search(*options); });
}

}  // namespace tonvale_cli
