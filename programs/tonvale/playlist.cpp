#include <json/json.h>

#include <functional>
#include <memory>

#include "command.h"
#include "number.h"
#include "page_output.h"
#include "playlist_options.h"
#include "playlist_output.h"
#include "service/failure.h"
#include "service/playlist_edit.h"
#include "service/playlist_place.h"
#include "service/playlists.h"
#include "service/settings.h"
#include "service/tracks.h"
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
SongRecords Songs(Options options) {
    return FindSongs(options.collection, options.songs);
}

int Create(PlaylistOptions &options) {
    const varn::RunAs before(varn::Who::kCaller);
    if (const int status = Prepare(options); status != kDone) {
        return status;
    }
    CreatePlaylist(options.collection, options.name, options.format, Songs(options).get());
    return kDone;
}

int Add(Options options, const AnyPlaylist &playlist) {
    AppendSongs(playlist.collection, playlist.normal, Songs(options).get(), options.skipDuplicates);
    return kDone;
}

int Replace(Options options, const AnyPlaylist &playlist) {
    ReplaceSongs(playlist.collection, playlist.normal, options.start, options.length,
                 Songs(options).get());
    return kDone;
}

int Remove(Options options, const AnyPlaylist &playlist) {
    RemovePositions(playlist.collection, playlist.normal, options.positions);
    return kDone;
}

int Missing(Options, const AnyPlaylist &playlist) {
    RemoveMissing(playlist.collection, playlist.normal);
    return kDone;
}

int Rename(Options options, const AnyPlaylist &playlist) {
    RenamePlaylist(playlist.collection, playlist.normal, options.newName);
    return kDone;
}

int Delete(Options, const AnyPlaylist &playlist) {
    DeletePlaylist(playlist.collection, playlist.normal);
    return kDone;
}

// 0 when all songs are in the playlist.
int Check(Options options, const AnyPlaylist &playlist) {
    const SongRecords songs = Songs(options);
    Playlist normal = playlist.normal;
    const HeldPlaylist list = HoldToRead(playlist.collection, normal);
    int status = kDone;
    for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
        std::string name = song->info.path;
        if (IsVirtualMusic(&song->info) && song->info.virtual_track > 0) {
            name += "_" + std::to_string(song->info.virtual_track);
        }
        const bool found =
            VARNPlaylistCheckSong(options.collection.uid, list.Path().c_str(), name.c_str()) == 0;
        std::printf("%s %s\n", found ? "yes" : "no ", name.c_str());
        status = found ? status : kFailed;
    }
    return status;
}

using Act = int (*)(Options options, const AnyPlaylist &playlist);

// A playlist by its identifier, its row's id or its title.
AnyPlaylist Find(Options options) {
    const Collection &from = options.collection;
    return IsPlaylistId(options.name) ? FindById(from.user, from.uid, options.name)
                                      : AsAny(from, FindPlaylist(from, options.name));
}

int OnPlaylist(PlaylistOptions &options, Act act) {
    const varn::RunAs before(varn::Who::kCaller);
    if (const int status = Prepare(options); status != kDone) {
        return status;
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

struct Verb {
    const char *name;
    const char *description;
    Act act;
    unsigned takes;
};

constexpr Verb kVerbs[] = {
    {"show", "List the entries of a playlist", Show, kPage},
    {"add", "Add songs at the end", Add, kSomeSongs | kDuplicates},
    {"replace", "Put songs in the place of others", Replace, kSomeSongs | kRange},
    {"remove", "Remove the entries at some positions", Remove, kPositions},
    {"missing", "Remove the entries that the library does not know", Missing, kNothing},
    {"rename", "Give a playlist another name", Rename, kNewName},
    {"delete", "Delete a playlist, file and all", Delete, kNothing},
    {"check", "Tell whether songs are in a playlist; exits with 1 for one that is not", Check,
     kSomeSongs},
};

void AddTaken(CLI::App &verb, unsigned takes, PlaylistOptions &options) {
    if ((takes & kSomeSongs) != 0) {
        verb.add_option("SONG", options.songs, kSongs)->required((takes & kRange) == 0);
    }
    if ((takes & kPositions) != 0) {
        const auto parse = [&positions = options.positions](const std::vector<std::string> &texts) {
            for (const std::string &text : texts) {
                positions.push_back(ParseNumber(text, "POSITION", 0));
            }
        };
        verb.add_option_function<std::vector<std::string>>(
                "POSITION", parse, "Positions, from 0, as 'show' tells them")
            ->required()
            ->delimiter(',')
            ->type_name("N");
    }
    if ((takes & kRange) != 0) {
        AddNumber(verb, "--start", options.start, 0, "The first entry to replace, from 0");
        AddNumber(verb, "--length", options.length, 0, "How many to replace; 0 only inserts");
    }
    if ((takes & kNewName) != 0) {
        verb.add_option("NAME", options.newName, "The new name")->required();
    }
    if ((takes & kPage) != 0) {
        AddNumber(verb, "--offset", options.offset, 0, "How many entries to pass over");
        AddNumber(verb, "--limit", options.limit, 0, "How many entries to list; 0: all");
        verb.add_flag("--json", options.json, "Print JSON instead of a table");
        AddAdditions(verb, options.additions)->needs("--json");
    }
    if ((takes & kDuplicates) != 0) {
        verb.add_flag("--skip-duplicates", options.skipDuplicates,
                      "Leave out songs that the playlist has already");
    }
}

void AddCreate(CLI::App &group, Action &action) {
    CLI::App *verb = group.add_subcommand("create", "Make a new playlist");
    const auto options = std::make_shared<PlaylistOptions>();
    verb->add_option("NAME", options->name, "Its name")->required();
    verb->add_option("SONG", options->songs, kSongs);
    verb->add_option("--format", options->format, "How it is written")
        ->check(CLI::IsMember({"m3u", "pls", "wpl"}))
        ->type_name("")
        ->capture_default_str();
    AddCollection(*verb, *options, "One of the user's own playlists instead of a shared one");
    verb->callback([options, &action] { action = [options] { return Create(*options); }; });
}

}  // namespace

void AddPlaylist(CLI::App &app, Action &action) {
    CLI::App *group = app.add_subcommand("playlist", "Show and change a playlist");
    group->require_subcommand(1);
    AddCreate(*group, action);
    for (const Verb &known : kVerbs) {
        CLI::App *verb = group->add_subcommand(known.name, known.description);
        const auto options = std::make_shared<PlaylistOptions>();
        verb->add_option("PLAYLIST", options->name, "Its id, title or identifier")->required();
        AddTaken(*verb, known.takes, *options);
        AddCollection(*verb, *options, "One of the user's own playlists instead of a shared one");
        verb->callback([options, act = known.act, &action] {
            action = [options, act] { return OnPlaylist(*options, act); };
        });
    }
}

}  // namespace tonvale_cli
