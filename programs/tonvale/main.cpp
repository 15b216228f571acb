// tonvale: prepares a place to run in, indexes it, and shows what its library answers.
#include <syslog.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include "command.h"
#include "complain.h"
#include "display.h"
#include "service/base/failure.h"
#include "varn/db.h"
#include "wording.h"

namespace {

using namespace tonvale_cli;

// As many as a verb has at a time: most calls of the library take one for themselves.
constexpr int kConnections = 2;

// Must come before anything asks for a system path. The true path of the root is set, because it
// goes into the accounts, links and settings below it.
bool SetRoot(const std::string &root) {
    std::error_code error;
    const std::filesystem::path full =
        std::filesystem::weakly_canonical(std::filesystem::absolute(root, error), error);
    if (root.empty() || error || full == full.root_path()) {
        Complain("the root '" + root +
                 "' cannot be used: " + (error ? error.message() : "name a folder below /"));
        return false;
    }
    setenv("TONVALE_ROOT", full.c_str(), 1);
    return true;
}

// True on a machine where the system is installed without a root. Anywhere else a root has to be
// named.
bool HasInstalledSystem() {
    if (access("/var/packages/Tonvale", F_OK) == 0) {
        return true;
    }
    Complain(
        "no system is installed on this machine; name a folder to work in with --root DIR or "
        "TONVALE_ROOT");
    return false;
}

// A reader that went away ends the program quietly; any other failure to write is told.
int FlushOutput(int status) {
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) {
        return status;
    }
    if (errno != EPIPE) {
        Complain(std::string("cannot write the output: ") + std::strerror(errno));
    }
    return kFailed;
}

// A verb as it was called: "tonvale playlist add".
std::string NameOf(const CLI::App &app) {
    const auto chosen = app.get_subcommands();
    return app.get_name() + (chosen.empty() ? "" : " " + NameOf(*chosen.front()));
}

int Run(int argc, char **argv) {
    CLI::App app("Tonvale: an audio server's library", "tonvale");
    std::optional<std::string> root;
    Action action;
    app.set_version_flag("--version", "tonvale " TONVALE_VERSION);
    app.add_option("--root", root, "The system to work on, a folder (else TONVALE_ROOT)")
        ->type_name("DIR");
    app.require_subcommand(0, 1);
    app.fallthrough();
    for (const auto add :
         {AddInit,      AddIndex,      AddSongs,       AddSearch,     AddGroups, AddFolders,
          AddPlaylists, AddPlaylist,   AddRate,        AddSmart,      AddShare,  AddPin,
          AddUserVerb,  AddPermission, AddPersonal,    AddPreference, AddCover,  AddPlayer,
          AddSoundCard, AddSpeaker,    AddMediaServer, AddServe,      AddStart,  AddStop}) {
        add(Verb(app, action));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {  // a text that was asked for
            app.exit(error);
            return FlushOutput(kDone);
        }
        // An error about a missing argument does not name the unknown one that came instead.
        const auto unknown = app.remaining(true);
        const bool isMissing = dynamic_cast<const CLI::RequiredError *>(&error) != nullptr;
        Complain(Printable(error.what()) +
                 (isMissing && !unknown.empty()
                      ? "; '" + Printable(unknown.front()) + "' is not known"
                      : "") +
                 "; '" + NameOf(app) + " --help' tells what it takes");
        return kUsage;
    }
    if (!action) {
        Complain("name what to do; 'tonvale --help' lists the verbs");
        return kUsage;
    }
    const char *fromEnvironment = secure_getenv("TONVALE_ROOT");
    if (!root && fromEnvironment != nullptr && *fromEnvironment != '\0') {
        root = fromEnvironment;
    }
    const bool needsSystem = !app.got_subcommand(kMediaServer) && !app.got_subcommand(kSpeaker);
    if (root ? !SetRoot(*root) : needsSystem && !HasInstalledSystem()) {
        return kUsage;
    }
    VARNDBKeepConnections(kConnections);
    return FlushOutput(action());
}

}  // namespace

int main(int argc, char **argv) {
    openlog("tonvale", LOG_PERROR, LOG_USER);
    std::signal(SIGCHLD,
                SIG_DFL);  // children are waited for, even if the parent ignored the signal
    try {
        return Run(argc, argv);
    } catch (const tonvale_service::Failure &failure) {
        Complain(Worded(failure));
        const tonvale_service::FailureClass what = failure.Class();
        return what == tonvale_service::FailureClass::kFailed ||
                       what == tonvale_service::FailureClass::kBusy
                   ? kFailed
                   : kUsage;
    } catch (const std::exception &error) {
        Complain(error.what());
        return kFailed;
    }
}
