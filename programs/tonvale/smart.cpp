// Smart playlists: which there are, what their rules select by, and what is wrong with them.
#include <json/value.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <tuple>

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

// The file of the playlists that are asked for. Empty, with a message and the exit status set.
std::optional<std::string> StoreFile(const SmartOptions &options, int &status) {
    if (!options.file.empty()) {
        // The store may be missing, a file that was named may not.
        if (access(options.file.c_str(), F_OK) == 0) {
            return options.file;
        }
        Complain("cannot read " + Printable(options.file) + ": " + std::strerror(errno) +
                 "; name a file of smart playlists");
        status = kUsage;
        return std::nullopt;
    }
    status = kFailed;
    if (!Succeeded(CheckRoot())) {
        return std::nullopt;
    }
    if (options.user.empty()) {
        return SystemPath(varn::path::kSmartPlaylists);
    }
    tonvale_service::UidOf(options.user);  // there must be such a user
    return tonvale_service::PreferenceFolder(options.user) + "/playlists/smart.playlist";
}

// What it holds. Empty, with a message and the exit status set.
std::optional<varn::SmartPlaylistFile> Read(const SmartOptions &options, std::string &file,
                                            int &status) {
    const auto store = StoreFile(options, status);
    if (!store) {
        return std::nullopt;
    }
    file = *store;
    auto read = varn::ReadSmartPlaylists(file);
    if (!read) {
        throw Failure(Reason::kSmartPlaylistsNotRead, file);
    }
    return read;
}

void Tell(const std::string &file, const varn::SmartPlaylistNote &note) {
    std::fprintf(stderr, "%s:%d:%d: %s%s\n", file.c_str(), note.line, note.column,
                 note.isWarning ? "warning: " : "", note.text.c_str());
}

bool IsBroken(const std::vector<varn::SmartPlaylistNote> &notes) {
    for (const varn::SmartPlaylistNote &note : notes) {
        if (!note.isWarning) {
            return true;
        }
    }
    return false;
}

int List(const SmartOptions &options) {
    std::string file;
    int status = kDone;
    const auto read = Read(options, file, status);
    if (!read) {
        return status;
    }
    Table table({{"NAME", false, true}, {"LINE", true, false}, {"RULE", false, false}});
    Json::Value list(Json::arrayValue);
    for (const varn::SmartPlaylist &playlist : read->playlists) {
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
        std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    }
    return kDone;
}

int Show(const SmartOptions &options) {
    std::string file;
    int status = kDone;
    const auto read = Read(options, file, status);
    if (!read) {
        return status;
    }
    for (const varn::SmartPlaylist &playlist : read->playlists) {
        if (playlist.name != options.name) {
            continue;
        }
        for (const varn::SmartPlaylistNote &note : playlist.notes) {
            Tell(file, note);
        }
        if (playlist.condition.empty()) {
            return kFailed;
        }
        std::printf("%s\n", playlist.condition.c_str());
        return kDone;
    }
    throw Failure(Reason::kNoSuchSmartPlaylist, options.name);
}

int Check(const SmartOptions &options) {
    std::string file;
    int status = kDone;
    const auto read = Read(options, file, status);
    if (!read) {
        return status;
    }
    std::vector<varn::SmartPlaylistNote> notes = read->notes;
    for (const varn::SmartPlaylist &playlist : read->playlists) {
        notes.insert(notes.end(), playlist.notes.begin(), playlist.notes.end());
    }
    std::sort(notes.begin(), notes.end(), [](const auto &one, const auto &other) {
        return std::tie(one.line, one.column) < std::tie(other.line, other.column);
    });
    for (const varn::SmartPlaylistNote &note : notes) {
        Tell(file, note);
    }
    const bool broken = IsBroken(notes);
    if (!broken) {
        const std::size_t count = read->playlists.size();
        std::printf("%zu %s, all good\n", count, count == 1 ? "playlist" : "playlists");
    }
    return broken ? kFailed : kDone;
}

}  // namespace

void AddSmart(const Verb &app) {
    const Verb smart = app.AddGroup("smart", "Look at smart playlists and their rules");
    const auto options = std::make_shared<SmartOptions>();
    const auto add = [&](const char *name, const char *description,
                         int (*run)(const SmartOptions &)) {
        const Verb verb = smart.AddVerb(name, description);
        verb.AddText("--user", options->user, "This user's own playlists, not the shared ones")
            .ValueName("NAME");
        verb.Do([=] { return run(*options); });
        return verb;
    };
    add("list", "List the playlists", List)
        .AddFlag("--json", options->json, "Print JSON instead of a table");
    add("show", "Print the SQL condition that a playlist's rule becomes", Show)
        .AddText("NAME", options->name, "The playlist's name")
        .Required();
    add("check", "Tell the line and column of what is wrong", Check)
        .AddText("FILE", options->file, "A file of playlists, in place of the system's");
}

}  // namespace tonvale_cli
