// Searches: search2, search3.
#include "service/search/search.h"

#include "endpoint.h"
#include "objects.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

constexpr int kUsual = 20;
constexpr int kMost = 500;

// What is looked for; "" for everything, which some clients write with quotes. An asterisk at the
// end would ask for words that begin so, which all searches do.
std::string QueryOf(const Request &asked) {
    const auto given = asked.Given("query");
    if (!given) {
        throw Fault{kMissing, "the required parameter 'query' is missing"};
    }
    std::string query = *given;
    while (query.ends_with('*')) {
        query.pop_back();
    }
    return query.find_first_not_of("\" ") == query.npos ? "" : query;
}

// The library with the page of one kind: "song" for songCount and songOffset.
ListRequest PageOf(const Request &asked, const std::string &kind) {
    ListRequest request = LibraryOf(asked);
    request.limit = asked.Count(kind + "Count", kUsual, kMost);
    request.offset = asked.Offset(kind + "Offset");
    return request;
}

// The groups with the names that a search has found, in its order.
template <typename Facts, typename HashOf>
std::vector<Facts> Found(const char *kind, const ListRequest &page, const std::string &query,
                         const HashOf &hashOf) {
    Numbers places;
    const auto found = SearchGroups(kind, page, query);
    for (Json::Value part = found->Next(); !part.empty(); part = found->Next()) {
        for (const Json::Value &name : part) {
            places.emplace(hashOf(name), places.size());
        }
    }
    const GroupList<Facts> all(page);
    return all.At(PlacesBy(places, all));
}

std::vector<ArtistFacts> Artists(const std::string &query, const ListRequest &page) {
    if (query.empty()) {
        const ArtistList all(page);
        return all.At(Listed(all), page.offset, page.limit);
    }
    return Found<ArtistFacts>("artists", page, query, [](const Json::Value &name) {
        return ArtistHash(name["name"].asString());
    });
}

std::vector<AlbumFacts> Albums(const std::string &query, const ListRequest &page) {
    if (query.empty()) {
        const AlbumList all(page);
        return all.At(all.All(), page.offset, page.limit);
    }
    return Found<AlbumFacts>("albums", page, query, [](const Json::Value &name) {
        return AlbumHash(name["name"].asString(), name["album_artist"].asString());
    });
}

template <AlbumForm Form>
Json::Value Search(const Request &asked) {
    const std::string query = QueryOf(asked);
    const ListRequest artists = PageOf(asked, "artist");
    const ListRequest albums = PageOf(asked, "album");
    const ListRequest songs = PageOf(asked, "song");
    Json::Value result(Json::objectValue);
    for (const char *list : {"artist", "album", "song"}) {
        result[list] = Json::Value(Json::arrayValue);
    }
    if (artists.limit > 0) {
        result["artist"] = ArtistsOf(asked, Artists(query, artists));
    }
    if (albums.limit > 0) {
        result["album"] = AlbumsOf(asked, Albums(query, albums), Form);
    }
    if (songs.limit > 0) {
        result["song"] = ChildrenOf(
            SongsOfRows(songs, query.empty() ? SongRows(songs) : RowsThatMatch(songs, query)));
    }
    return result;
}

constexpr Endpoint kEndpoints[] = {
    {.name = "search2", .answer = Named<"searchResult2", Search<AlbumForm::kChild>>},
    {.name = "search3", .answer = Named<"searchResult3", Search<AlbumForm::kAlbum>>}};

}  // namespace

const std::span<const Endpoint> kSearchEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
