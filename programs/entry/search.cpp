// VARN.Tonvale.Search: names of all kinds with the words of a text.
#include "service/search/search.h"

#include "action.h"
#include "list_request.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr Parameter kFew = LimitedTo(50, "5");

// The library of a request; a search has no filters.
ListRequest LibraryOf(const Request &asked) {
    ListRequest request = ListRequestOf(asked);
    request.filters = {};
    request.sortBy.clear();
    return request;
}

std::vector<Collection> CollectionsOf(const Request &asked) {
    return {CollectionOf(asked, true), CollectionOf(asked, false)};
}

template <std::size_t Kind>
std::unique_ptr<Page> Groups(const Request &asked) {
    return SearchGroups(SearchedGroups().at(Kind), LibraryOf(asked), asked.RequiredText("keyword"));
}

std::unique_ptr<Page> Playlists(const Request &asked) {
    const PageWanted page = PageOf(asked);
    return SearchPlaylists(CollectionsOf(asked), asked.RequiredText("keyword"), page.offset,
                           page.limit);
}

Json::Value All(const Request &asked) {
    ListRequest request = LibraryOf(asked);
    request.offset = 0;
    request.limit = static_cast<int>(asked.Number(kFew));
    return SearchAll(request, asked.RequiredText("keyword"), CollectionsOf(asked),
                     TrackWriterOf(asked));
}

constexpr Parameter kKeyword{
    .name = "keyword", .what = "Words, all of them; 400 bytes at most.", .isRequired = true};
constexpr std::array kAllParameters = {kKeyword, kFew, kLibrary, kAdditional};
constexpr auto kGroupParameters = Join(kKeyword, kPaging, kLibrary);
constexpr auto kPlaylistParameters = Join(kKeyword, kPaging);

constexpr Method kMethods[] = {
    {.name = "all",
     .make = Make<All>,
     .summary = "The first few songs, albums, artists, composers and playlists",
     .parameters = kAllParameters,
     .answer = "Found"},
    {.name = "albums",
     .make = Make<Groups<0>>,
     .takesRoot = false,
     .summary = "Albums by their names",
     .parameters = kGroupParameters,
     .answer = "FoundAlbums"},
    {.name = "artists",
     .make = Make<Groups<1>>,
     .takesRoot = false,
     .summary = "Artists by their names",
     .parameters = kGroupParameters,
     .answer = "FoundArtists"},
    {.name = "composers",
     .make = Make<Groups<2>>,
     .takesRoot = false,
     .summary = "Composers by their names",
     .parameters = kGroupParameters,
     .answer = "FoundComposers"},
    {.name = "playlists",
     .make = Make<Playlists>,
     .summary = "Playlists by their names",
     .parameters = kPlaylistParameters,
     .answer = "PlaylistPage"},
};

constexpr Field kAlbum[] = {{"name", "text"}, {"album_artist", "text"}};
constexpr Field kName[] = {{"name", "text"}};
constexpr Field kFound[] = {
    {"songs", "[Song]"},         {"albums", "[FoundAlbum]"},
    {"artists", "[FoundName]"},  {"composers", "[FoundName]"},
    {"playlists", "[Playlist]"}, {"total", "{number}", "how many there are of each"}};
constexpr Field kAlbums[] = {{"offset", "number"}, {"total", "number"}, {"albums", "[FoundAlbum]"}};
constexpr Field kArtists[] = {
    {"offset", "number"}, {"total", "number"}, {"artists", "[FoundName]"}};
constexpr Field kComposers[] = {
    {"offset", "number"}, {"total", "number"}, {"composers", "[FoundName]"}};
constexpr Schema kSchemas[] = {{"FoundAlbum", kAlbum},     {"FoundName", kName},
                               {"Found", kFound},          {"FoundAlbums", kAlbums},
                               {"FoundArtists", kArtists}, {"FoundComposers", kComposers}};

}  // namespace

const Api kSearchApi{.name = "VARN.Tonvale.Search",
                     .methods = kMethods,
                     .summary =
                         "Names of all kinds with the words of a text, best matches first: "
                         "docs/browsing.md",
                     .schemas = kSchemas};

}  // namespace tonvale_entry
