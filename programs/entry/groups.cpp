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

constexpr Method kAlbumMethods[] = {
    {.name = "list", .make = Make<List<tonvale_service::kAlbums>>, .takesRoot = false}};
constexpr Method kArtistMethods[] = {
    {.name = "list", .make = Make<List<tonvale_service::kArtists>>, .takesRoot = false}};
constexpr Method kComposerMethods[] = {
    {.name = "list", .make = Make<List<tonvale_service::kComposers>>, .takesRoot = false}};
constexpr Method kGenreMethods[] = {
    {.name = "list", .make = Make<List<tonvale_service::kGenres>>, .takesRoot = false}};

}  // namespace

const Api kAlbumApi{"VARN.Tonvale.Album", kAlbumMethods};
const Api kArtistApi{"VARN.Tonvale.Artist", kArtistMethods};
const Api kComposerApi{"VARN.Tonvale.Composer", kComposerMethods};
const Api kGenreApi{"VARN.Tonvale.Genre", kGenreMethods};

}  // namespace tonvale_entry
