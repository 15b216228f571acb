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

const std::vector<std::string> kFlags = {"false", "true"};

Collection CollectionOf(const Request &request, bool isPersonal) {
    Collection collection{request.User().GetLoginUserName(), isPersonal,
                          request.User().GetLoginUID()};
    Complete(collection);
    return collection;
}

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

class List : public ListAction {
  public:
    using ListAction::ListAction;

  protected:
    std::unique_ptr<Page> Open() override {
        const std::string library = Asked().Choice("library", {"all", "shared", "personal"}, "all");
        const PageWanted page = PageOf(Asked());
        std::vector<Collection> collections;
        for (const bool isPersonal : {true, false}) {
            if (library == "all" || (library == "personal") == isPersonal) {
                collections.push_back(CollectionOf(Asked(), isPersonal));
            }
        }
        return ListPlaylists(collections, page.offset, page.limit);
    }
};

class Get : public ListAction {
  public:
    using ListAction::ListAction;

  protected:
    std::unique_ptr<Page> Open() override {
        const PageWanted page = PageOf(Asked());
        Tonvale::webapi::playlist::PlaylistLibrary library(Asked().User());
        Apply(Asked().Names("additional", AdditionNames()), library);
        return ListTracks(PlaylistOf(Asked()), library, page.offset, page.limit);
    }
};

// Makes a change. A normal playlist is what it is then.
class Change : public Action {
  public:
    using Action::Action;

  protected:
    static Json::Value Changed(const Collection &collection, const Playlist &playlist) {
        return ObjectOf(AsAny(collection, playlist));
    }
    SongRecords Songs(const Collection &collection) const {
        return SongsOfIds(collection, Asked().Values("songs"));
    }
};

class Create : public Change {
  public:
    using Change::Change;

  protected:
    Json::Value Data() override {
        const std::string library = Asked().Choice("library", {"shared", "personal"}, "personal");
        const Collection collection = CollectionOf(Asked(), library == "personal");
        RequireRight(Asked(), collection);
        const std::string format = Asked().Choice("format", {"m3u", "pls", "wpl"}, "m3u");
        const SongRecords songs = Asked().Text("songs").empty() ? nullptr : Songs(collection);
        return Changed(collection, CreatePlaylist(collection, Asked().RequiredText("name"), format,
                                                  songs.get()));
    }
};

// One that exists already.
class Edit : public Change {
  public:
    using Change::Change;

  protected:
    Json::Value Data() final {
        const AnyPlaylist playlist = PlaylistOf(Asked());
        RequireRight(Asked(), playlist.collection);
        if (playlist.isSmart) {
            throw Refusal{Code::kBadParameter};  // its rules are what it is
        }
        return Do(playlist.collection, playlist.normal);
    }
    virtual Json::Value Do(const Collection &collection, const Playlist &playlist) = 0;
};

class Rename : public Edit {
  public:
    using Edit::Edit;

  protected:
    Json::Value Do(const Collection &collection, const Playlist &playlist) override {
        return Changed(collection,
                       RenamePlaylist(collection, playlist, Asked().RequiredText("name")));
    }
};

class Delete : public Edit {
  public:
    using Edit::Edit;

  protected:
    Json::Value Do(const Collection &collection, const Playlist &playlist) override {
        DeletePlaylist(collection, playlist);
        return Json::Value(Json::objectValue);
    }
};

class Add : public Edit {
  public:
    using Edit::Edit;

  protected:
    Json::Value Do(const Collection &collection, const Playlist &playlist) override {
        const bool skips = Asked().Choice("skip_duplicate", kFlags, "false") == "true";
        AppendSongs(collection, playlist, Songs(collection).get(), skips);
        return Json::Value(Json::objectValue);
    }
};

class Remove : public Edit {
  public:
    using Edit::Edit;

  protected:
    Json::Value Do(const Collection &collection, const Playlist &playlist) override {
        if (Asked().Given("length")) {
            ReplaceSongs(collection, playlist, Position(Asked(), "position"),
                         Position(Asked(), "length"), nullptr);
            return Json::Value(Json::objectValue);
        }
        std::vector<int> positions;
        for (const std::string &text : Asked().Values("position")) {
            const auto position = ParseNumber(text, 0, INT_MAX);
            if (!position) {
                throw Refusal{Code::kBadParameter};
            }
            positions.push_back(static_cast<int>(*position));
        }
        RemovePositions(collection, playlist, positions);
        return Json::Value(Json::objectValue);
    }
};

class Replace : public Edit {
  public:
    using Edit::Edit;

  protected:
    Json::Value Do(const Collection &collection, const Playlist &playlist) override {
        const int position = Position(Asked(), "position");
        const int length = static_cast<int>(Asked().Number("length", 1, 0, INT_MAX));
        ReplaceSongs(collection, playlist, position, length, Songs(collection).get());
        return Json::Value(Json::objectValue);
    }
};

class RemoveGone : public Edit {
  public:
    using Edit::Edit;

  protected:
    Json::Value Do(const Collection &collection, const Playlist &playlist) override {
        RemoveMissing(collection, playlist);
        return Json::Value(Json::objectValue);
    }
};

constexpr Method kMethods[] = {{"list", Make<List>},
                               {"get", Make<Get>},
                               {"create", Make<Create>, kChanges},
                               {"rename", Make<Rename>, kChanges},
                               {"delete", Make<Delete>, kChanges},
                               {"add", Make<Add>, kChanges},
                               {"remove", Make<Remove>, kChanges},
                               {"replace", Make<Replace>, kChanges},
                               {"remove_missing", Make<RemoveGone>, kChanges}};

}  // namespace

const Api kPlaylistApi{"VARN.Tonvale.Playlist", kMethods};

}  // namespace tonvale_entry
