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

Json::Value AlbumList(const Request &asked, AlbumForm form) {
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
    return AlbumsOf(asked, albums, form);
}

Json::Value GetAlbumList(const Request &asked) {
    Json::Value members(Json::objectValue);
    members["albumList"]["album"] = AlbumList(asked, AlbumForm::kChild);
    return members;
}

Json::Value GetAlbumList2(const Request &asked) {
    Json::Value members(Json::objectValue);
    members["albumList2"]["album"] = AlbumList(asked, AlbumForm::kAlbum);
    return members;
}

Json::Value GetRandomSongs(const Request &asked) {
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
    const int size = asked.Count("size", kUsual, kMost);
    Json::Value members(Json::objectValue);
    Json::Value &list = members["randomSongs"]["song"] = Json::Value(Json::arrayValue);
    if (size > 0) {
        list = ChildrenOf(ChooseSongs(LibraryOf(asked),
                                      {.condition = condition, .order = kByChance, .limit = size}));
    }
    return members;
}

Json::Value GetSongsByGenre(const Request &asked) {
    const SongChoice choice{.condition = IsOfGenre(asked.Required("genre")),
                            .order = ByTitle(),
                            .offset = asked.Offset("offset"),
                            .limit = asked.Count("count", kUsual, kMost)};
    Json::Value members(Json::objectValue);
    Json::Value &list = members["songsByGenre"]["song"] = Json::Value(Json::arrayValue);
    if (choice.limit > 0) {
        list = ChildrenOf(ChooseSongs(LibraryOf(asked), choice));
    }
    return members;
}

Json::Value GetNowPlaying(const Request &asked) {
    Json::Value members(Json::objectValue);
    Json::Value &list = members["nowPlaying"]["entry"] = Json::Value(Json::arrayValue);
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
    return members;
}

Json::Value Starred(const Request &asked, AlbumForm form) {
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
    starred["album"] = AlbumsOf(asked, albums, form);
    starred["song"] = ChildrenOf(SongsOfRows(request, songs));
    return starred;
}

Json::Value GetStarred(const Request &asked) {
    Json::Value members(Json::objectValue);
    members["starred"] = Starred(asked, AlbumForm::kChild);
    return members;
}

Json::Value GetStarred2(const Request &asked) {
    Json::Value members(Json::objectValue);
    members["starred2"] = Starred(asked, AlbumForm::kAlbum);
    return members;
}

constexpr Endpoint kEndpoints[] = {{.name = "getAlbumList", .answer = GetAlbumList},
                                   {.name = "getAlbumList2", .answer = GetAlbumList2},
                                   {.name = "getNowPlaying", .answer = GetNowPlaying},
                                   {.name = "getRandomSongs", .answer = GetRandomSongs},
                                   {.name = "getSongsByGenre", .answer = GetSongsByGenre},
                                   {.name = "getStarred", .answer = GetStarred},
                                   {.name = "getStarred2", .answer = GetStarred2}};

}  // namespace

const std::span<const Endpoint> kListEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
