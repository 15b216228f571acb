// VARN.Tonvale.Album, Artist, Genre and Composer: what songs have in common.
#include "answers/groups.h"

#include "action.h"
#include "list_request.h"

namespace tonvale_entry {

namespace {

template <const tonvale_answers::Group &Listed>
class List : public ListAction {
  public:
    using ListAction::ListAction;

  protected:
    std::unique_ptr<tonvale_answers::Page> Open() override {
        return ListGroups(Listed, ListRequestOf(Asked()), Asked().Given("keyword"));
    }
};

constexpr Method kAlbumMethods[] = {{"list", Make<List<tonvale_answers::kAlbums>>}};
constexpr Method kArtistMethods[] = {{"list", Make<List<tonvale_answers::kArtists>>}};
constexpr Method kComposerMethods[] = {{"list", Make<List<tonvale_answers::kComposers>>}};
constexpr Method kGenreMethods[] = {{"list", Make<List<tonvale_answers::kGenres>>}};

}  // namespace

const Api kAlbumApi{.name = "VARN.Tonvale.Album", .methods = kAlbumMethods, .takesRoot = false};
const Api kArtistApi{.name = "VARN.Tonvale.Artist", .methods = kArtistMethods, .takesRoot = false};
const Api kComposerApi{
    .name = "VARN.Tonvale.Composer", .methods = kComposerMethods, .takesRoot = false};
const Api kGenreApi{.name = "VARN.Tonvale.Genre", .methods = kGenreMethods, .takesRoot = false};

}  // namespace tonvale_entry
