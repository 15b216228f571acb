// VARN.Tonvale.Album, Artist, Genre and Composer: what songs have in common.
#include "service/groups.h"

#include "action.h"
#include "list_request.h"

namespace tonvale_entry {

namespace {

template <const tonvale_service::Group &Listed>
std::unique_ptr<tonvale_service::Page> List(const Request &asked) {
    tonvale_service::ListRequest request = ListRequestOf(asked);
    request.tellsFavourites = !asked.Names("additional", {"favourite"}).empty();
    return ListGroups(Listed, request, asked.Given("keyword"));
}

template <const tonvale_service::Group &Listed>
constexpr auto kParameters = Join(
    Parameter{.name = "keyword",
              .what = "A part of the name, in any case, at most 400 bytes. Of artists it is "
                      "not taken with filters."},
    kPaging, SortedBy([] { return Names(Listed.sorts); }, "name"), kDirection, kLibrary, kFilters);

template <const tonvale_service::Group &Listed>
constexpr Method MethodOf(std::string_view answer) {
    return {.name = "list",
            .make = Make<List<Listed>>,
            .takesRoot = false,
            .summary = "A page of those of the songs that the filters choose",
            .parameters = kParameters<Listed>,
            .answer = answer};
}

constexpr Method kAlbumMethods[] = {MethodOf<tonvale_service::kAlbums>("AlbumPage")};
constexpr Method kArtistMethods[] = {MethodOf<tonvale_service::kArtists>("ArtistPage")};
constexpr Method kComposerMethods[] = {MethodOf<tonvale_service::kComposers>("ComposerPage")};
constexpr Method kGenreMethods[] = {MethodOf<tonvale_service::kGenres>("GenrePage")};

constexpr Field kName{"name", "text", "empty for the songs without one"};
constexpr Field kStar{"star", "real", "the average of the user's stars over the rated songs"};
constexpr Field kAlbum[] = {kName,
                            kStar,
                            {"album_artist", "text"},
                            {"year", "number", "0 unless all songs agree"},
                            {"date", "text", "when its first song came"}};
constexpr Field kGroup[] = {kName, kStar};
constexpr Field kAlbumPage[] = {{"offset", "number"}, {"total", "number"}, {"albums", "[Album]"}};
constexpr Field kArtistPage[] = {{"offset", "number"}, {"total", "number"}, {"artists", "[Group]"}};
constexpr Field kComposerPage[] = {
    {"offset", "number"}, {"total", "number"}, {"composers", "[Group]"}};
constexpr Field kGenrePage[] = {{"offset", "number"}, {"total", "number"}, {"genres", "[Group]"}};
constexpr Schema kAlbumSchemas[] = {{"Album", kAlbum}, {"AlbumPage", kAlbumPage}};
constexpr Schema kArtistSchemas[] = {{"Group", kGroup, "an artist, a composer or a genre"},
                                     {"ArtistPage", kArtistPage}};
constexpr Schema kComposerSchemas[] = {{"ComposerPage", kComposerPage}};
constexpr Schema kGenreSchemas[] = {{"GenrePage", kGenrePage}};

}  // namespace

const Api kAlbumApi{.name = "VARN.Tonvale.Album",
                    .methods = kAlbumMethods,
                    .summary = "The albums of the library",
                    .schemas = kAlbumSchemas};
const Api kArtistApi{.name = "VARN.Tonvale.Artist",
                     .methods = kArtistMethods,
                     .summary = "The artists and album artists of the library",
                     .schemas = kArtistSchemas};
const Api kComposerApi{.name = "VARN.Tonvale.Composer",
                       .methods = kComposerMethods,
                       .summary = "The composers of the library",
                       .schemas = kComposerSchemas};
const Api kGenreApi{.name = "VARN.Tonvale.Genre",
                    .methods = kGenreMethods,
                    .summary = "The genres of the library",
                    .schemas = kGenreSchemas};

}  // namespace tonvale_entry
