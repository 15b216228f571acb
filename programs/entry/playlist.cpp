// VARN.Tonvale.Playlist: playlists, shared ones and the user's own.
#include <climits>

#include "action.h"
#include "list_request.h"
#include "service/lists/tracks.h"
#include "service/playlists/playlist_edit.h"
#include "service/playlists/playlists.h"
#include "service/playlists/smart_playlists.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr Parameter kListed{.name = "library",
                            .what = "Whose playlists.",
                            .usual = "all",
                            .choices = "all shared personal"};
constexpr Parameter kWhere{.name = "library",
                           .what = "Whose playlist it becomes.",
                           .usual = "personal",
                           .choices = "shared personal"};
constexpr Parameter kFormat{
    .name = "format", .what = "The format of its file.", .usual = "m3u", .names = [] {
        return WrittenFormats();
    }};
constexpr Parameter kLength{.name = "length",
                            .what = "How many entries are replaced; 0 only inserts.",
                            .kind = Kind::kNumber,
                            .usual = "1"};
constexpr Parameter kPreviewed = LimitedTo(500);

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
    const std::string library = asked.Choice(kListed);
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
    return RecordsOfIds(asked.User().GetLoginUID(), asked.Values("songs"));
}

Json::Value Create(const Request &asked) {
    const std::string library = asked.Choice(kWhere);
    const Collection collection = CollectionOf(asked, library == "personal");
    RequireRight(asked, collection);
    const std::string format = asked.Choice(kFormat);
    const varn::OwnedSongs songs = asked.Text("songs").empty() ? nullptr : Songs(asked);
    return Told(collection,
                CreatePlaylist(collection, asked.RequiredText("name"), format, songs.get()));
}

// A playlist of either kind that the user may change.
AnyPlaylist Changeable(const Request &asked) {
    AnyPlaylist playlist = PlaylistOf(asked);
    RequireRight(asked, playlist.collection);
    return playlist;
}

// Changes the entries of a playlist.
template <auto Do>
Json::Value Edit(const Request &asked) {
    AnyPlaylist playlist = Changeable(asked);
    if (playlist.isSmart) {
        throw Failure(Reason::kRulesChooseSongs, playlist.name);
    }
    playlist.normal.state = asked.Text("seen");
    Json::Value data(Json::objectValue);
    data["state"] = Do(asked, playlist.collection, playlist.normal);
    return data;
}

Json::Value Rename(const Request &asked) {
    const AnyPlaylist playlist = Changeable(asked);
    const std::string name = asked.RequiredText("name");
    const Collection &collection = playlist.collection;
    return playlist.isSmart ? ObjectOf(RenameSmart(playlist, name))
                            : Told(collection, RenamePlaylist(collection, playlist.normal, name));
}

Json::Value Delete(const Request &asked) {
    const AnyPlaylist playlist = Changeable(asked);
    if (playlist.isSmart) {
        DeleteSmart(playlist);
    } else {
        DeletePlaylist(playlist.collection, playlist.normal);
    }
    return Json::Value(Json::objectValue);
}

std::string Add(const Request &asked, const Collection &collection, const Playlist &playlist) {
    const bool skips = asked.Flag("skip_duplicate");
    return AppendSongs(collection, playlist, Songs(asked), skips);
}

std::string Remove(const Request &asked, const Collection &collection, const Playlist &playlist) {
    if (asked.Given("length")) {
        return ReplaceSongs(collection, playlist, Position(asked, "position"),
                            Position(asked, "length"), nullptr);
    }
    std::vector<int> positions;
    for (const std::string &text : asked.Values("position")) {
        const auto position = ParseNumber(text, 0, INT_MAX);
        if (!position) {
            throw Refusal{Code::kBadParameter, "position"};
        }
        positions.push_back(static_cast<int>(*position));
    }
    return RemovePositions(collection, playlist, positions);
}

std::string Replace(const Request &asked, const Collection &collection, const Playlist &playlist) {
    const int position = Position(asked, "position");
    const int length = static_cast<int>(asked.Number(kLength));
    return ReplaceSongs(collection, playlist, position, length, Songs(asked));
}

