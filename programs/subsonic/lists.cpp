// Lists of albums and songs: getAlbumList, getRandomSongs, getSongsByGenre, getNowPlaying and
// getStarred, the first and the last in both of their forms.
#include <algorithm>
#include <ctime>
#include <random>

#include "endpoint.h"
#include "objects.h"
#include "service/listening/favourites.h"
#include "service/listening/plays.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

constexpr int kUsual = 10;
constexpr int kMost = 500;
constexpr int kLastYear = 9999;
constexpr int kStillPlaying = 600;  // seconds

using Places = AlbumList::Places;

template <AlbumFacts::Column Column, int Direction = 1>
Places By(const Request &, const AlbumList &all) {
    return all.Sorted([&](std::size_t place) { return Direction * all.Number(place, Column); });
}

// The albums with a mark of the user's, those with the highest first.
template <auto Member>
Places ByMark(const Request &asked, const AlbumList &all) {
    Numbers marks;
    for (const auto &[album, mark] : AlbumMarks(asked.Uid())) {
        if (mark.*Member > 0) {
            marks[AlbumHash(album.name, album.artist)] = -(mark.*Member);
        }
    }
    return PlacesBy(marks, all);
}

Places ByFavourite(const Request &asked, const AlbumList &all) {
    Numbers marks;
    for (const auto &[album, since] : FavouriteAlbums(asked.Uid())) {
        marks[AlbumHash(album.name, album.artist)] = -since;
    }
    return PlacesBy(marks, all);
}

Places ByName(const Request &, const AlbumList &all) {
    return all.All();
}

Places Shuffled(const Request &, const AlbumList &all) {
    Places places = all.All();
    std::shuffle(places.begin(), places.end(), std::mt19937_64(std::random_device()()));
    return places;
}

// From a year to another one, which may be the earlier.
Places ByYear(const Request &asked, const AlbumList &all) {
    const auto from = asked.RequiredNumber("fromYear", 0, kLastYear);
    const auto to = asked.RequiredNumber("toYear", 0, kLastYear);
    const auto [first, last] = std::minmax(from, to);
    return all.Sorted([&](std::size_t place) -> std::optional<long long> {
        const long long year = all.Number(place, AlbumFacts::kYear);
        return year == 0 || year < first || year > last ? std::nullopt
                                                        : std::optional(from > to ? -year : year);
    });
}

Places ByGenre(const Request &asked, const AlbumList &all) {
    const std::string genre = asked.Required("genre");
    return all.Where([&](std::size_t place) {
        const auto genres = GenresIn(all.Text(place, AlbumFacts::kGenres));
        return std::find(genres.begin(), genres.end(), genre) != genres.end();
    });
}

struct ListType {
    std::string_view name;
    Places (*list)(const Request &asked, const AlbumList &all);
};
constexpr ListType kTypes[] = {{"alphabeticalByArtist", By<AlbumFacts::kByArtist>},
                               {"alphabeticalByName", ByName},
                               {"byGenre", ByGenre},
                               {"byYear", ByYear},
                               {"frequent", ByMark<&SongMarks::plays>},
                               {"highest", ByMark<&SongMarks::stars>},
                               {"newest", By<AlbumFacts::kAdded, -1>},
                               {"random", Shuffled},
                               {"recent", ByMark<&SongMarks::lastPlayed>},
                               {"starred", ByFavourite}};

template <AlbumForm Form>
Json::Value ListedAlbums(const Request &asked) {
    const std::string name = asked.Required("type");
    const auto type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const ListType &known) { return known.name == name; });
    if (type == std::end(kTypes)) {
        throw Fault{kGeneric, "there is no type of list '" + name + "'"};
    }
    const int size = asked.Count("size", kUsual, kMost);
    const int offset = asked.Offset("offset");
    const AlbumList all(LibraryOf(asked));
    return AlbumsOf(asked, all.At(type->list(asked, all), offset, size), Form);
}

Json::Value RandomSongs(const Request &asked) {
    const auto from = asked.GivenNumber("fromYear", 0, kLastYear);
    const auto to = asked.GivenNumber("toYear", 0, kLastYear);
    std::string condition;
    if (from || to) {
        condition = "t.year BETWEEN " + std::to_string(from.value_or(1)) + " AND " +
                    std::to_string(to.value_or(kLastYear));
    }
    if (const std::string genre = asked.Text("genre"); !genre.empty()) {
        condition += (condition.empty() ? "" : " AND ") + IsOfGenre(genre);
    }
    return SomeSongs(
        asked,
        {.condition = condition, .order = kByChance, .limit = asked.Count("size", kUsual, kMost)});
}

Json::Value SongsByGenre(const Request &asked) {
    return SomeSongs(asked, {.condition = IsOfGenre(asked.Required("genre")),
                             .order = ByTitle(),
                             .offset = asked.Offset("offset"),
                             .limit = asked.Count("count", kUsual, kMost)});
}

Json::Value NowPlaying(const Request &asked) {
    Json::Value list(Json::arrayValue);
    for (const Playing &playing : PlayingNow(asked.Uid(), kStillPlaying)) {
        for (Json::Value &entry : ChildrenOf(asked, {playing.song})) {
            entry["username"] = asked.User();
            entry["minutesAgo"] =
                Json::Int64{std::max<long long>(std::time(nullptr) - playing.since, 0) / 60};
            entry["playerId"] = 0;
            entry["playerName"] = playing.client;
            list.append(std::move(entry));
        }
    }
    return list;
}

template <AlbumForm Form>
Json::Value Starred(const Request &asked) {
    const ListRequest request = LibraryOf(asked);
    const AlbumList albums(request);
    const ArtistList artists(request);
    const auto favourites = FavouriteArtists(asked.Uid());
    const auto isFavourite = [&](std::size_t place) {
        return favourites.contains(
            FoldedName(std::string(artists.Text(place, ArtistFacts::kName))));
    };
    std::vector<int> songs;
    for (const SongId &song : FavouriteSongs(asked.Uid())) {
        songs.push_back(song.row);
    }
    Json::Value starred(Json::objectValue);
    starred["artist"] = ArtistsOf(asked, artists.At(artists.Where(isFavourite)));
    starred["album"] = AlbumsOf(asked, albums.At(ByFavourite(asked, albums)), Form);
    starred["song"] = ChildrenOf(SongsOfRows(request, songs));
    return starred;
}

constexpr Endpoint kEndpoints[] = {
    {.name = "getAlbumList",
     .answer = Named<"albumList", Named<"album", ListedAlbums<AlbumForm::kChild>>>},
    {.name = "getAlbumList2",
     .answer = Named<"albumList2", Named<"album", ListedAlbums<AlbumForm::kAlbum>>>},
    {.name = "getNowPlaying", .answer = Named<"nowPlaying", Named<"entry", NowPlaying>>},
    {.name = "getRandomSongs", .answer = Named<"randomSongs", Named<"song", RandomSongs>>},
    {.name = "getSongsByGenre", .answer = Named<"songsByGenre", Named<"song", SongsByGenre>>},
    {.name = "getStarred", .answer = Named<"starred", Starred<AlbumForm::kChild>>},
    {.name = "getStarred2", .answer = Named<"starred2", Starred<AlbumForm::kAlbum>>}};

}  // namespace

const std::span<const Endpoint> kListEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
