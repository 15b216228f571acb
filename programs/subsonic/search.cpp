// Searches: search2, search3.
#include "service/search/search.h"

#include <algorithm>
#include <unordered_map>

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

template <typename Facts>
std::vector<Facts> Cut(std::vector<Facts> all, const ListRequest &page) {
    const auto first = std::min<std::size_t>(static_cast<std::size_t>(page.offset), all.size());
    const auto last =
        std::min<std::size_t>(first + static_cast<std::size_t>(page.limit), all.size());
    return {std::make_move_iterator(all.begin() + static_cast<std::ptrdiff_t>(first)),
            std::make_move_iterator(all.begin() + static_cast<std::ptrdiff_t>(last))};
}

// The names that a search has found, as identifiers with their places.
template <typename IdOf>
std::unordered_map<std::string, std::size_t> PlacesOf(Page &found, const IdOf &idOf) {
    std::unordered_map<std::string, std::size_t> places;
    for (Json::Value part = found.Next(); !part.empty(); part = found.Next()) {
        for (const Json::Value &name : part) {
            places.emplace(idOf(name), places.size());
        }
    }
    return places;
}

template <typename Facts, typename PlaceOf>
std::vector<Facts> Ordered(std::vector<Facts> found, const PlaceOf &placeOf) {
    std::sort(found.begin(), found.end(),
              [&](const Facts &a, const Facts &b) { return placeOf(a) < placeOf(b); });
    return found;
}

std::vector<ArtistFacts> Artists(const std::string &query, const ListRequest &page) {
    if (query.empty()) {
        std::vector<ArtistFacts> all = AllArtists(page);
        std::erase_if(all, [](const ArtistFacts &artist) { return !artist.isListed; });
        return Cut(std::move(all), page);
    }
    const auto places =
        PlacesOf(*SearchGroups("artists", page, query),
                 [](const Json::Value &name) { return ArtistId(name["name"].asString()); });
    return Ordered(
        SomeArtists(page, [&](const char *name) { return places.contains(ArtistId(name)); }),
        [&](const ArtistFacts &artist) { return places.at(ArtistId(artist.name)); });
}

std::vector<AlbumFacts> Albums(const std::string &query, const ListRequest &page) {
    if (query.empty()) {
        return Cut(AllAlbums(page), page);
    }
    const auto places = PlacesOf(*SearchGroups("albums", page, query), [](const Json::Value &name) {
        return AlbumId(name["name"].asString(), name["album_artist"].asString());
    });
    return Ordered(
        SomeAlbums(page,
                   [&](const char *name, const char *albumArtist) {
                       return places.contains(AlbumId(name, albumArtist));
                   }),
        [&](const AlbumFacts &album) { return places.at(AlbumId(album.name, album.albumArtist)); });
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
