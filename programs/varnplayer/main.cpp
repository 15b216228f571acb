// varnplayer: the player daemon on plain Linux. It answers the control socket and has the music
// player daemon do the playing.
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <optional>
#include <string>

#include "commands.h"
#include "engine.h"
#include "server.h"
#include "tonvale/players.h"
#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kBacklog = 16;

void Complain(const std::string &message) {
    std::fprintf(stderr, "varnplayer: %s\n", message.c_str());
}

// The package's own group need not be the one of its user's number, which the socket gets.
void GiveToPackage(const std::string &path) {
    PVARN_USER package = nullptr;
    if (geteuid() == 0 && VARNUserGet(varn::kPackageAccount, &package) == 0) {
        if (chown(path.c_str(), package->uid, package->gid) != 0) {
            syslog(LOG_ERR, "cannot give %s to %s: %m", path.c_str(), varn::kPackageAccount);
        }
        VARNUserFree(package);
    }
}

int Play(const varnplayer::Descriptor &listener, const std::optional<std::string> &mpdAddress,
         const std::string &output) {
    const varnplayer::Descriptor end(varnplayer::EndSignals());
    try {
        std::optional<varnplayer::Engine> engine;
        varnplayer::Player player;
        player.mpdAddress = mpdAddress ? *mpdAddress : engine.emplace(output).Address();
        varnplayer::Serve(listener.Get(), end.Get(), player);
        return kDone;
    } catch (const std::exception &error) {
        Complain(error.what());
        return kFailed;
    }
}

int Run(const std::optional<std::string> &mpdAddress, const std::string &output) {
    const std::string path = SystemPath(varn::path::kPlayerSocket);
    const varnplayer::Descriptor listener(DomainSocketCreate(path.c_str(), kBacklog));
    if (listener.Get() < 0) {
        Complain("cannot listen at " + path + "; 'tonvale init' makes its folder");
        return kFailed;
    }
    GiveToPackage(path);
    if (ResetCredentialsByName(varn::kPackageAccount, false) != 0) {
        Complain(std::string("cannot switch to the account ") + varn::kPackageAccount);
        return kFailed;
    }
    signal(SIGPIPE, SIG_IGN);
    const int status = Play(listener, mpdAddress, output);
    unlink(path.c_str());
    return status;
}

}  // namespace

int main(int argc, char **argv) {
    openlog("varnplayer", LOG_PERROR, LOG_DAEMON);
    CLI::App app("Tonvale's player daemon", "varnplayer");
    std::optional<std::string> mpdAddress;
    std::string output = "alsa";
    app.add_option("--mpd", mpdAddress,
                   "A music player daemon that is running: its local socket, or a host")
        ->type_name("ADDRESS");
    app.add_option("--output", output, "Else: the output of one that is started for this")
        ->type_name("TYPE")
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    return Run(mpdAddress, output);
}
