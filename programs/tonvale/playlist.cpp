#include <json/json.h>

#include <functional>
#include <memory>

#include "command.h"
#include "page_output.h"
#include "playlist_options.h"
#include "playlist_output.h"
#include "service/base/failure.h"
#include "service/lists/tracks.h"
#include "service/people/settings.h"
#include "service/playlists/playlist_edit.h"
#include "service/playlists/playlists.h"
#include "track_output.h"
#include "varn/run_as.h"

namespace tonvale_cli {

namespace {

using namespace tonvale_service;

struct PlaylistOptions : CollectionOptions {
    std::string name;
    std::string newName;
    std::string format = "m3u";
    std::vector<std::string> songs;
    std::vector<int> positions;
    int start = 0;
    int length = 1;
    int offset = 0;
    int limit = 0;
    bool skipDuplicates = false;
    bool json = false;
    Additions additions;
};

using Options = const PlaylistOptions &;

int Show(Options options, const AnyPlaylist &playlist) {
    const std::string &user = options.collection.user;
    Tonvale::webapi::playlist::PlaylistLibrary library(options.collection.uid, user,
                                                       tonvale_service::PreferenceFolder(user));
    Apply(options.json ? options.additions : Additions{"song_tag", "song_audio"}, library);
    const auto page = ListTracks(playlist, library, options.offset, options.limit);
    if (options.json) {
        PrintJson(*page);
    } else {
        PrintTable(*page);
    }
    return kDone;
}

// The songs of the command line.
varn::OwnedSongs Songs(Options options) {
    return FindSongs(options.collection.uid, options.songs);
}

int Create(PlaylistOptions &options) {
    const varn::RunAs before(varn::Who::kCaller);
    if (!Prepare(options)) {
        return kFailed;
    }
    CreatePlaylist(options.collection, options.name, options.format, Songs(options).get());
    return kDone;
}

int Add(Options options, const AnyPlaylist &playlist) {
    AppendSongs(playlist.collection, playlist.normal, Songs(options), options.skipDuplicates);
    return kDone;
}

int Replace(Options options, const AnyPlaylist &playlist) {
    ReplaceSongs(playlist.collection, playlist.normal, options.start, options.length,
                 Songs(options));
    return kDone;
}

// Makes a change with what some of the options tell.
template <auto Change, auto... Told>
int Do(Options options, const AnyPlaylist &playlist) {
    Change(playlist.collection, playlist.normal, (options.*Told)...);
    return kDone;
}

// 0 when all songs are in the playlist.
int Check(Options options, const AnyPlaylist &playlist) {
    const varn::OwnedSongs songs = Songs(options);
    const std::set<std::string> names = SongNames(playlist.collection, playlist.normal);
    int status = kDone;
    for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
        const std::string name = NameInPlaylist(song->info);
        const bool found = names.contains(name);
        std::printf("%s %s\n", found ? "yes" : "no ", name.c_str());
        status = found ? status : kFailed;
    }
    return status;
}

using Act = int (*)(Options options, const AnyPlaylist &playlist);

// A playlist by its identifier, row id or title.
AnyPlaylist Find(Options options) {
    const Collection &from = options.collection;
    if (!IsPlaylistId(options.name)) {
        return AsAny(from, FindPlaylist(from, options.name));
    }
    AnyPlaylist found = FindById(from.user, from.uid, options.name);
    found.collection.isForRoot = from.isForRoot;
    return found;
}

int OnPlaylist(PlaylistOptions &options, Act act) {
    const varn::RunAs before(varn::Who::kCaller);
    if (!Prepare(options)) {
        return kFailed;
    }
    const AnyPlaylist playlist = Find(options);
    if (playlist.isSmart && act != Show) {
        throw Failure(Reason::kRulesChooseSongs, playlist.name);
    }
    return act(options, playlist);
}

// ---- the command line ---------------------------------------------------------------------------

constexpr char kSongs[] = "Songs by id, path, virtual name (PATH_TRACK) or http address";

// Options that verbs take besides the playlist.
enum Takes : unsigned {
    kNothing = 0,
    kSomeSongs = 1,
    kPositions = 2,
    kRange = 4,
    kNewName = 8,
    kPage = 16,
    kDuplicates = 32,
};

struct PlaylistVerb {
    const char *name;
    const char *description;
    Act act;
    unsigned takes;
};

constexpr PlaylistVerb kVerbs[] = {
    {"show", "List the entries of a playlist", Show, kPage},
    {"add", "Add songs at the end", Add, kSomeSongs | kDuplicates},
    {"replace", "Replace entries by songs", Replace, kSomeSongs | kRange},
    {"remove", "Remove the entries at some positions",
     Do<RemovePositions, &PlaylistOptions::positions>, kPositions},
    {"missing", "Remove the entries that the library does not know", Do<RemoveMissing>, kNothing},
    {"rename", "Rename a playlist", Do<RenamePlaylist, &PlaylistOptions::newName>, kNewName},
    {"delete", "Delete a playlist and its file", Do<DeletePlaylist>, kNothing},
    {"check", "Tell whether songs are in a playlist; exits with 1 if one is not", Check,
     kSomeSongs},
};

void AddTaken(const Verb &verb, unsigned takes, PlaylistOptions &options) {
    if ((takes & kSomeSongs) != 0) {
        verb.AddText("SONG", options.songs, kSongs).Required((takes & kRange) == 0);
    }
    if ((takes & kPositions) != 0) {
        verb.AddParsedList(
                "POSITION",
                [&positions = options.positions](const std::string &text) {
                    positions.push_back(ParseNumber(text, 0));
                },
                "Positions, from 0, as 'show' tells them")
            .Required()
            .SeparatedBy(',')
            .ValueName("N");
    }
    if ((takes & kRange) != 0) {
        verb.AddNumber("--start", options.start, 0, "The first entry to replace, from 0");
        verb.AddNumber("--length", options.length, 0, "How many to replace; 0 only inserts");
    }
    if ((takes & kNewName) != 0) {
        verb.AddText("NAME", options.newName, "The new name").Required();
    }
    if ((takes & kPage) != 0) {
        verb.AddPaging(options.offset, options.limit, "entries");
        verb.AddFlag("--json", options.json, "Print JSON instead of a table");
        AddAdditions(verb, options.additions).Needs("--json");
    }
    if ((takes & kDuplicates) != 0) {
        verb.AddFlag("--skip-duplicates", options.skipDuplicates,
                     "Leave out songs that the playlist has already");
    }
}

void AddCreate(const Verb &group) {
    const Verb verb = group.AddVerb("create", "Make a new playlist");
    const auto options = std::make_shared<PlaylistOptions>();
    verb.AddText("NAME", options->name, "Its name").Required();
    verb.AddText("SONG", options->songs, kSongs);
    verb.AddText("--format", options->format, "The format of its file")
        .OneOf(WrittenFormats())
        .ValueName("");
    AddCollection(verb, *options, "One of the user's own playlists instead of a shared one");
    verb.Do([options] { return Create(*options); });
}

}  // namespace

void AddPlaylist(const Verb &app) {
    const Verb group = app.AddGroup("playlist", "Show and change a playlist");
    AddCreate(group);
    for (const PlaylistVerb &known : kVerbs) {
        const Verb verb = group.AddVerb(known.name, known.description);
        const auto options = std::make_shared<PlaylistOptions>();
        verb.AddText("PLAYLIST", options->name, "Its id, title or identifier").Required();
        AddTaken(verb, known.takes, *options);
        AddCollection(verb, *options, "One of the user's own playlists instead of a shared one");
        verb.Do([options, act = known.act] { return OnPlaylist(*options, act); });
    }
}

}  // namespace tonvale_cli