std::string RemoveGone(const Request & /*asked*/, const Collection &collection,
                       const Playlist &playlist) {
    return RemoveMissing(collection, playlist);
}

Json::Value Rule(const Request &asked) {
    const AnyPlaylist playlist = PlaylistOf(asked);
    if (!playlist.isSmart) {
        throw Refusal{Code::kBadParameter, "id"};
    }
    Json::Value data(Json::objectValue);
    data["playlist"] = ObjectOf(playlist);
    data["rule"] = RuleOf(playlist);
    return data;
}

std::unique_ptr<Page> Preview(const Request &asked) {
    const PageWanted page = PageOf(asked, kPreviewed);
    Tonvale::webapi::playlist::PlaylistLibrary library(asked.User());
    const MarksWanted marks = Apply(asked.Names("additional", AdditionNames()), library);
    return ListByRule(asked.RequiredText("rule"), library, marks, page.offset, page.limit);
}

Json::Value CreateByRule(const Request &asked) {
    const std::string library = asked.Choice(kWhere);
    const Collection collection = CollectionOf(asked, library == "personal");
    RequireRight(asked, collection);
    return ObjectOf(
        CreateSmart(collection, asked.RequiredText("name"), asked.RequiredText("rule")));
}

Json::Value SetRule(const Request &asked) {
    const AnyPlaylist playlist = Changeable(asked);
    if (!playlist.isSmart) {
        throw Refusal{Code::kBadParameter, "id"};
    }
    ChangeRule(playlist, asked.RequiredText("rule"));
    return Json::Value(Json::objectValue);
}

constexpr Parameter kId{.name = "id", .what = "The playlist.", .isRequired = true};
constexpr Parameter kName{.name = "name",
                          .what =
                              "At most 240 bytes without slashes and control characters; "
                              "begins with no dot and is not just a number.",
                          .isRequired = true};
constexpr Parameter kSongs{.name = "songs",
                           .what =
                               "Identifiers of songs, streams and radio stations, or http and "
                               "https addresses; 1000 at most.",
                           .kind = Kind::kTexts,
                           .isRequired = true};
constexpr Parameter kPosition{.name = "position",
                              .what = "The place of an entry, from 0.",
                              .kind = Kind::kNumber,
                              .isRequired = true};
constexpr Parameter kSeen{.name = "seen",
                          .what =
                              "The state of the playlist that the client knows: 409 when it is "
                              "another by now; otherwise it is changed in any state."};
constexpr Parameter kRule{.name = "rule",
                          .what = "The rule: what docs/smart-playlists.md writes between braces.",
                          .isRequired = true};
constexpr auto kListParameters = Join(kListed, kPaging);
constexpr auto kGetParameters = Join(kId, kPaging, kAdditional);
constexpr std::array kCreateParameters = {
    kWhere, kName, kFormat, Parameter{.name = "songs", .what = kSongs.what, .kind = Kind::kTexts}};
constexpr std::array kRenameParameters = {kId, kName};
constexpr std::array kIdParameters = {kId};
constexpr std::array kMissingParameters = {kId, kSeen};
constexpr std::array kAddParameters = {kId, kSongs, kSeen,
                                       Parameter{.name = "skip_duplicate",
                                                 .what = "Leave out songs that are there.",
                                                 .kind = Kind::kFlag,
                                                 .usual = "false"}};
constexpr std::array kRemoveParameters = {
    kId, kSeen,
    Parameter{.name = "position",
              .what = "The places of entries, from 0; with length the first of them.",
              .kind = Kind::kNumbers,
              .isRequired = true},
    Parameter{.name = "length", .what = "How many entries in a row.", .kind = Kind::kNumber}};
constexpr std::array kReplaceParameters = {kId, kPosition, kLength, kSongs, kSeen};

