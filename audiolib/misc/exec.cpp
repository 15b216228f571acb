#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "tonvale/media.h"

namespace {

constexpr int kStandardFds = 3;
constexpr int kNotRun = -1;  // 255 for whoever waits

// With SA_NOCLDWAIT the kernel would throw the exit status away before it is asked for, and so it
// would for a process that ignores SIGCHLD.
class KeptExitStatus {
  public:
    explicit KeptExitStatus(bool isAskedFor) {
        if (sigaction(SIGCHLD, nullptr, &before_) != 0) {
            return;
        }
        const bool hasFlag = (before_.sa_flags & SA_NOCLDWAIT) != 0;
        const bool isIgnored =
            (before_.sa_flags & SA_SIGINFO) == 0 && before_.sa_handler == SIG_IGN && isAskedFor;
        changed_ = hasFlag || isIgnored;
        if (changed_) {
            struct sigaction kept = before_;
            kept.sa_flags &= ~SA_NOCLDWAIT;
            if (isIgnored) {
                kept.sa_handler = SIG_DFL;
            }
            sigaction(SIGCHLD, &kept, nullptr);
        }
    }
    ~KeptExitStatus() {
        if (changed_) {
            sigaction(SIGCHLD, &before_, nullptr);
        }
    }
    KeptExitStatus(const KeptExitStatus &) = delete;
    KeptExitStatus &operator=(const KeptExitStatus &) = delete;

  private:
    struct sigaction before_ {};
    bool changed_ = false;
};

// For a kernel without close_range(2).
void CloseEach() {
    rlimit most{};
    if (getrlimit(RLIMIT_NOFILE, &most) != 0) {
        return;
    }
    for (rlim_t fd = kStandardFds; fd < most.rlim_cur; ++fd) {
        close(static_cast<int>(fd));
    }
}

// Between fork and exec nothing but what a signal handler may do, too.
[[noreturn]] void RunChild(const char *path, char *const argv[]) {
    const int null = open("/dev/null", O_RDWR);
    if (null >= 0) {
        for (int fd = 0; fd < kStandardFds; ++fd) {
            dup2(null, fd);
        }
        if (null >= kStandardFds) {
            close(null);
        }
    }
    // What this process has open, such as a client's connection, is not the program's business.
    if (close_range(kStandardFds, ~0U, CLOSE_RANGE_CLOEXEC) != 0) {
        CloseEach();
    }
    execv(path, argv);
    _exit(kNotRun);
}

int ExitStatus(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

int VARNExec(const char *path, char *const argv[], int wait) noexcept {
    if (path == nullptr || argv == nullptr) {
        return -1;
    }
    const KeptExitStatus kept(wait != 0);
    const pid_t child = fork();
    if (child == 0) {
        RunChild(path, argv);
    }
    if (child < 0) {
        return -1;
    }
    return wait != 0 ? ExitStatus(child) : 0;
}
