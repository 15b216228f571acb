#include "web_server.h"

#include <fcntl.h>
#include <netdb.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
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

#include "varn/descriptor.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

constexpr char kServer[] = "/usr/sbin/lighttpd";
constexpr char kGate[] = "/usr/sbin/nginx";
constexpr std::chrono::seconds kPatience{20};
constexpr std::chrono::milliseconds kPollInterval{20};
constexpr timespec kLookInterval{1, 0};

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
    bool IsServed() const {
        return With([this](int fd) {
                   return connect(fd, info_->ai_addr, info_->ai_addrlen) == 0;
               }) == 0;
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

bool IsServed(const std::string &socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path) {
        return false;
    }
    socketPath.copy(address.sun_path, socketPath.size());
    const varn::UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return fd &&
           connect(fd.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// Becomes a part of the server, in the group of processes (0: a new one), which ends with its parent.
[[noreturn]] void Become(std::vector<std::string> &arguments, pid_t parent, pid_t group) {
    setpgid(0, group);
    const sigset_t signals = WatchedSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    // Without root's rights a part gets as many files as are allowed, where it asks for more.
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
    if (prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && getppid() == parent) {
        const int null = open("/dev/null", O_RDONLY);
        dup2(null, STDIN_FILENO);
        std::vector<char *> argv;
        for (std::string &argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        execv(argv.front(), argv.data());
    }
    std::perror(arguments.front().c_str());
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
    const std::string logs = SystemPath(varn::path::kWebLogDir);
    const std::string socketPath = SystemPath(varn::path::kWebSocket);
    if (!StartPart(server_, {kServer, "-D", "-f", SystemPath(varn::path::kWebConf)},
                   [&] { return tonvale_cli::IsServed(socketPath); }) ||
        !StartPart(gate_,
                   {kGate, "-e", logs + "/gate.log", "-c", SystemPath(varn::path::kGateConf)},
                   [&] { return address.IsServed(); })) {
        return Outcome::Problem("the web server did not start; what it says stands above or in " +
                                logs + "/error.log and gate.log");
    }
    return Outcome::Good();
}

bool WebServer::StartPart(pid_t &part, std::vector<std::string> arguments,
                          const std::function<bool()> &isUp) {
    const pid_t parent = getpid();
    part = fork();
    if (part == 0) {
        Become(arguments, parent, std::max(group_, 0));
    }
    if (part < 0) {
        std::perror("cannot start a process");
        return false;
    }
    group_ = group_ > 0 ? group_ : part;
    setpgid(part, group_);  // whoever of the two comes first
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (Reap() && std::chrono::steady_clock::now() < deadline) {
        if (isUp()) {
            return true;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return false;
}

bool WebServer::Reap() {
    int status = 0;
    bool isWhole = true;
    for (pid_t ended; (ended = waitpid(-1, &status, WNOHANG)) > 0;) {
        for (pid_t *part : {&server_, &gate_}) {
            if (ended == *part) {
                *part = -1;
                isWhole = false;
            }
        }
    }
    return isWhole;
}

bool WebServer::WaitForEnd(const std::function<void()> &look) {
    const sigset_t signals = WatchedSignals();
    while (Reap() && server_ > 0 && gate_ > 0) {
        look();
        const int number = sigtimedwait(&signals, nullptr, &kLookInterval);
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

void WebServer::EndPart(const pid_t &part) {
    if (part > 0) {
        kill(part, SIGTERM);
    }
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (part > 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(kPollInterval);
        Reap();
    }
}

void WebServer::Stop() {
    if (group_ <= 0) {
        return;
    }
    const pid_t group = std::exchange(group_, -1);
    EndPart(gate_);
    EndPart(server_);
    // The handlers, whose encoders end with them; one that changes something goes to its end first.
    // And a part that does not listen.
    kill(-group, gate_ > 0 || server_ > 0 ? SIGKILL : SIGTERM);
    if (!WaitForGroup(group)) {
        kill(-group, SIGKILL);
        WaitForGroup(group);
    }
    gate_ = server_ = -1;
}

}  // namespace tonvale_cli
