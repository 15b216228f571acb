// The verb that searches: songs, what they have in common, playlists, or all of these.
#include "service/search/search.h"

#include <json/json.h>

#include <memory>

#include "command.h"
#include "library_options.h"
#include "page_output.h"
#include "playlist_output.h"
#include "song_output.h"
#include "track_output.h"

namespace tonvale_cli {

namespace {

using namespace tonvale_service;

constexpr char kAll[] = "all";
constexpr char kSongs[] = "songs";
constexpr char kPlaylists[] = "playlists";

struct SearchOptions : LibraryOptions {
    std::string keyword;
    std::string in = SearchFields().front();
    std::string kind = kSongs;
    Additions additions;
};

std::vector<std::string> Kinds() {
    std::vector<std::string> kinds = SearchedGroups();
    kinds.insert(kinds.begin(), kSongs);
    kinds.emplace_back(kPlaylists);
    return kinds;
}

std::vector<Collection> CollectionsOf(const SearchOptions &options) {
    std::vector<Collection> collections;
    for (const bool isPersonal : {true, false}) {
        collections.push_back({options.user, isPersonal, options.uid});
        Complete(collections.back());
    }
    return collections;
}

void PrintNames(Page &page) {
    const bool isAlbums = page.ListName() == SearchedGroups().front();
    std::vector<Table::Column> columns = {{isAlbums ? "ALBUM" : "NAME", false, true}};
    if (isAlbums) {
        columns.push_back({"ALBUM ARTIST", false, true});
    }
    Table table(std::move(columns));
    int64_t shown = 0;
    for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
        for (const Json::Value &name : part) {
            std::vector<std::string> cells = {name["name"].asString()};
            if (isAlbums) {
                cells.push_back(name["album_artist"].asString());
            }
            table.AddRow(std::move(cells));
            ++shown;
        }
    }
    const std::string &many = page.ListName();
    const std::string one = many.substr(0, many.size() - 1);
    PrintPage(table, page.Offset(), shown, page.Total(), {one.c_str(), many.c_str()});
}

void PrintKind(const SearchOptions &options, const std::string &kind) {
    std::unique_ptr<Page> page;
    if (kind == kSongs) {
        auto songs = SearchSongs(options, options.keyword, options.in,
                                 TrackWriter(options.uid, options.user, options.additions));
        if (!options.json) {
            PrintTable(songs->Rows(), songs->Offset(), songs->Total());
            return;
        }
        page = std::move(songs);
    } else if (kind == kPlaylists) {
        page =
            SearchPlaylists(CollectionsOf(options), options.keyword, options.offset, options.limit);
    } else {
        page = SearchGroups(kind, options, options.keyword);
    }
    if (options.json) {
        PrintJson(*page);
    } else if (kind == kPlaylists) {
        PrintTable(*page);
    } else {
        PrintNames(*page);
    }
}

int Search(SearchOptions &options) {
    if (!OpenLibrary(options)) {
        return kFailed;
    }
    if (options.kind != kAll) {
        PrintKind(options, options.kind);
    } else if (options.json) {
        PrintJson(SearchAll(options, options.keyword, CollectionsOf(options),
                            TrackWriter(options.uid, options.user, options.additions)));
    } else {
        for (const std::string &kind : Kinds()) {
            PrintKind(options, kind);
        }
    }
    return kDone;
}

}  // namespace

void AddSearch(const Verb &app) {
    const Verb verb = app.AddVerb("search", "Search the library for words");
    const auto options = std::make_shared<SearchOptions>();
    verb.AddText("keyword", options->keyword, "Words, in any order, case and way of writing")
        .Required()
        .ValueName("TEXT")
        .Check([](const std::string &text) { return text.empty() ? "it is empty" : ""; });
    std::vector<std::string> kinds = Kinds();
    kinds.emplace_back(kAll);
    verb.AddText("--kind", options->kind, "What to list; all: a page of each kind")
        .OneOf(kinds)
        .ValueName("");
    verb.AddText("--in", options->in, "The tag of songs to look at")
        .OneOf(SearchFields())
        .ValueName("");
    AddLibrary(verb, *options);
    AddFilters(verb, options->filters);
    AddPage(verb, *options, SearchSortKeys(), "results");
    AddAdditions(verb, options->additions).Needs("--json");
    verb.Do([options] { return Search(*options); });
}

}  // namespace tonvale_cli
