#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "misc/kept_exit_status.h"
#include "tonvale/media.h"

namespace {

constexpr int kNotRun = -1;  // read as 255 from the exit status

// For a kernel without close_range(2).
void CloseEach() {
    rlimit most{};
    if (getrlimit(RLIMIT_NOFILE, &most) != 0) {
        return;
    }
    for (rlim_t fd = 0; fd < most.rlim_cur; ++fd) {
        close(static_cast<int>(fd));
    }
}

// Does only what a signal handler may do: it runs between fork and exec.
[[noreturn]] void RunChild(const char *path, char *const argv[]) {
    // The program must not hold a client's connection open.
    if (close_range(0, ~0U, 0) != 0) {
        CloseEach();
    }
    // This process may ignore or block the signals that have to end the program.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGPIPE, SIG_DFL);
    if (open("/dev/null", O_RDWR) == 0 && dup(0) == 1 && dup(0) == 2) {
        execv(path, argv);
    }
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
    const Tonvale::misc::KeptExitStatus kept(false);
    const pid_t child = fork();
    if (child == 0) {
        RunChild(path, argv);
    }
    if (child < 0) {
        return -1;
    }
    return wait != 0 ? ExitStatus(child) : 0;
}
