// VARN.Tonvale.Favourite: the favourite songs, albums and artists of the user who asks.
#include "service/listening/favourites.h"

#include "action.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

Json::Value List(const Request &asked) {
    const uid_t uid = asked.User().GetLoginUID();
    Json::Value data(Json::objectValue);
    data["songs"] = data["albums"] = data["artists"] = Json::Value(Json::arrayValue);
    for (const SongId &song : FavouriteSongs(uid)) {
        data["songs"].append(SongIdText(song));
    }
    for (const auto &[album, since] : FavouriteAlbums(uid)) {
        Json::Value &entry = data["albums"].append(Json::Value(Json::objectValue));
        entry["name"] = album.name;
        entry["album_artist"] = album.artist;
        entry["since"] = Json::Int64{since};
    }
    for (const auto &[folded, artist] : FavouriteArtists(uid)) {
        Json::Value &entry = data["artists"].append(Json::Value(Json::objectValue));
        entry["name"] = artist.name;
        entry["since"] = Json::Int64{artist.since};
    }
    return data;
}

std::vector<int> Rows(uid_t uid, const std::vector<std::string> &ids) {
    const std::set<int> rows = RowsOf(uid, ids);
    return {rows.begin(), rows.end()};
}

// Of songs, an album or an artist, whichever the request names.
template <bool IsFavourite>
Json::Value Set(const Request &asked) {
    const uid_t uid = asked.User().GetLoginUID();
    const auto album = asked.Given("album");
    const auto artist = asked.Given("artist");
    if (asked.Given("songs").has_value() + album.has_value() + artist.has_value() != 1) {
        throw Refusal{Code::kBadParameter, "", "name one of songs, album and artist"};
    }
    if (album) {
        SetFavouriteAlbum(uid, {*album, asked.Text("album_artist")}, IsFavourite);
    } else if (artist) {
        SetFavouriteArtist(uid, *artist, IsFavourite);
    } else {
        SetFavouriteSongs(uid, Rows(uid, asked.Values("songs")), IsFavourite);
    }
    return Json::Value(Json::objectValue);
}

constexpr std::array kOneParameters = {
    Parameter{.name = "songs", .what = "Identifiers of songs, 1000 at most.", .kind = Kind::kTexts},
    Parameter{.name = "album", .what = "The name of an album."},
    Parameter{.name = "album_artist", .what = "With album: its album artist, if it has one."},
    Parameter{.name = "artist", .what = "The name of an artist, in any case."}};

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<List>,
     .takesRoot = false,
     .summary = "All favourites of the user",
     .answer = "Favourites"},
    {.name = "add",
     .make = Make<Set<true>>,
     .changes = true,
     .takesRoot = false,
     .summary =
         "Make favourites of songs (all or none), of an album or of an artist: one of the three",
     .parameters = kOneParameters},
    {.name = "remove",
     .make = Make<Set<false>>,
     .changes = true,
     .takesRoot = false,
     .summary = "Take songs, an album or an artist, one of the three, off the favourites",
     .parameters = kOneParameters},
};

constexpr Field kAlbum[] = {{"name", "text"}, {"album_artist", "text"}, {"since", "time"}};
constexpr Field kArtist[] = {{"name", "text"}, {"since", "time"}};
constexpr Field kAll[] = {{"songs", "[text]", "identifiers, the latest first"},
                          {"albums", "[FavouriteAlbum]", "by name"},
                          {"artists", "[FavouriteArtist]", "by name"}};
constexpr Schema kSchemas[] = {
    {"FavouriteAlbum", kAlbum}, {"FavouriteArtist", kArtist}, {"Favourites", kAll}};

}  // namespace

const Api kFavouriteApi{
    .name = "VARN.Tonvale.Favourite",
    .methods = kMethods,
    .summary = "The user's favourites, 10,000 songs, albums and artists each at most",
    .schemas = kSchemas};

}  // namespace tonvale_entry
