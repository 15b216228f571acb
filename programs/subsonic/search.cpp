// Searches: search2, search3.
#include "service/search.h"

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

// The groups whose names a search has found, in its order.
template <typename Facts, typename IdOfName, typename IdOfFacts>
std::vector<Facts> Named(Page &found, std::vector<Facts> all, const IdOfName &idOfName,
                         const IdOfFacts &idOfFacts) {
    std::unordered_map<std::string, std::size_t> places;
    for (Json::Value part = found.Next(); !part.empty(); part = found.Next()) {
        for (const Json::Value &name : part) {
            places.emplace(idOfName(name), places.size());
        }
    }
    std::vector<const Facts *> ordered(places.size());
    for (const Facts &facts : all) {
        if (const auto place = places.find(idOfFacts(facts)); place != places.end()) {
            ordered[place->second] = &facts;
        }
    }
    std::vector<Facts> groups;
    for (const Facts *facts : ordered) {
        if (facts != nullptr) {
            groups.push_back(*facts);
        }
    }
    return groups;
}

std::vector<ArtistFacts> Artists(const std::string &query, const ListRequest &page) {
    std::vector<ArtistFacts> all = AllArtists(page);
    if (query.empty()) {
        std::erase_if(all, [](const ArtistFacts &artist) { return !artist.isListed; });
        return Cut(std::move(all), page);
    }
    return Named(
        *SearchGroups("artists", page, query), std::move(all),
        [](const Json::Value &name) { return ArtistId(name["name"].asString()); },
        [](const ArtistFacts &artist) { return ArtistId(artist.name); });
}

std::vector<AlbumFacts> Albums(const std::string &query, const ListRequest &page) {
    std::vector<AlbumFacts> all = AllAlbums(page);
    if (query.empty()) {
        return Cut(std::move(all), page);
    }
    return Named(
        *SearchGroups("albums", page, query), std::move(all),
        [](const Json::Value &name) {
            return AlbumId(name["name"].asString(), name["album_artist"].asString());
        },
        [](const AlbumFacts &album) { return AlbumId(album.name, album.albumArtist); });
}

Json::Value Search(const Request &asked, AlbumForm form) {
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
        result["album"] = AlbumsOf(asked, Albums(query, albums), form);
    }
    if (songs.limit > 0) {
        result["song"] = ChildrenOf(
            SongsOfRows(songs, query.empty() ? SongRows(songs) : RowsThatMatch(songs, query)));
    }
    return result;
}

Json::Value Search2(const Request &asked) {
    Json::Value members(Json::objectValue);
    members["searchResult2"] = Search(asked, AlbumForm::kChild);
    return members;
}

Json::Value Search3(const Request &asked) {
    Json::Value members(Json::objectValue);
    members["searchResult3"] = Search(asked, AlbumForm::kAlbum);
    return members;
}

constexpr Endpoint kEndpoints[] = {{.name = "search2", .answer = Search2},
                                   {.name = "search3", .answer = Search3}};

}  // namespace

const std::span<const Endpoint> kSearchEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
