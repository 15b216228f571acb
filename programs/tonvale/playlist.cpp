#include <functional>
#include <limits>
#include <memory>

#include "command.h"
#include "database.h"
#include "number.h"
#include "playlist_edit.h"
#include "playlist_output.h"
#include "playlist_show.h"
#include "playlist_target.h"
#include "user.h"

namespace tonvale_cli {

namespace {

struct PlaylistOptions {
    Collection collection;
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

int Show(Options options, const Playlist &playlist) {
    int total = -1;
    const SongRecords page(VARNPlaylistParseByPath(options.collection.uid, playlist.path.c_str(),
                                                   nullptr, &total, options.offset, options.limit,
                                                   "*", 0));
    if (total < 0) {
        Complain("the playlist cannot be read; the lines above tell why");
        return kFailed;
    }
    PrintEntries(page.get(), options.offset, total, options.json);
    return kDone;
}

// With the songs of the command line.
template <typename Do>
int WithSongs(Options options, const Do &what) {
    const auto songs = FindSongs(options.collection, options.songs);
    return songs ? what(songs->get()) : kUsage;
}

int Create(PlaylistOptions &options) {
    const SameAccountAfter account;
    if (const int status = Prepare(options.collection); status != kDone) {
        return status;
    }
    return WithSongs(options, [&](const PLAYLIST_REC *songs) {
        return CreatePlaylist(options.collection, options.name, options.format, songs);
    });
}

int Add(Options options, const Playlist &playlist) {
    return WithSongs(options, [&](const PLAYLIST_REC *songs) {
        return AppendSongs(options.collection, playlist, songs, options.skipDuplicates);
    });
}

int Replace(Options options, const Playlist &playlist) {
    return WithSongs(options, [&](const PLAYLIST_REC *songs) {
        return ReplaceSongs(options.collection, playlist, options.start, options.length, songs);
    });
}

int Remove(Options options, const Playlist &playlist) {
    return RemovePositions(options.collection, playlist, options.positions);
}

int Missing(Options options, const Playlist &playlist) {
    return RemoveMissing(options.collection, playlist);
}

int Rename(Options options, const Playlist &playlist) {
    return RenamePlaylist(options.collection, playlist, options.newName);
}

int Delete(Options options, const Playlist &playlist) {
    return DeletePlaylist(options.collection, playlist);
}

// 0 when all songs are in the playlist.
int Check(Options options, const Playlist &playlist) {
    return WithSongs(options, [&](const PLAYLIST_REC *songs) {
        int status = kDone;
        for (; songs != nullptr; songs = songs->next) {
            std::string name = songs->info.path;
            if (IsVirtualMusic(&songs->info) && songs->info.virtual_track > 0) {
                name += "_" + std::to_string(songs->info.virtual_track);
            }
            const bool found = VARNPlaylistCheckSong(options.collection.uid, playlist.path.c_str(),
                                                     name.c_str()) == 0;
            std::printf("%s %s\n", found ? "yes" : "no ", name.c_str());
            status = found ? status : kFailed;
        }
        return status;
    });
}

using Act = int (*)(Options options, const Playlist &playlist);

int OnPlaylist(PlaylistOptions &options, Act act) {
    const SameAccountAfter account;
    if (const int status = Prepare(options.collection); status != kDone) {
        return status;
    }
    const auto playlist = FindPlaylist(options.collection, options.name);
    return playlist ? act(options, *playlist) : kUsage;
}

// An identifier names a playlist of any kind, and its entries are track objects.
int ShowAny(PlaylistOptions &options) {
    if (IsPlaylistId(options.name)) {
        return ShowTracks({options.name, options.collection.user, options.additions, options.offset,
                           options.limit, options.json});
    }
    if (!options.additions.empty()) {
        Complain("--additional is for identifiers: name the playlist as " +
                 std::string("playlist_shared_normal/ID, playlist_personal_normal/KEY, ") +
                 "playlist_shared_smart/NAME or playlist_personal_smart/NAME");
        return kUsage;
    }
    return OnPlaylist(options, Show);
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

void AddCollection(CLI::App &verb, PlaylistOptions &options) {
    verb.add_option("--user", options.collection.user, "For whom")
        ->type_name("NAME")
        ->capture_default_str();
    verb.add_flag("--personal", options.collection.personal,
                  "One of the user's own playlists instead of a shared one");
}

void AddTaken(CLI::App &verb, unsigned takes, PlaylistOptions &options) {
    if ((takes & kSomeSongs) != 0) {
        verb.add_option("SONG", options.songs, kSongs)->required((takes & kRange) == 0);
    }
    if ((takes & kPositions) != 0) {
        verb.add_option("POSITION", options.positions, "Positions, from 0, as 'show' tells them")
            ->required()
            ->delimiter(',')
            ->check(CLI::Range(0, std::numeric_limits<int>::max()));
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
    AddCollection(*verb, *options);
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
        verb->add_option("PLAYLIST", options->name,
                         known.act == Show ? "Its id, title or identifier" : "Its id or title")
            ->required();
        AddTaken(*verb, known.takes, *options);
        AddCollection(*verb, *options);
        verb->callback([options, act = known.act, &action] {
            action = [options, act] {
                return act == Show ? ShowAny(*options) : OnPlaylist(*options, act);
            };
        });
    }
}

}  // namespace tonvale_cli
