// VARN.Tonvale.Search: names of all kinds with the words of a text.
#include "service/search.h"

#include "action.h"
#include "list_request.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr int kMostOfAll = 50;
constexpr int kUsualOfAll = 5;

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
    request.limit = static_cast<int>(asked.Number("limit", kUsualOfAll, 1, kMostOfAll));
    return SearchAll(request, asked.RequiredText("keyword"), CollectionsOf(asked),
                     TrackWriterOf(asked));
}

constexpr Method kMethods[] = {{.name = "all", .make = Make<All>},
                               {.name = "albums", .make = Make<Groups<0>>, .takesRoot = false},
                               {.name = "artists", .make = Make<Groups<1>>, .takesRoot = false},
                               {.name = "composers", .make = Make<Groups<2>>, .takesRoot = false},
                               {.name = "playlists", .make = Make<Playlists>}};

}  // namespace

const Api kSearchApi{"VARN.Tonvale.Search", kMethods};

}  // namespace tonvale_entry
