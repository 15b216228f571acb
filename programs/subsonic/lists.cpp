// Lists of albums and songs: getAlbumList and getAlbumList2, getRandomSongs, getSongsByGenre.
#include <algorithm>
#include <random>

#include "endpoint.h"
#include "objects.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

constexpr int kUsual = 10;
constexpr int kMost = 500;
constexpr int kLastYear = 9999;

using Albums = std::vector<AlbumFacts>;
using Marked = std::map<std::pair<std::string, std::string>, Marks>;

// The albums with a mark of the user's, those with the highest first.
template <typename Member>
void SortByMark(const Request &asked, Albums &albums, Member Marks::*member) {
    const Marked marks = AlbumMarks(asked.Uid());
    std::vector<std::pair<Member, AlbumFacts>> marked;
    for (AlbumFacts &album : albums) {
        const auto mark = marks.find({album.name, album.albumArtist});
        if (mark != marks.end() && mark->second.*member > 0) {
            marked.emplace_back(mark->second.*member, std::move(album));
        }
    }
    std::stable_sort(marked.begin(), marked.end(),
                     [](const auto &a, const auto &b) { return a.first > b.first; });
    albums.clear();
    for (auto &[value, album] : marked) {
        albums.push_back(std::move(album));
    }
}

template <typename Member>
void SortBy(Albums &albums, Member AlbumFacts::*member, bool descending = false) {
    std::stable_sort(albums.begin(), albums.end(), [&](const AlbumFacts &a, const AlbumFacts &b) {
        return descending ? a.*member > b.*member : a.*member < b.*member;
    });
}

void Shuffle(const Request &, Albums &albums) {
    std::shuffle(albums.begin(), albums.end(), std::mt19937_64(std::random_device()()));
}

// From a year to another one, which may be the earlier.
void ByYear(const Request &asked, Albums &albums) {
    const auto from = asked.RequiredNumber("fromYear", 0, kLastYear);
    const auto to = asked.RequiredNumber("toYear", 0, kLastYear);
    std::erase_if(albums, [&](const AlbumFacts &album) {
        return album.year == 0 || album.year < std::min(from, to) ||
               album.year > std::max(from, to);
    });
    SortBy(albums, &AlbumFacts::year, from > to);
}

void ByGenre(const Request &asked, Albums &albums) {
    const std::string genre = asked.Required("genre");
    std::erase_if(albums, [&](const AlbumFacts &album) {
        return std::find(album.genres.begin(), album.genres.end(), genre) == album.genres.end();
    });
}

// Each takes all albums by name.
struct ListType {
    std::string_view name;
    void (*arrange)(const Request &asked, Albums &albums);
};
constexpr ListType kTypes[] = {
    {"alphabeticalByArtist",
     [](const Request &, Albums &albums) { SortBy(albums, &AlbumFacts::placeByArtist); }},
    {"alphabeticalByName", [](const Request &, Albums &) {}},
    {"byGenre", ByGenre},
    {"byYear", ByYear},
    {"frequent",
     [](const Request &asked, Albums &albums) { SortByMark(asked, albums, &Marks::plays); }},
    {"highest",
     [](const Request &asked, Albums &albums) { SortByMark(asked, albums, &Marks::stars); }},
    {"newest", [](const Request &, Albums &albums) { SortBy(albums, &AlbumFacts::added, true); }},
    {"random", Shuffle},
    {"recent",
     [](const Request &asked, Albums &albums) { SortByMark(asked, albums, &Marks::lastPlayed); }},
    {"starred", [](const Request &asked, Albums &albums) {
         SortByMark(asked, albums, &Marks::favouriteSince);
     }}};

Json::Value AlbumList(const Request &asked, AlbumForm form) {
    const std::string name = asked.Required("type");
    const auto type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const ListType &known) { return known.name == name; });
    if (type == std::end(kTypes)) {
        throw Fault{kGeneric, "there is no type of list '" + name + "'"};
    }
    const auto size = static_cast<std::size_t>(asked.Count("size", kUsual, kMost));
    const auto offset = static_cast<std::size_t>(asked.Offset("offset"));
    Albums albums = AllAlbums(LibraryOf(asked));
    type->arrange(asked, albums);
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
    std::string condition = "true";
    if (from || to) {
        condition = "t.year BETWEEN " + std::to_string(from.value_or(1)) + " AND " +
                    std::to_string(to.value_or(kLastYear));
    }
    if (const std::string genre = asked.Text("genre"); !genre.empty()) {
        condition += " AND " + IsOfGenre(genre);
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

constexpr Endpoint kEndpoints[] = {{.name = "getAlbumList", .answer = GetAlbumList},
                                   {.name = "getAlbumList2", .answer = GetAlbumList2},
                                   {.name = "getRandomSongs", .answer = GetRandomSongs},
                                   {.name = "getSongsByGenre", .answer = GetSongsByGenre}};

}  // namespace

const std::span<const Endpoint> kListEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
