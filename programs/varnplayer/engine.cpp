#include "engine.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "mpd.h"
#include "varn/systempath.h"

namespace varnplayer {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kProgram[] = "/usr/bin/mpd";
// Nobody else may come to the socket: who can, has every file read that the package can read.
constexpr char kFolder[] = "/var/run/Tonvale/player";
constexpr mode_t kFolderMode = 0700;
constexpr std::chrono::seconds kPatience{30};     // for coming up
constexpr std::chrono::seconds kLastPatience{5};  // for ending
constexpr std::chrono::milliseconds kPause{50};

// A text of the settings: quotes and backslashes are written after a backslash.
std::string Quoted(const std::string &text) {
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' || c == '\\' ? std::string{'\\', c} : std::string{c};
    }
    return quoted + "\"";
}

// No music folder and no database of its own: songs are named by their paths.
std::string Settings(const std::string &socket, const std::string &output) {
    return "bind_to_address " + Quoted(socket) +
           "\n"
           "zeroconf_enabled \"no\"\n"
           "max_playlist_length \"65536\"\n"
           "log_file \"syslog\"\n"
           "audio_output {\n"
           "  type " +
           Quoted(output) +
           "\n"
           "  name " +
           Quoted(output) +
           "\n"
           "  mixer_type \"software\"\n"
           "}\n";
}

bool IsWord(const std::string &text) {
    return !text.empty() &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
}

// A folder of this account alone. One that somebody else made is not used.
void MakeFolder(const std::string &folder) {
    if (mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST) {
        throw Refused("cannot make " + folder + ": " + std::strerror(errno));
    }
    struct stat info {};
    if (lstat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != geteuid() ||
        chmod(folder.c_str(), kFolderMode) != 0) {
        throw Refused(folder + " is not a folder of this account; remove it");
    }
}

// Starts the daemon with no signal blocked and none ignored. It ends when this process does.
pid_t Start(const std::string &settings) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nowhere = open("/dev/null", O_RDWR);
    if (getppid() == parent && dup2(nowhere, STDIN_FILENO) >= 0 &&
        dup2(nowhere, STDOUT_FILENO) >= 0) {
        execl(kProgram, "mpd", "--no-daemon", settings.c_str(), nullptr);
    }
    _exit(127);
}

}  // namespace

Engine::Engine(const std::string &output) : socket_(SystemPath(kFolder) + "/mpd.sock") {
    if (!IsWord(output)) {
        throw Refused("'" + output + "' is no type of output");
    }
    const std::string folder = SystemPath(kFolder);
    const std::string settings = folder + "/mpd.conf";
    if (folder.find_first_of("\r\n") != std::string::npos) {
        throw Refused("the root's name has a line end, which no settings can hold");
    }
    if (access(kProgram, X_OK) != 0) {
        throw Refused(std::string("cannot run ") + kProgram + "; install the package mpd");
    }
    MakeFolder(folder);
    if (!(std::ofstream(settings) << Settings(socket_, output)).flush()) {
        throw Refused("cannot write " + settings);
    }
    unlink(socket_.c_str());
    process_ = Start(settings);
    if (process_ < 0) {
        throw Refused(std::string("cannot run ") + kProgram + ": " + std::strerror(errno));
    }
}

bool Engine::WaitUntilItAnswers(const Signals &signals) {
    const auto deadline = Clock::now() + kPatience;
    while (!HasEnded() && Clock::now() < deadline) {
        if (signals.EndIsAsked(kPause)) {
            return false;
        }
        try {
            return Mpd(socket_).Get() != nullptr;
        } catch (const Refused &) {
            // not yet
        }
    }
    throw Refused("the music player daemon did not come up; the system log tells why");
}

bool Engine::HasEnded() {
    if (process_ > 0) {
        const pid_t ended = waitpid(process_, nullptr, WNOHANG);
        if (ended == process_ || (ended < 0 && errno == ECHILD)) {
            process_ = -1;
        }
    }
    return process_ < 0;
}

Engine::~Engine() {
    if (!HasEnded()) {
        kill(process_, SIGTERM);
        kill(process_, SIGCONT);  // a stopped one would not heed it
        const auto deadline = Clock::now() + kLastPatience;
        while (!HasEnded() && Clock::now() < deadline) {
            std::this_thread::sleep_for(kPause);
        }
    }
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    unlink(socket_.c_str());
}

}  // namespace varnplayer
