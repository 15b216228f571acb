#include "list_request.h"

#include "service/songs/songs.h"

namespace tonvale_entry {

std::vector<std::string> WithListenedKeys(std::vector<std::string> keys) {
    using namespace tonvale_service;
    keys.insert(keys.end(), {kByPlays, kByLastPlay, kByFavourite});
    return keys;
}

PageWanted PageOf(const Request &request, const Parameter &limit) {
    return {static_cast<int>(request.Number(kOffset)), static_cast<int>(request.Number(limit))};
}

tonvale_service::ListRequest ListRequestOf(const Request &request) {
    tonvale_service::ListRequest list;
    list.uid = request.User().GetLoginUID();
    list.library = tonvale_service::ChosenKind(request.Text("library"), list.uid);
    list.filters.artist = request.Given("artist");
    list.filters.album = request.Given("album");
    list.filters.albumArtist = request.Given("album_artist");
    list.filters.genre = request.Given("genre");
    list.filters.composer = request.Given("composer");
    list.sortBy = request.Text("sort_by");
    list.descending = request.Choice(kDirection) == "DESC";
    const PageWanted page = PageOf(request);
    list.offset = page.offset;
    list.limit = page.limit;
    return list;
}

tonvale_service::TrackWriter TrackWriterOf(const Request &request) {
    Tonvale::webapi::WebapiLibrary writer(request.User());
    const auto marks = tonvale_service::Apply(
        request.Names("additional", tonvale_service::AdditionNames()), writer);
    return {writer, marks};
}

tonvale_service::Collection CollectionOf(const Request &request, bool isPersonal) {
    tonvale_service::Collection collection{request.User().GetLoginUserName(), isPersonal,
                                           request.User().GetLoginUID()};
    Complete(collection);
    return collection;
}

}  // namespace tonvale_entry
