// What users say of music: star, unstar, setRating, scrobble.
#include <ctime>
#include <set>

#include "endpoint.h"
#include "entry/parameters.h"
#include "objects.h"
#include "service/listening/favourites.h"
#include "service/listening/plays.h"
#include "song_ids.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

// What is to be a favourite, found before anything is changed.
struct Marked {
    std::vector<int> songs;
    std::vector<AlbumName> albums;
    std::vector<std::string> artists;
};

void AddAlbum(const Request &asked, const std::string &id, Marked &marked) {
    const AlbumFacts album = FindAlbum(asked, id);
    marked.albums.push_back({album.name, album.albumArtist});
}

void AddArtist(const Request &asked, const std::string &id, Marked &marked) {
    marked.artists.push_back(FindArtist(asked, id).name);
}

// Clients that know folders also give the identifiers of albums and artists as "id".
Marked MarkedBy(const Request &asked) {
    Marked marked;
    std::vector<std::string> ids;
    for (const char *name : {"id", "albumId", "artistId"}) {
        const std::vector<std::string> given = asked.All(name);
        ids.insert(ids.end(), given.begin(), given.end());
    }
    CheckFewGroups(ids);
    for (const std::string &id : asked.All("id")) {
        if (id.starts_with(kAlbumPrefix)) {
            AddAlbum(asked, id, marked);
        } else if (id.starts_with(kArtistPrefix)) {
            AddArtist(asked, id, marked);
        } else {
            marked.songs.push_back(RowOf(id));
        }
    }
    for (const std::string &id : asked.All("albumId")) {
        AddAlbum(asked, id, marked);
    }
    for (const std::string &id : asked.All("artistId")) {
        AddArtist(asked, id, marked);
    }
    if (marked.songs.empty() && marked.albums.empty() && marked.artists.empty()) {
        throw Fault{kMissing, "one of the parameters 'id', 'albumId' and 'artistId' is required"};
    }
    return marked;
}

template <bool IsFavourite>
Json::Value Mark(const Request &asked) {
    const Marked marked = MarkedBy(asked);
    if (!marked.songs.empty()) {
        SetFavouriteSongs(asked.Uid(), marked.songs, IsFavourite);
    }
    for (const AlbumName &album : marked.albums) {
        SetFavouriteAlbum(asked.Uid(), album, IsFavourite);
    }
    for (const std::string &artist : marked.artists) {
        SetFavouriteArtist(asked.Uid(), artist, IsFavourite);
    }
    return Json::Value(Json::objectValue);
}

// An album's rating is that of its songs.
Json::Value SetRating(const Request &asked) {
    const std::string id = asked.Required("id");
    const auto stars = static_cast<unsigned>(asked.RequiredNumber("rating", 0, 5));
    std::set<int> rows;
    if (id.starts_with(kAlbumPrefix)) {
        for (const SongFacts &song : SongsOf(asked, FindAlbum(asked, id))) {
            rows.insert(song.id.row);
        }
    } else {
        rows = tonvale_service::RowsOf(asked.Uid(), {id});
    }
    RateSongs(asked.Uid(), rows, stars);
    return Json::Value(Json::objectValue);
}

// 0 for "", which is no time given.
long long SecondsOf(const std::string &milliseconds) {
    constexpr long long kMost = 1LL << 52;
    if (milliseconds.empty()) {
        return 0;
    }
    const auto time = tonvale_entry::ParseNumber(milliseconds, 0, kMost);
    return time ? *time / 1000
                : throw Fault{kGeneric, "the parameter 'time' takes milliseconds since 1970"};
}

Json::Value Scrobble(const Request &asked) {
    const std::vector<int> rows = tonvale_subsonic::RowsOf(asked.RequiredAll("id"));
    const std::vector<std::string> times = asked.All("time");
    if (!times.empty() && times.size() != rows.size()) {
        throw Fault{kGeneric, "give each song 'id' a 'time', or none of them"};
    }
    if (!asked.Flag("submission", true)) {
        NotePlaying(asked.Uid(), rows.back(), asked.Text("c"));
        return Json::Value(Json::objectValue);
    }
    std::vector<Play> plays;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        plays.push_back({rows[i], times.empty() ? 0 : SecondsOf(times[i])});
    }
    NotePlays(asked.Uid(), plays);
    return Json::Value(Json::objectValue);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "scrobble", .answer = Scrobble, .changes = true},
    {.name = "setRating", .answer = SetRating, .changes = true, .takesRoot = true},
    {.name = "star", .answer = Mark<true>, .changes = true},
    {.name = "unstar", .answer = Mark<false>, .changes = true}};

}  // namespace

const std::span<const Endpoint> kAnnotationEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
