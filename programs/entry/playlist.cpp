// VARN.Tonvale.Playlist: playlists, shared ones and the user's own.
#include <climits>

#include "action.h"
#include "list_request.h"
#include "service/playlist_edit.h"
#include "service/playlists.h"
#include "service/tracks.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

AnyPlaylist PlaylistOf(const Request &request) {
    return FindById(request.User().GetLoginUserName(), request.User().GetLoginUID(),
                    request.RequiredText("id"));
}

// Shared playlists are changed by those who have the right, the own ones by everybody.
void RequireRight(const Request &request, const Collection &collection) {
    if (!collection.personal) {
        request.Require(RIGHT_PLAYLIST);
    }
}

// A number that must be there.
int Position(const Request &request, const char *name) {
    request.RequiredText(name);
    return static_cast<int>(request.Number(name, 0, 0, INT_MAX));
}

std::unique_ptr<Page> List(const Request &asked) {
    const std::string library = asked.Choice("library", {"all", "shared", "personal"}, "all");
    const PageWanted page = PageOf(asked);
    std::vector<Collection> collections;
    for (const bool isPersonal : {true, false}) {
        if (library == "all" || (library == "personal") == isPersonal) {
            collections.push_back(CollectionOf(asked, isPersonal));
        }
    }
    return ListPlaylists(collections, page.offset, page.limit);
}

std::unique_ptr<Page> Get(const Request &asked) {
    const PageWanted page = PageOf(asked);
    Tonvale::webapi::playlist::PlaylistLibrary library(asked.User());
    const MarksWanted marks = Apply(asked.Names("additional", AdditionNames()), library);
    auto tracks = ListTracks(PlaylistOf(asked), library, page.offset, page.limit);
    tracks->marks = marks;
    return tracks;
}

// A normal playlist as it is after a change.
Json::Value Told(const Collection &collection, const Playlist &playlist) {
    return ObjectOf(AsAny(collection, playlist));
}

varn::OwnedSongs Songs(const Request &asked) {
    return SongsOfIds(asked.User().GetLoginUID(), asked.Values("songs"));
}

Json::Value Create(const Request &asked) {
    const std::string library = asked.Choice("library", {"shared", "personal"}, "personal");
    const Collection collection = CollectionOf(asked, library == "personal");
    RequireRight(asked, collection);
    const std::string format = asked.Choice("format", WrittenFormats(), "m3u");
    const varn::OwnedSongs songs = asked.Text("songs").empty() ? nullptr : Songs(asked);
    return Told(collection,
                CreatePlaylist(collection, asked.RequiredText("name"), format, songs.get()));
}

// Changes a playlist that exists already.
template <auto Do>
Json::Value Edit(const Request &asked) {
    const AnyPlaylist playlist = PlaylistOf(asked);
    RequireRight(asked, playlist.collection);
    if (playlist.isSmart) {
        throw Refusal{Code::kBadParameter};  // its rules are what it is
    }
    if constexpr (std::is_void_v<decltype(Do(asked, playlist.collection, playlist.normal))>) {
        Do(asked, playlist.collection, playlist.normal);
        return Json::Value(Json::objectValue);
    } else {
        return Do(asked, playlist.collection, playlist.normal);
    }
}

Json::Value Rename(const Request &asked, const Collection &collection, const Playlist &playlist) {
    return Told(collection, RenamePlaylist(collection, playlist, asked.RequiredText("name")));
}

void Delete(const Request & /*asked*/, const Collection &collection, const Playlist &playlist) {
    DeletePlaylist(collection, playlist);
}

void Add(const Request &asked, const Collection &collection, const Playlist &playlist) {
    const bool skips = asked.Flag("skip_duplicate");
    AppendSongs(collection, playlist, Songs(asked), skips);
}

void Remove(const Request &asked, const Collection &collection, const Playlist &playlist) {
    if (asked.Given("length")) {
        return ReplaceSongs(collection, playlist, Position(asked, "position"),
                            Position(asked, "length"), nullptr);
    }
    std::vector<int> positions;
    for (const std::string &text : asked.Values("position")) {
        const auto position = ParseNumber(text, 0, INT_MAX);
        if (!position) {
            throw Refusal{Code::kBadParameter};
        }
        positions.push_back(static_cast<int>(*position));
    }
    RemovePositions(collection, playlist, positions);
}

void Replace(const Request &asked, const Collection &collection, const Playlist &playlist) {
    const int position = Position(asked, "position");
    const int length = static_cast<int>(asked.Number("length", 1, 0, INT_MAX));
    ReplaceSongs(collection, playlist, position, length, Songs(asked));
}

void RemoveGone(const Request & /*asked*/, const Collection &collection, const Playlist &playlist) {
    RemoveMissing(collection, playlist);
}

constexpr Method kMethods[] = {{"list", Make<List>},
                               {"get", Make<Get>},
                               {"create", Make<Create>, kChanges},
                               {"rename", Make<Edit<Rename>>, kChanges},
                               {"delete", Make<Edit<Delete>>, kChanges},
                               {"add", Make<Edit<Add>>, kChanges},
                               {"remove", Make<Edit<Remove>>, kChanges},
                               {"replace", Make<Edit<Replace>>, kChanges},
                               {"remove_missing", Make<Edit<RemoveGone>>, kChanges}};

}  // namespace

const Api kPlaylistApi{"VARN.Tonvale.Playlist", kMethods};

}  // namespace tonvale_entry
