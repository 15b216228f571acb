#include "web_server.h"

#include <fcntl.h>
#include <netdb.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <thread>
#include <utility>

#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

constexpr char kServer[] = "/usr/sbin/lighttpd";
constexpr std::chrono::seconds kPatience{20};
constexpr std::chrono::milliseconds kPollInterval{20};

constexpr int kEndingSignals[] = {SIGTERM, SIGINT, SIGHUP};

// The signals that are waited for, and held back the rest of the time.
sigset_t WatchedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    for (const int number : kEndingSignals) {
        sigaddset(&signals, number);
    }
    return signals;
}

class Address {
  public:
    explicit Address(const WebOptions &options) {
        addrinfo hints{};
        hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo *found = nullptr;
        error_ = getaddrinfo(options.listen.c_str(), std::to_string(options.port).c_str(), &hints,
                             &found);
        info_.reset(found);
    }

    Outcome Check() const {
        if (error_ != 0) {
            return Outcome::Problem(std::string("--listen takes an address of this machine: ") +
                                    gai_strerror(error_));
        }
        return Outcome::Good();
    }
    // 0, or an errno value.
    int TryToListen() const {
        return With([this](int fd) {
            const int on = 1;
            setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
            return bind(fd, info_->ai_addr, info_->ai_addrlen) == 0 && listen(fd, 1) == 0;
        });
    }
    int TryToConnect() const {
        return With([this](int fd) { return connect(fd, info_->ai_addr, info_->ai_addrlen) == 0; });
    }

  private:
    template <typename Try>
    int With(const Try &attempt) const {
        const int fd = socket(info_->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int result = fd >= 0 && attempt(fd) ? 0 : errno;
        if (fd >= 0) {
            close(fd);
        }
        return result;
    }

    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> info_{nullptr, freeaddrinfo};
    int error_ = 0;
};

// Becomes the server, in a process group of its own, which ends with its parent.
[[noreturn]] void BecomeServer(const std::string &conf, pid_t parent) {
    setpgid(0, 0);
    const sigset_t signals = WatchedSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    if (prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && getppid() == parent) {
        const int null = open("/dev/null", O_RDONLY);
        dup2(null, STDIN_FILENO);
        execl(kServer, kServer, "-D", "-f", conf.c_str(), static_cast<char *>(nullptr));
    }
    std::perror(kServer);
    _exit(127);
}

}  // namespace

void WebServer::HoldSignals() {
    const sigset_t signals = WatchedSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

bool WebServer::IsAskedToEnd() {
    sigset_t pending;
    return sigpending(&pending) == 0 &&
           std::any_of(std::begin(kEndingSignals), std::end(kEndingSignals),
                       [&](int number) { return sigismember(&pending, number) == 1; });
}

Outcome WebServer::Start(const WebOptions &options) {
    const Address address(options);
    if (Outcome done = address.Check(); !done) {
        return done;
    }
    if (const int error = address.TryToListen(); error != 0) {
        return Outcome::Problem("cannot listen on " + WebAddress(options) + ": " +
                                std::strerror(error) + "; choose another port with --port N");
    }
    if (Outcome done = WriteWebConfig(options); !done) {
        return done;
    }
    HoldSignals();
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const std::string conf = SystemPath(varn::path::kWebConf);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        BecomeServer(conf, parent);
    }
    if (pid_ < 0) {
        return Outcome::Problem(std::string("cannot start a process: ") + std::strerror(errno));
    }
    setpgid(pid_, pid_);  // whoever of the two comes first
    group_ = pid_;
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (Reap() && std::chrono::steady_clock::now() < deadline) {
        if (address.TryToConnect() == 0) {
            return Outcome::Good();
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return Outcome::Problem("the web server did not start; what it says stands above or in " +
                            SystemPath(varn::path::kWebLogDir) + "/error.log");
}

bool WebServer::Reap() {
    int status = 0;
    for (pid_t ended; (ended = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (ended == pid_) {
            pid_ = -1;
        }
    }
    return pid_ > 0;
}

bool WebServer::WaitForEnd() {
    const sigset_t signals = WatchedSignals();
    while (Reap()) {
        const int number = sigwaitinfo(&signals, nullptr);
        if (number > 0 && number != SIGCHLD) {
            return true;
        }
    }
    return false;
}

bool WebServer::WaitForGroup(pid_t group) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
        Reap();
        if (kill(-group, 0) != 0 && errno == ESRCH) {
            return true;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return false;
}

void WebServer::Stop() {
    if (group_ <= 0) {
        return;
    }
    const pid_t group = std::exchange(group_, -1);
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
    }
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (Reap() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(kPollInterval);
    }
    // The handlers, whose encoders end with them; one that changes something goes to its end first.
    // And a server that does not listen.
    kill(-group, pid_ > 0 ? SIGKILL : SIGTERM);
    if (!WaitForGroup(group)) {
        kill(-group, SIGKILL);
        WaitForGroup(group);
    }
    pid_ = -1;
}

}  // namespace tonvale_cli
