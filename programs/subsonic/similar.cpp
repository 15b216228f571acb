// What belongs to a song, an album or an artist: getArtistInfo, getAlbumInfo, getTopSongs,
// getSimilarSongs, in both of their forms. All of it comes from the library.
#include <algorithm>
#include <set>

#include "endpoint.h"
#include "objects.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

constexpr int kUsualSongs = 50;
constexpr int kUsualArtists = 20;
constexpr int kMost = 500;

// What an identifier of any kind stands for.
struct Seed {
    std::string artist;
    std::set<std::string> genres = {};
    int row = 0;  // of a song
};

Seed SeedOf(const Request &asked, const std::string &id) {
    if (id.starts_with(kArtistPrefix)) {
        const ArtistFacts artist = FindArtist(asked, id);
        Seed seed{artist.name};
        for (const AlbumFacts &album : AlbumsBy(asked, artist)) {
            seed.genres.insert(album.genres.begin(), album.genres.end());
        }
        return seed;
    }
    if (id.starts_with(kAlbumPrefix)) {
        const AlbumFacts album = FindAlbum(asked, id);
        return {album.albumArtist.empty() ? album.artist : album.albumArtist,
                {album.genres.begin(), album.genres.end()}};
    }
    const SongFacts song = FindSong(asked, id);
    return {song.artist, {song.genres.begin(), song.genres.end()}, song.id.row};
}

// Artists with albums of the same genres, those with the most first.
std::vector<ArtistFacts> SimilarArtists(const Request &asked, const Seed &seed, int most) {
    const ListRequest request = LibraryOf(asked);
    const AlbumList albums(request);
    Numbers shared;  // how many, below 0
    for (const std::size_t place : albums.All()) {
        for (const std::string &genre : GenresIn(albums.Text(place, AlbumFacts::kGenres))) {
            if (seed.genres.contains(genre)) {
                const std::string_view artist = albums.Text(place, AlbumFacts::kAlbumArtist);
                --shared[ArtistHash(!artist.empty() ? artist
                                                    : albums.Text(place, AlbumFacts::kArtist))];
            }
        }
    }
    shared.erase(ArtistHash(seed.artist));
    const ArtistList artists(request);
    return artists.At(PlacesBy(shared, artists), 0, most);
}

Json::Value ArtistInfo(const Request &asked) {
    const Seed seed = SeedOf(asked, asked.Required("id"));
    Json::Value info(Json::objectValue);
    info["similarArtist"] =
        ArtistsOf(asked, SimilarArtists(asked, seed, asked.Count("count", kUsualArtists, kMost)));
    return info;
}

Json::Value AlbumInfo(const Request &asked) {
    SeedOf(asked, asked.Required("id"));
    return Json::Value(Json::objectValue);
}

Json::Value SimilarSongs(const Request &asked) {
    const Seed seed = SeedOf(asked, asked.Required("id"));
    const int count = asked.Count("count", kUsualSongs, kMost);
    std::string same = seed.artist.empty() ? "false" : IsOfArtist(seed.artist);
    for (const std::string &genre : seed.genres) {
        same += " OR " + IsOfGenre(genre);
    }
    return SomeSongs(asked,
                     {.condition = "(" + same + ") AND s.track <> " + std::to_string(seed.row),
                      .order = kByChance,
                      .limit = count});
}

Json::Value TopSongs(const Request &asked) {
    const std::string artist = asked.Required("artist");
    std::vector<SongFacts> songs =
        ChooseSongs(LibraryOf(asked), {.condition = IsOfArtist(artist), .order = ByTitle()});
    std::stable_sort(songs.begin(), songs.end(), [](const SongFacts &a, const SongFacts &b) {
        return std::pair(a.marks.plays, a.marks.stars) > std::pair(b.marks.plays, b.marks.stars);
    });
    const auto count = static_cast<std::size_t>(asked.Count("count", kUsualSongs, kMost));
    songs.erase(songs.begin() + static_cast<std::ptrdiff_t>(std::min(count, songs.size())),
                songs.end());
    return ChildrenOf(songs);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "getAlbumInfo", .answer = Named<"albumInfo", AlbumInfo>},
    {.name = "getAlbumInfo2", .answer = Named<"albumInfo", AlbumInfo>},
    {.name = "getArtistInfo", .answer = Named<"artistInfo", ArtistInfo>},
    {.name = "getArtistInfo2", .answer = Named<"artistInfo2", ArtistInfo>},
    {.name = "getSimilarSongs", .answer = Named<"similarSongs", Named<"song", SimilarSongs>>},
    {.name = "getSimilarSongs2", .answer = Named<"similarSongs2", Named<"song", SimilarSongs>>},
    {.name = "getTopSongs", .answer = Named<"topSongs", Named<"song", TopSongs>>}};

}  // namespace

const std::span<const Endpoint> kSimilarEndpoints = kEndpoints;

}  // namespace tonvale_subsonic