constexpr auto kPreviewParameters = Join(kRule, std::array{kOffset, kPreviewed}, kAdditional);
constexpr std::array kCreateSmartParameters = {kWhere, kName, kRule};
constexpr std::array kSetRuleParameters = {kId, kRule};

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<List>,
     .summary = "The user's own playlists, then the shared ones; smart ones after the others",
     .parameters = kListParameters,
     .answer = "PlaylistPage"},
    {.name = "get",
     .make = Make<Get>,
     .summary = "A playlist and its songs, with entries that the library does not know",
     .parameters = kGetParameters,
     .answer = "PlaylistSongs"},
    {.name = "create",
     .make = Make<Create>,
     .changes = true,
     .summary = "Make a playlist",
     .parameters = kCreateParameters,
     .answer = "Playlist"},
    {.name = "rename",
     .make = Make<Rename>,
     .changes = true,
     .summary = "Give a playlist another name; the answer is the renamed playlist",
     .parameters = kRenameParameters,
     .answer = "Playlist"},
    {.name = "delete",
     .make = Make<Delete>,
     .changes = true,
     .summary = "Delete a playlist and its file",
     .parameters = kIdParameters},
    {.name = "add",
     .make = Make<Edit<Add>>,
     .changes = true,
     .summary = "Add songs to the end of a playlist",
     .parameters = kAddParameters,
     .answer = "PlaylistState"},
    {.name = "remove",
     .make = Make<Edit<Remove>>,
     .changes = true,
     .summary = "Take entries off a playlist",
     .parameters = kRemoveParameters,
     .answer = "PlaylistState"},
    {.name = "replace",
     .make = Make<Edit<Replace>>,
     .changes = true,
     .summary = "Put songs in the place of entries",
     .parameters = kReplaceParameters,
     .answer = "PlaylistState"},
    {.name = "remove_missing",
     .make = Make<Edit<RemoveGone>>,
     .changes = true,
     .summary = "Take off the entries that the library does not know, but no streams",
     .parameters = kMissingParameters,
     .answer = "PlaylistState"},
    {.name = "rule",
     .make = Make<Rule>,
     .summary = "The rule of a smart playlist, as it is written",
     .parameters = kIdParameters,
     .answer = "PlaylistRule"},
    {.name = "preview",
     .make = Make<Preview>,
     .summary = "A page of the songs that a rule chooses in the user's default library",
     .parameters = kPreviewParameters,
     .answer = "SongPage"},
    {.name = "create_smart",
     .make = Make<CreateByRule>,
     .changes = true,
     .summary = "Make a smart playlist",
     .parameters = kCreateSmartParameters,
     .answer = "Playlist"},
    {.name = "set_rule",
     .make = Make<SetRule>,
     .changes = true,
     .summary = "Give a smart playlist another rule",
     .parameters = kSetRuleParameters},
};

constexpr Field kPlaylist[] = {
    {"id", "text",
     "playlist_shared_normal/12, playlist_personal_normal/KEY, playlist_shared_smart/NAME or "
     "playlist_personal_smart/NAME; KEY is a number, or without a personal library the file's "
     "name"},
    {"name", "text"},
    {"library", "=shared personal"},
    {"type", "=normal smart"},
    {"path?", "text", "of a normal one, from the share on"}};
constexpr Field kPage[] = {{"offset", "number"}, {"total", "number"}, {"playlists", "[Playlist]"}};
constexpr Field kSongPage[] = {
    {"playlist", "Playlist"},
    {"state?", "text", "of a normal one: another one when its entries are others"},
    {"offset", "number"},
    {"total", "number"},
    {"songs", "[Song]"}};
constexpr Field kStateFields[] = {{"state", "text"}};
constexpr Field kRuleFields[] = {{"playlist", "Playlist"},
                                 {"rule", "text", "what stands between its braces"}};
constexpr Schema kSchemas[] = {{"PlaylistRule", kRuleFields},
                               {"Playlist", kPlaylist},
                               {"PlaylistPage", kPage},
                               {"PlaylistSongs", kSongPage},
                               {"PlaylistState", kStateFields}};

}  // namespace

const Api kPlaylistApi{.name = "VARN.Tonvale.Playlist",
                       .methods = kMethods,
                       .summary =
                           "Playlists: the user's own, and shared ones, which take the "
                           "right playlist to change",
                       .schemas = kSchemas};

}  // namespace tonvale_entry
