#include "linux/spawn.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

namespace varn {

namespace {

constexpr int kStandardFds = 3;
constexpr int kExecFailed = 127;  // never seen by a caller: the reason goes through a pipe

// Lifts a descriptor above the standard three, so that putting those in place in the child cannot
// overwrite it.
UniqueFd Lifted(int fd) {
    return UniqueFd(fcntl(fd, F_DUPFD_CLOEXEC, kStandardFds));
}

UniqueFd StandardFd(int wanted, int number) {
    if (wanted != kDevNull) {
        UniqueFd fd = Lifted(wanted == kInherit ? number : wanted);
        if (fd || wanted != kInherit || errno != EBADF) {
            return fd;
        }
    }
    const UniqueFd null(open("/dev/null", O_RDWR | O_CLOEXEC));
    return null ? Lifted(null.Get()) : UniqueFd();
}

// This process's environment with entries added and replaced.
std::vector<std::string> MergedEnvironment(const std::vector<std::string> &added) {
    const auto nameOf = [](std::string_view entry) { return entry.substr(0, entry.find('=')); };
    std::vector<std::string> merged;
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const auto sameName = [&](const std::string &other) {
            return nameOf(other) == nameOf(*entry);
        };
        if (std::none_of(added.begin(), added.end(), sameName)) {
            merged.emplace_back(*entry);
        }
    }
    merged.insert(merged.end(), added.begin(), added.end());
    return merged;
}

std::vector<char *> NullEnded(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// What the child does, worked out beforehand: between fork and exec it may neither allocate nor
// touch anything else that a signal handler must not touch.
class Child {
  public:
    explicit Child(const SpawnOptions &options)
        : options_(options),
          arguments_(options.argv.empty() ? std::vector<std::string>{options.path} : options.argv),
          environment_(MergedEnvironment(options.environment)),
          argv_(NullEnded(arguments_)),
          envp_(NullEnded(environment_)),
          maySwitch_(MaySwitchUser()),
          hasIdentity_(maySwitch_ && options.identity.has_value()),
          uid_(hasIdentity_ ? options.identity->uid : geteuid()),
          gid_(hasIdentity_ ? options.identity->gid : getegid()) {}

    // False with errno set.
    bool OpenFds() {
        const std::array wanted = {options_.stdinFd, options_.stdoutFd, options_.stderrFd};
        for (int number = 0; number < kStandardFds; ++number) {
            fds_[number] = StandardFd(wanted[number], number);
            if (!fds_[number]) {
                return false;
            }
        }
        return true;
    }

    // Runs in the child. Whatever goes wrong is told through `report`, as an errno value.
    [[noreturn]] void Run(int report) const {
        if (!options_.detached || Detach()) {
            ResetSignals();
            if (JoinGroup() && PlaceFds() && TakeIds() && EndWithParent() && EnterFolder() &&
                OpenToSignals()) {
                execve(options_.path.c_str(), argv_.data(), envp_.data());
            }
        }
        const int reason = errno;
        // Should even this write fail, the closed pipe tells the parent.
        [[maybe_unused]] const ssize_t told = write(report, &reason, sizeof reason);
        _exit(kExecFailed);
    }

  private:
    // A session of its own, in a grandchild that init adopts and reaps.
    static bool Detach() {
        if (setsid() < 0) {
            return false;
        }
        const pid_t pid = fork();
        if (pid > 0) {
            _exit(0);
        }
        return pid == 0;
    }

    bool JoinGroup() const { return !options_.ownGroup || setpgid(0, 0) == 0; }

    static void ResetSignals() {
        struct sigaction standard = {};
        standard.sa_handler = SIG_DFL;
        for (int number = 1; number < NSIG; ++number) {
            // Refused for SIGKILL and its like, which nobody can have changed.
            sigaction(number, &standard, nullptr);
        }
    }

    bool PlaceFds() const {
        for (int number = 0; number < kStandardFds; ++number) {
            if (dup2(fds_[number].Get(), number) < 0) {
                return false;
            }
        }
        // Closed by exec itself, so that the way to report a failure stays open until then.
        return close_range(kStandardFds, ~0U, CLOSE_RANGE_CLOEXEC) == 0;
    }

    // For good: real, effective and saved ids.
    bool TakeIds() const {
        constexpr auto kSame = static_cast<uid_t>(-1);
        if (maySwitch_ && setresuid(kSame, 0, kSame) != 0) {
            return false;
        }
        if (hasIdentity_ &&
            setgroups(options_.identity->groups.size(), options_.identity->groups.data()) != 0) {
            return false;
        }
        return setresgid(gid_, gid_, gid_) == 0 && setresuid(uid_, uid_, uid_) == 0;
    }

    // After the ids, whose change takes the wish back. The parent may be gone by then already.
    bool EndWithParent() const {
        return !options_.endsWithParent ||
               (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent_);
    }

    bool EnterFolder() const {
        return options_.workingDirectory.empty() || chdir(options_.workingDirectory.c_str()) == 0;
    }

    static bool OpenToSignals() {
        sigset_t none;
        sigemptyset(&none);
        return sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
    }

    const SpawnOptions &options_;
    std::vector<std::string> arguments_;
    std::vector<std::string> environment_;
    std::vector<char *> argv_;
    std::vector<char *> envp_;
    std::array<UniqueFd, kStandardFds> fds_;
    bool maySwitch_;
    bool hasIdentity_;
    uid_t uid_;
    gid_t gid_;
    pid_t parent_ = getpid();
};

// Holds every signal back, so that none of this process's handlers runs in a child.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(const SignalsBlocked &) = delete;
    SignalsBlocked &operator=(const SignalsBlocked &) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_;
};

// A process whose parent ignored SIGCHLD inherits that, and the kernel then throws the exit
// statuses of its own children away.
void KeepExitStatuses() {
    struct sigaction action;
    if (sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
        std::signal(SIGCHLD, SIG_DFL);
    }
}

// Reads the errno value that a child reports, 0 when exec closed the pipe.
int ReadReport(int fd) {
    int reason = 0;
    ssize_t got;
    do {
        got = read(fd, &reason, sizeof reason);
    } while (got < 0 && errno == EINTR);
    return got == static_cast<ssize_t>(sizeof reason) ? reason : 0;
}

pid_t SpawnChild(const Child &child, bool detached) {
    UniqueFd reportIn;
    UniqueFd reportOut;
    if (!MakePipe(reportIn, reportOut)) {
        return -1;
    }
    if (reportOut.Get() < kStandardFds) {
        reportOut = Lifted(reportOut.Get());
        if (!reportOut) {
            return -1;
        }
    }
    KeepExitStatuses();
    pid_t pid;
    {
        const SignalsBlocked blocked;
        pid = fork();
        if (pid == 0) {
            child.Run(reportOut.Get());
        }
    }
    if (pid < 0) {
        return -1;
    }
    reportOut.Reset();
    const int reason = ReadReport(reportIn.Get());
    if (reason != 0 || detached) {
        WaitFor(pid);
    }
    if (reason != 0) {
        errno = reason;
        return -1;
    }
    return detached ? 0 : pid;
}

// Collects what a child writes, up to a limit and past it, until it closes its output or ends.
// Returns its wait status.
int Collect(pid_t pid, int fd, std::string &output) {
    constexpr std::size_t kMostBytes = 1u << 20;
    constexpr int kLookAgainMilliseconds = 100;
    int status = 0;
    bool ended = false;
    while (!ended || output.size() < kMostBytes) {
        pollfd waiting = {fd, POLLIN, 0};
        if (poll(&waiting, 1, ended ? 0 : kLookAgainMilliseconds) > 0) {
            char block[16384];
            const ssize_t got = read(fd, block, sizeof block);
            if (got == 0 || (got < 0 && errno != EINTR)) {
                break;
            }
            const std::size_t room = kMostBytes - output.size();
            output.append(block,
                          std::min(room, static_cast<std::size_t>(std::max<ssize_t>(got, 0))));
        } else if (ended) {
            break;  // a program that this one left behind holds the output open
        } else {
            ended = waitpid(pid, &status, WNOHANG) == pid;
        }
    }
    return ended ? status : WaitFor(pid);
}

}  // namespace

bool MakePipe(UniqueFd &readEnd, UniqueFd &writeEnd) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    readEnd.Reset(ends[0]);
    writeEnd.Reset(ends[1]);
    return true;
}

pid_t Spawn(const SpawnOptions &options) {
    Child child(options);
    return child.OpenFds() ? SpawnChild(child, options.detached) : -1;
}

int WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}

int ExitStatusOf(int waitStatus) {
    if (waitStatus < 0) {
        return -1;
    }
    return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

Captured RunCaptured(SpawnOptions options) {
    Captured captured;
    UniqueFd readEnd;
    UniqueFd writeEnd;
    if (!MakePipe(readEnd, writeEnd)) {
        return captured;
    }
    options.stdoutFd = writeEnd.Get();
    options.stderrFd = writeEnd.Get();
    const pid_t pid = Spawn(options);
    if (pid < 0) {
        return captured;
    }
    writeEnd.Reset();
    captured.status = ExitStatusOf(Collect(pid, readEnd.Get(), captured.output));
    return captured;
}

}  // namespace varn
