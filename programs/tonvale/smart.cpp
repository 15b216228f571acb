// Smart playlists: which there are, what their rules select by, and what is wrong with them.
#include <json/value.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <tuple>
#include <utility>

#include "command.h"
#include "database.h"
#include "display.h"
#include "page_output.h"
#include "service/base/failure.h"
#include "service/people/settings.h"
#include "varn/playlistsvc.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using tonvale_service::Failure;
using tonvale_service::Reason;

struct SmartOptions {
    std::string user;  // "": the shared playlists
    std::string name;
    std::string file;  // "": the store's
    bool json = false;
};

// A file of smart playlists: its path, and what it holds.
struct SmartFile {
    std::string path;
    varn::SmartPlaylistFile read;
};

// The file that is asked for, or that of the shared or a user's playlists, which may be missing.
std::string PathOf(const SmartOptions &options) {
    if (!options.file.empty()) {
        return options.file;
    }
    if (options.user.empty()) {
        return SystemPath(varn::path::kSmartPlaylists);
    }
    tonvale_service::UidOf(options.user);  // there must be such a user
    return tonvale_service::PreferenceFolder(options.user) + "/playlists/smart.playlist";
}

using Act = int (*)(const SmartOptions &options, const SmartFile &file);

int Run(const SmartOptions &options, Act act) {
    if (options.file.empty() && !Succeeded(CheckRoot())) {
        return kFailed;
    }
    if (!options.file.empty() && access(options.file.c_str(), F_OK) != 0) {
        Complain("cannot read " + Printable(options.file) + ": " + std::strerror(errno) +
                 "; name a file of smart playlists");
        return kUsage;
    }
    const std::string path = PathOf(options);
    auto read = varn::ReadSmartPlaylists(path);
    if (!read) {
        throw Failure(Reason::kSmartPlaylistsNotRead, path);
    }
    return act(options, {path, std::move(*read)});
}

void Tell(const std::string &file, const varn::SmartPlaylistNote &note) {
    std::fprintf(stderr, "%s:%d:%d: %s%s\n", file.c_str(), note.line, note.column,
                 note.isWarning ? "warning: " : "", note.text.c_str());
}

int List(const SmartOptions &options, const SmartFile &file) {
    Table table({{"NAME", false, true}, {"LINE", true, false}, {"RULE"}});
    Json::Value list(Json::arrayValue);
    for (const varn::SmartPlaylist &playlist : file.read.playlists) {
        const bool good = !playlist.condition.empty();
        table.AddRow({playlist.name, std::to_string(playlist.line), good ? "good" : "broken"});
        Json::Value entry(Json::objectValue);
        entry["name"] = ValidUtf8(playlist.name);
        entry["line"] = playlist.line;
        entry["good"] = good;
        list.append(entry);
    }
    if (options.json) {
        PrintJson(list);
    } else {
        table.Print();
    }
    return kDone;
}

int Show(const SmartOptions &options, const SmartFile &file) {
    for (const varn::SmartPlaylist &playlist : file.read.playlists) {
        if (playlist.name != options.name) {
            continue;
        }
        for (const varn::SmartPlaylistNote &note : playlist.notes) {
            Tell(file.path, note);
        }
        if (playlist.condition.empty()) {
            return kFailed;
        }
        std::printf("%s\n", playlist.condition.c_str());
        return kDone;
    }
    throw Failure(Reason::kNoSuchSmartPlaylist, options.name);
}

int Check(const SmartOptions & /*options*/, const SmartFile &file) {
    std::vector<varn::SmartPlaylistNote> notes = file.read.notes;
    for (const varn::SmartPlaylist &playlist : file.read.playlists) {
        notes.insert(notes.end(), playlist.notes.begin(), playlist.notes.end());
    }
    std::sort(notes.begin(), notes.end(), [](const auto &one, const auto &other) {
        return std::tie(one.line, one.column) < std::tie(other.line, other.column);
    });
    for (const varn::SmartPlaylistNote &note : notes) {
        Tell(file.path, note);
    }
    const bool broken =
        std::any_of(notes.begin(), notes.end(), [](const auto &note) { return !note.isWarning; });
    if (!broken) {
        const std::size_t count = file.read.playlists.size();
        std::printf("%zu %s, all good\n", count, count == 1 ? "playlist" : "playlists");
    }
    return broken ? kFailed : kDone;
}

}  // namespace

void AddSmart(const Verb &app) {
    const Verb smart = app.AddGroup("smart", "Look at smart playlists and their rules");
    const auto options = std::make_shared<SmartOptions>();
    const auto add = [&](const char *name, const char *description, Act act) {
        const Verb verb = smart.AddVerb(name, description);
        verb.AddText("--user", options->user, "This user's own playlists, not the shared ones")
            .ValueName("NAME");
        verb.Do([=] { return Run(*options, act); });
        return verb;
    };
    add("list", "List the playlists", List)
        .AddFlag("--json", options->json, "Print JSON instead of a table");
    add("show", "Print the SQL condition that a playlist's rule becomes", Show)
        .AddText("NAME", options->name, "The playlist's name")
        .Required();
    add("check", "Tell the line and column of what is wrong", Check)
        .AddText("FILE", options->file, "A file of playlists instead of the system's");
}

}  // namespace tonvale_cli
