#include "worker.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <thread>
#include <utility>

#include "process_state.h"
#include "rights.h"
#include "scgi.h"
#include "turn.h"
#include "varn/base.h"
#include "varn/db.h"
#include "varn/process.h"
#include "varn/run_as.h"

namespace tonvale_entry {

namespace {

using namespace std::chrono_literals;

// The web server holds a whole request before it sends it.
constexpr auto kPatience = 5s;
// It takes an answer as fast as it comes.
constexpr timeval kWriteTimeout = {30, 0};

// Between two tries to take a request.
constexpr auto kPause = 1s;

// What requests leak goes with their worker.
constexpr int kMostRequests = 5000;
constexpr std::size_t kMostMemory = std::size_t{256} << 20;

// A request that takes longer ends its worker: it hangs.
constexpr itimerspec kLongestRequest = {{0, 0}, {180, 0}};

bool isWorker = false;
volatile std::sig_atomic_t isToEnd = 0;

// The signals that ask a worker to end. They are held back while it answers.
constexpr int kEndSignals[] = {SIGTERM, SIGINT, SIGHUP};

// This program, and the environment that its requests have in common.
struct Own {
    std::string program;
    std::vector<std::string> variables;
};

std::vector<std::string> Variables() {
    std::vector<std::string> variables;
    for (char **variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    return variables;
}

// An environment in memory of its own: what setenv(3) has once copied is never freed.
class Environment {
  public:
    Environment(const std::vector<std::string> &common, std::vector<std::string> own)
        : texts_(std::move(own)) {
        // The first of one name counts.
        texts_.insert(texts_.end(), common.begin(), common.end());
        for (std::string &text : texts_) {
            entries_.push_back(text.data());
        }
        entries_.push_back(nullptr);
        environ = entries_.data();
    }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;
    ~Environment() { clearenv(); }

  private:
    std::vector<std::string> texts_;
    std::vector<char *> entries_;
};

// Leaves nothing of a request at standard input and output.
void CloseStandardStreams() {
    const varn::UniqueFd null(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!null || dup2(null.Get(), STDIN_FILENO) < 0 || dup2(null.Get(), STDOUT_FILENO) < 0) {
        syslog(LOG_ERR, "Failed to close a request: %m");
        std::_Exit(EXIT_FAILURE);
    }
}

// Standard input and output of a request.
class Streams {
  public:
    Streams(int body, varn::UniqueFd connection) {
        if (dup2(body, STDIN_FILENO) < 0 || dup2(connection.Get(), STDOUT_FILENO) < 0) {
            return;
        }
        // A new stream has no buffer yet, which tells whether an answer has begun.
        if (std::FILE *const stream = fdopen(connection.Get(), "w")) {
            connection.Release();
            stdout = stream;
            isOpen_ = true;
        }
    }
    Streams(const Streams &) = delete;
    Streams &operator=(const Streams &) = delete;
    ~Streams() {
        if (isOpen_) {
            std::fclose(stdout);
        }
        stdout = before_;
        CloseStandardStreams();
    }

    explicit operator bool() const { return isOpen_; }

  private:
    std::FILE *before_ = stdout;
    bool isOpen_ = false;
};

// Has the request at standard input and output answered by this program in a process of its own.
bool HandOn(const Own &own) {
    constexpr timeval kNone = {0, 0};
    if (setsockopt(STDOUT_FILENO, SOL_SOCKET, SO_SNDTIMEO, &kNone, sizeof kNone) != 0) {
        return false;
    }
    lseek(STDIN_FILENO, 0, SEEK_SET);
    std::string name = "entry.cgi";
    char *const arguments[] = {name.data(), nullptr};
    const varn::RunAs root(varn::Who::kRoot);
    return VLIBCExecvAside(own.program.c_str(), arguments) == 0;
}

void TakeRequest(varn::UniqueFd connection, const Own &own, void (*answer)()) {
    auto request = ReadScgi(connection.Get(), kPatience);
    if (!request) {
        syslog(LOG_WARNING, "A request of the web server's is not whole");
        return;
    }
    std::vector<std::string> variables = std::move(request->variables);
    bool isLeft = false;
    const Streams streams(request->body.Get(), std::move(connection));
    request->body.Reset();
    if (!streams) {
        syslog(LOG_ERR, "Failed to take a request: %m");
        return;
    }
    {
        const Environment environment(own.variables, variables);
        try {
            answer();
        } catch (const LeftToOther &) {
            isLeft = true;
        }
        GiveTurnBack();
    }
    if (isLeft) {
        const Environment environment(own.variables, std::move(variables));
        if (!HandOn(own)) {
            syslog(LOG_ERR, "Failed to start a process for a request: %m");
        }
    }
}

// The next connection; empty when there is none, or a signal has come. One for which there is no
// descriptor stays in line: it is taken later.
varn::UniqueFd NextConnection(int listening, int waiting, const sigset_t &signals) {
    epoll_event event{};
    if (epoll_pwait(waiting, &event, 1, -1, &signals) <= 0) {
        return {};
    }
    varn::UniqueFd connection(accept4(listening, nullptr, nullptr, SOCK_CLOEXEC));
    if (!connection && (errno == EMFILE || errno == ENFILE || errno == ENOMEM)) {
        syslog(LOG_ERR, "Failed to take a request: %m");
        std::this_thread::sleep_for(kPause);
    }
    if (connection && setsockopt(connection.Get(), SOL_SOCKET, SO_SNDTIMEO, &kWriteTimeout,
                                 sizeof kWriteTimeout) != 0) {
        return {};
    }
    return connection;
}

// Wakes one worker for a connection, and not all of them.
varn::UniqueFd Waiting(int listening) {
    varn::UniqueFd waiting(epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{};
    event.events = EPOLLIN | EPOLLEXCLUSIVE;
    const int flags = fcntl(listening, F_GETFL);
    return waiting && flags >= 0 && fcntl(listening, F_SETFL, flags | O_NONBLOCK) == 0 &&
                   epoll_ctl(waiting.Get(), EPOLL_CTL_ADD, listening, &event) == 0
               ? std::move(waiting)
               : varn::UniqueFd();
}

// Kills this process unless it is stopped in time.
class Watch {
  public:
    Watch() {
        sigevent event{};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGKILL;
        isThere_ = timer_create(CLOCK_MONOTONIC, &event, &timer_) == 0;
    }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;
    ~Watch() {
        if (isThere_) {
            timer_delete(timer_);
        }
    }

    explicit operator bool() const { return isThere_; }
    void Start() { timer_settime(timer_, 0, &kLongestRequest, nullptr); }
    void Stop() {
        const itimerspec none{};
        timer_settime(timer_, 0, &none, nullptr);
    }

  private:
    timer_t timer_{};
    bool isThere_ = false;
};

// True when this process can take another request: nothing of the last one is left. `atStart` is
// the memory that the process had before the first one.
bool IsAsBefore(const ProcessState &before, std::size_t atStart) {
    EndIfRoot();
    before.RestoreIds();
    VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
    VARNDBTroubleClear();
    if (const char *const changed = before.Changed()) {
        syslog(LOG_ERR, "A request has changed %s: this worker ends", changed);
        return false;
    }
    const std::size_t memory = MemoryInUse();
    if (memory > atStart && memory - atStart > kMostMemory) {
        syslog(LOG_WARNING, "This worker ends: it has taken too much memory");
        return false;
    }
    return true;
}

// Lets a signal through that was held back, and tells whether one has come.
bool IsAskedToEnd(const sigset_t &signals) {
    sigset_t held;
    sigprocmask(SIG_SETMASK, &signals, &held);
    sigprocmask(SIG_SETMASK, &held, nullptr);
    return isToEnd != 0;
}

// Holds the signals to end back; returns the mask of before.
sigset_t HoldSignals() {
    struct sigaction action {};
    action.sa_handler = [](int) { isToEnd = 1; };
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : kEndSignals) {
        sigaction(signal, &action, nullptr);
        sigaddset(&held, signal);
    }
    sigset_t before;
    sigprocmask(SIG_BLOCK, &held, &before);
    return before;
}

// A change of ids undoes this (prctl(2)), so that it is done before each wait.
bool EndWithParent(pid_t parent) {
    return prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && getppid() == parent;
}

}  // namespace

bool IsListening(int fd) {
    int is = 0;
    socklen_t size = sizeof is;
    return getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &is, &size) == 0 && is != 0;
}

int RunWorker(void (*answer)()) {
    isWorker = true;
    const pid_t parent = getppid();
    const sigset_t signals = HoldSignals();
    const varn::UniqueFd listening(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
    const varn::UniqueFd waiting = listening ? Waiting(listening.Get()) : varn::UniqueFd();
    Watch watch;
    if (!waiting || !watch) {
        syslog(LOG_ERR, "Failed to wait for requests: %m");
        return EXIT_FAILURE;
    }
    const Own own{std::filesystem::read_symlink("/proc/self/exe"), Variables()};
    CloseStandardStreams();
    const ProcessState before;
    const std::size_t memory = MemoryInUse();
    bool mayGoOn = true;
    for (int requests = 0;
         mayGoOn && requests < kMostRequests && !IsAskedToEnd(signals) && EndWithParent(parent);) {
        if (auto connection = NextConnection(listening.Get(), waiting.Get(), signals)) {
            ++requests;
            watch.Start();
            TakeRequest(std::move(connection), own, answer);
            watch.Stop();
            mayGoOn = IsAsBefore(before, memory);
        }
    }
    return EXIT_SUCCESS;
}

void EndWithClient() {
    struct sigaction action {};
    action.sa_flags = SA_RESTART;
    action.sa_handler = [](int) {
        const int saved = errno;
        pollfd client = {STDOUT_FILENO, 0, 0};
        if (poll(&client, 1, 0) > 0 && (client.revents & POLLHUP) != 0) {
            kill(getpid(), SIGTERM);
        }
        errno = saved;
    };
    sigaction(SIGIO, &action, nullptr);
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    if (flags >= 0 && fcntl(STDOUT_FILENO, F_SETOWN, getpid()) == 0 &&
        fcntl(STDOUT_FILENO, F_SETFL, flags | O_ASYNC) == 0) {
        raise(SIGIO);  // it may have left already
    }
}

bool IsWorker() {
    return isWorker;
}

bool IsOfServer() {
    return std::getenv("SCGI") != nullptr;
}

void LeaveWorker() {
    if (isWorker) {
        throw LeftToOther{};
    }
}

}  // namespace tonvale_entry
