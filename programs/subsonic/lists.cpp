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

using Albums = std::vector<AlbumFacts>;

// The albums with a mark of the user's, those with the highest first.
template <auto Member>
Albums ByMark(const Request &asked) {
    const auto marks = AlbumMarks(asked.Uid());
    const auto markOf = [&](const std::string &name, const std::string &albumArtist) {
        const auto mark = marks.find({name, albumArtist});
        return mark != marks.end() ? (mark->second).*Member : 0;
    };
    Albums albums = SomeAlbums(LibraryOf(asked), [&](const char *name, const char *albumArtist) {
        return markOf(name, albumArtist) > 0;
    });
    std::stable_sort(albums.begin(), albums.end(), [&](const AlbumFacts &a, const AlbumFacts &b) {
        return markOf(a.name, a.albumArtist) > markOf(b.name, b.albumArtist);
    });
    return albums;
}

template <auto Member, bool IsDescending = false>
Albums By(const Request &asked) {
    Albums albums = AllAlbums(LibraryOf(asked));
    std::stable_sort(albums.begin(), albums.end(), [](const AlbumFacts &a, const AlbumFacts &b) {
        return IsDescending ? a.*Member > b.*Member : a.*Member < b.*Member;
    });
    return albums;
}

Albums ByName(const Request &asked) {
    return AllAlbums(LibraryOf(asked));
}

Albums Shuffled(const Request &asked) {
    Albums albums = AllAlbums(LibraryOf(asked));
    std::shuffle(albums.begin(), albums.end(), std::mt19937_64(std::random_device()()));
    return albums;
}

// From a year to another one, which may be the earlier.
Albums ByYear(const Request &asked) {
    const auto from = asked.RequiredNumber("fromYear", 0, kLastYear);
    const auto to = asked.RequiredNumber("toYear", 0, kLastYear);
    Albums albums = from > to ? By<&AlbumFacts::year, true>(asked) : By<&AlbumFacts::year>(asked);
    std::erase_if(albums, [&](const AlbumFacts &album) {
        return album.year == 0 || album.year < std::min(from, to) ||
               album.year > std::max(from, to);
    });
    return albums;
}

Albums ByGenre(const Request &asked) {
    const std::string genre = asked.Required("genre");
    Albums albums = AllAlbums(LibraryOf(asked));
    std::erase_if(albums, [&](const AlbumFacts &album) {
        return std::find(album.genres.begin(), album.genres.end(), genre) == album.genres.end();
    });
    return albums;
}

struct ListType {
    std::string_view name;
    Albums (*list)(const Request &asked);
};
constexpr ListType kTypes[] = {{"alphabeticalByArtist", By<&AlbumFacts::placeByArtist>},
                               {"alphabeticalByName", ByName},
                               {"byGenre", ByGenre},
                               {"byYear", ByYear},
                               {"frequent", ByMark<&SongMarks::plays>},
                               {"highest", ByMark<&SongMarks::stars>},
                               {"newest", By<&AlbumFacts::added, true>},
                               {"random", Shuffled},
                               {"recent", ByMark<&SongMarks::lastPlayed>},
                               {"starred", ByMark<&SongMarks::favouriteSince>}};

template <AlbumForm Form>
Json::Value AlbumList(const Request &asked) {
    const std::string name = asked.Required("type");
    const auto type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const ListType &known) { return known.name == name; });
    if (type == std::end(kTypes)) {
        throw Fault{kGeneric, "there is no type of list '" + name + "'"};
    }
    const auto size = static_cast<std::size_t>(asked.Count("size", kUsual, kMost));
    const auto offset = static_cast<std::size_t>(asked.Offset("offset"));
    Albums albums = type->list(asked);
    albums.erase(albums.begin(),
                 albums.begin() + static_cast<std::ptrdiff_t>(std::min(offset, albums.size())));
    albums.resize(std::min(size, albums.size()));
    return AlbumsOf(asked, albums, Form);
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
    const Albums albums = ByMark<&SongMarks::favouriteSince>(asked);
    const auto favourites = FavouriteArtists(asked.Uid());
    const std::vector<ArtistFacts> artists = SomeArtists(
        request, [&](const char *name) { return favourites.contains(FoldedName(name)); });
    std::vector<int> songs;
    for (const SongId &song : FavouriteSongs(asked.Uid())) {
        songs.push_back(song.row);
    }
    Json::Value starred(Json::objectValue);
    starred["artist"] = ArtistsOf(asked, artists);
    starred["album"] = AlbumsOf(asked, albums, Form);
    starred["song"] = ChildrenOf(SongsOfRows(request, songs));
    return starred;
}

constexpr Endpoint kEndpoints[] = {
    {.name = "getAlbumList",
     .answer = Named<"albumList", Named<"album", AlbumList<AlbumForm::kChild>>>},
    {.name = "getAlbumList2",
     .answer = Named<"albumList2", Named<"album", AlbumList<AlbumForm::kAlbum>>>},
    {.name = "getNowPlaying", .answer = Named<"nowPlaying", Named<"entry", NowPlaying>>},
    {.name = "getRandomSongs", .answer = Named<"randomSongs", Named<"song", RandomSongs>>},
    {.name = "getSongsByGenre", .answer = Named<"songsByGenre", Named<"song", SongsByGenre>>},
    {.name = "getStarred", .answer = Named<"starred", Starred<AlbumForm::kChild>>},
    {.name = "getStarred2", .answer = Named<"starred2", Starred<AlbumForm::kAlbum>>}};

}  // namespace

const std::span<const Endpoint> kListEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
