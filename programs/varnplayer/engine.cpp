#include "engine.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <thread>
#include <vector>

#include "mpd.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace varnplayer {

namespace {

constexpr char kProgram[] = "/usr/bin/mpd";
// Nobody else may come to the socket: who can, has every file read that the package can read.
constexpr char kFolder[] = "/var/run/Tonvale/player";
constexpr mode_t kFolderMode = 0700;
constexpr std::chrono::seconds kPatience{30};
constexpr std::chrono::milliseconds kPause{50};

// No music folder and no database of its own: songs are named by their paths.
std::string Settings(const std::string &socket, const std::string &output) {
    return "bind_to_address \"" + socket +
           "\"\n"
           "zeroconf_enabled \"no\"\n"
           "max_playlist_length \"65536\"\n"
           "log_file \"syslog\"\n"
           "audio_output {\n"
           "  type \"" +
           output +
           "\"\n"
           "  name \"" +
           output +
           "\"\n"
           "  mixer_type \"software\"\n"
           "}\n";
}

bool IsWord(const std::string &text) {
    return !text.empty() &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
}

}  // namespace

Engine::Engine(const std::string &output) : socket_(SystemPath(kFolder) + "/mpd.sock") {
    if (!IsWord(output)) {
        throw Refused("'" + output + "' is no type of output");
    }
    const std::string folder = SystemPath(kFolder);
    std::string settings = folder + "/mpd.conf";
    if (mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST) {
        throw Refused("cannot make " + folder);
    }
    if (!(std::ofstream(settings) << Settings(socket_, output)).flush()) {
        throw Refused("cannot write " + settings);
    }
    unlink(socket_.c_str());
    std::string program = "mpd";
    std::string foreground = "--no-daemon";
    char *const argv[] = {program.data(), foreground.data(), settings.data(), nullptr};
    process_ = VLIBCPopenv(kProgram, "w", argv);
    if (process_ == nullptr) {
        throw Refused("cannot run /usr/bin/mpd; install the package mpd");
    }
    try {
        WaitUntilItAnswers();
    } catch (...) {
        End();
        throw;
    }
}

Engine::~Engine() {
    End();
}

void Engine::WaitUntilItAnswers() const {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        try {
            const Mpd mpd(socket_);
            return;
        } catch (const Refused &) {
            if (std::chrono::steady_clock::now() > deadline) {
                throw Refused("the music player daemon did not come up; the system log tells why");
            }
        }
        std::this_thread::sleep_for(kPause);
    }
}

// It has no descriptor that it would miss, so it is told.
void Engine::End() {
    try {
        const Mpd mpd(socket_);
        if (mpd_send_command(mpd.Get(), "kill", nullptr)) {
            mpd_response_finish(mpd.Get());  // until it hangs up: it heeds nobody who is gone
        }
    } catch (const Refused &) {
        // it is gone already
    }
    VLIBCPclose(process_);
    unlink(socket_.c_str());
}

}  // namespace varnplayer
