// varnplayer: the player daemon on plain Linux. It answers the control socket and has the music
// player daemon do the playing.
#include <signal.h>
#include <syslog.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <optional>
#include <string>

#include "commands.h"
#include "engine.h"
#include "instance.h"
#include "mpd.h"
#include "server.h"
#include "signals.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace varnplayer;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

int Play(const ControlSocket &control, const Signals &signals,
         const std::optional<std::string> &mpdAddress, const std::string &output) {
    std::optional<Engine> engine;
    Player player;
    if (mpdAddress) {
        player.mpdAddress = *mpdAddress;
    } else if (!engine.emplace(output).WaitUntilItAnswers(signals)) {
        return kDone;
    } else {
        player.mpdAddress = engine->Address();
    }
    const auto check = [&] {
        if (engine && engine->HasEnded()) {
            throw Refused("the music player daemon ended; the system log tells why");
        }
    };
    Serve(control.Get(), signals, check, player);
    return kDone;
}

int Run(const std::optional<std::string> &mpdAddress, const std::string &output) {
    const Signals signals;
    signal(SIGPIPE, SIG_IGN);
    const Lock lock;
    const ControlSocket control;
    if (ResetCredentialsByName(varn::kPackageAccount, false) != 0) {
        throw Refused(std::string("cannot switch to the account ") + varn::kPackageAccount);
    }
    return Play(control, signals, mpdAddress, output);
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
    try {
        return Run(mpdAddress, output);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "varnplayer: %s\n", error.what());
        return kFailed;
    }
}
