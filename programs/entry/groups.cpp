// VARN.Tonvale.Album, Artist, Genre and Composer: what songs have in common.
#include "service/lists/groups.h"

#include "action.h"
#include "list_request.h"

namespace tonvale_entry {

namespace {

// The groups that users play songs of and make favourites.
template <const tonvale_service::Group &Listed>
constexpr bool kIsListened = false;
template <>
constexpr bool kIsListened<tonvale_service::kAlbums> = true;
template <>
constexpr bool kIsListened<tonvale_service::kArtists> = true;

template <const tonvale_service::Group &Listed>
std::unique_ptr<tonvale_service::Page> List(const Request &asked) {
    tonvale_service::ListRequest request = ListRequestOf(asked);
    request.tellsFavourites =
        kIsListened<Listed> && !asked.Names("additional", {"favourite"}).empty();
    return ListGroups(Listed, request, asked.Given("keyword"));
}

template <const tonvale_service::Group &Listed>
std::vector<std::string> SortKeys() {
    return kIsListened<Listed> ? WithListenedKeys(Names(Listed.sorts)) : Names(Listed.sorts);
}

constexpr Parameter kFavourite{.name = "additional",
                               .what = "Whether each is one of the user's favourites.",
                               .kind = Kind::kTexts,
                               .choices = "favourite"};

template <const tonvale_service::Group &Listed>
constexpr auto kListParameters =
    Join(Parameter{.name = "keyword",
                   .what = "A part of the name, in any case, at most 400 bytes; Artist.list takes "
                           "it without filters only."},
         kPaging, SortedBy(SortKeys<Listed>, "name", kIsListened<Listed> ? kListenedOrder : kOrder),
         kDirection, kLibrary, kFilters);

template <const tonvale_service::Group &Listed>
constexpr auto kParameters = [] {
    if constexpr (kIsListened<Listed>) {
        return Join(kListParameters<Listed>, kFavourite);
    } else {
        return kListParameters<Listed>;
    }
}();

template <const tonvale_service::Group &Listed>
constexpr Method MethodOf(std::string_view summary, std::string_view answer) {
    return {.name = "list",
            .make = Make<List<Listed>>,
            .takesRoot = false,
            .summary = summary,
            .parameters = kParameters<Listed>,
            .answer = answer};
}

constexpr Method kAlbumMethods[] = {MethodOf<tonvale_service::kAlbums>(
    "A page of the albums of the songs that the filters choose", "AlbumPage")};
constexpr Method kArtistMethods[] = {MethodOf<tonvale_service::kArtists>(
    "A page of the artists and album artists of the songs that the filters choose", "ArtistPage")};
constexpr Method kComposerMethods[] = {MethodOf<tonvale_service::kComposers>(
    "A page of the composers of the songs that the filters choose", "ComposerPage")};
constexpr Method kGenreMethods[] = {MethodOf<tonvale_service::kGenres>(
    "A page of the genres of the songs that the filters choose", "GenrePage")};

constexpr Field kName{"name", "text", "empty for the songs without one"};
constexpr Field kStar{"star", "real", "the average of the user's stars over the rated songs"};
constexpr Field kIsFavourite{"favourite?", "flag", "where additional asks for it"};
constexpr Field kAlbum[] = {kName,
                            kStar,
                            {"album_artist", "text"},
                            {"year", "number", "0 unless all songs agree"},
                            {"date", "text", "when its first song came"},
                            kIsFavourite};
constexpr Field kGroup[] = {kName, kStar, kIsFavourite};
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
