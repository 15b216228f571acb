#include "varn/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "linux/error.h"
#include "linux/files.h"
#include "linux/spawn.h"

namespace varn {

namespace {

// A stream of VLIBCPopenv and its process. There are never more than a few.
struct OpenStream {
    std::FILE *stream;
    pid_t pid;
};

std::vector<OpenStream> &OpenStreams() {
    static std::vector<OpenStream> streams;
    return streams;
}

// Kills a child that has not ended after a time, and what it has started, which is in its group.
void EndAfter(pid_t pid, std::chrono::seconds time) {
    using Clock = std::chrono::steady_clock;
    const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    if (!process) {
        return;
    }
    const Clock::time_point end = Clock::now() + time;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd waiting = {process.Get(), POLLIN, 0};
        if (left <= 0) {
            kill(-pid, SIGKILL);
            return;
        }
        constexpr long kMostAtOnce = 1'000'000;
        if (poll(&waiting, 1, static_cast<int>(std::min<long>(left, kMostAtOnce))) > 0) {
            return;
        }
    }
}

// Runs a program; with a time, not for longer.
int RunAndWait(const SpawnOptions &options, std::optional<std::chrono::seconds> time = {}) {
    const pid_t pid = Spawn(options);
    if (pid > 0 && time) {
        EndAfter(pid, *time);
    }
    const int status = pid < 0 || options.detached ? pid : ExitStatusOf(WaitFor(pid));
    if (status < 0) {
        SetSystemError();
    }
    return status;
}

bool IsGoodProgram(const char *path, char *const argv[]) {
    if (!NonEmptyStr(path) || argv == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
        return false;
    }
    return true;
}

SpawnOptions OptionsFor(const char *path, char *const argv[]) {
    SpawnOptions options;
    options.path = path;
    for (; *argv != nullptr; ++argv) {
        options.argv.emplace_back(*argv);
    }
    return options;
}

// Starts a program with one end of a pipe as its standard input or output. Null with errno set.
std::FILE *SpawnWithStream(SpawnOptions &options, bool reading) {
    UniqueFd readEnd;
    UniqueFd writeEnd;
    if (!MakePipe(readEnd, writeEnd)) {
        return nullptr;
    }
    UniqueFd &own = reading ? readEnd : writeEnd;
    (reading ? options.stdoutFd : options.stdinFd) = (reading ? writeEnd : readEnd).Get();
    File stream(fdopen(own.Get(), reading ? "r" : "w"));
    if (!stream) {
        return nullptr;
    }
    own.Release();
    // Room for the entry first: once the program runs nothing may fail any more.
    OpenStreams().reserve(OpenStreams().size() + 1);
    const pid_t pid = Spawn(options);
    if (pid < 0) {
        return nullptr;
    }
    OpenStreams().push_back({stream.get(), pid});
    return stream.release();
}

}  // namespace

}  // namespace varn

int VLIBCExec(const char *path, const char *arg1, ...) {
    if (!NonEmptyStr(path)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
        return -1;
    }
    va_list rest;
    va_start(rest, arg1);
    const int status = varn::Guarded(-1, [&] {
        varn::SpawnOptions options;
        options.path = path;
        options.argv.emplace_back(path);
        for (const char *arg = arg1; arg != nullptr; arg = va_arg(rest, const char *)) {
            options.argv.emplace_back(arg);
        }
        return varn::RunAndWait(options);
    });
    va_end(rest);
    return status;
}

int VLIBCExecv(const char *path, char *const argv[], int wait) {
    if (!varn::IsGoodProgram(path, argv)) {
        return -1;
    }
    return varn::Guarded(-1, [&] {
        varn::SpawnOptions options = varn::OptionsFor(path, argv);
        const bool isBounded = wait > 1;
        options.detached = wait == 0;
        options.endsWithParent = isBounded;
        options.ownGroup = isBounded;
        if (wait == 0 || isBounded) {
            // The reader of this process's output must not have to wait for the program.
            options.stdoutFd = varn::kDevNull;
            options.stderrFd = varn::kDevNull;
        }
        return isBounded ? varn::RunAndWait(options, std::chrono::seconds(wait))
                         : varn::RunAndWait(options);
    });
}

int VLIBCExecvAside(const char *path, char *const argv[]) {
    if (!varn::IsGoodProgram(path, argv)) {
        return -1;
    }
    return varn::Guarded(-1, [&] {
        varn::SpawnOptions options = varn::OptionsFor(path, argv);
        options.detached = true;
        options.stdinFd = varn::kInherit;
        return varn::RunAndWait(options);
    });
}

FILE *VLIBCPopenv(const char *path, const char *mode, char *const argv[]) {
    if (!varn::IsGoodProgram(path, argv)) {
        return nullptr;
    }
    const std::string_view direction(mode != nullptr ? mode : "");
    if (direction != "r" && direction != "w") {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
        return nullptr;
    }
    return varn::Guarded<FILE *>(nullptr, [&] {
        varn::SpawnOptions options = varn::OptionsFor(path, argv);
        options.endsWithParent = true;
        FILE *stream = varn::SpawnWithStream(options, direction == "r");
        if (stream == nullptr) {
            varn::SetSystemError();
        }
        return stream;
    });
}

int VLIBCPclose(FILE *stream) {
    auto &streams = varn::OpenStreams();
    const auto entry =
        std::find_if(streams.begin(), streams.end(),
                     [&](const varn::OpenStream &open) { return open.stream == stream; });
    if (entry == streams.end()) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
        return -1;
    }
    const pid_t pid = entry->pid;
    streams.erase(entry);
    // A program that sleeps would notice only with its next write that its reader has left.
    const bool isAbandoned =
        (fcntl(fileno(stream), F_GETFL) & O_ACCMODE) == O_RDONLY && std::feof(stream) == 0;
    std::fclose(stream);
    int status = 0;
    // Where the kernel reaps this process's children, the number may be another process's by now.
    const pid_t ended = isAbandoned ? waitpid(pid, &status, WNOHANG) : 0;
    if (ended != 0) {
        return ended > 0 ? status : -1;
    }
    if (isAbandoned) {
        kill(pid, SIGKILL);
    }
    return varn::WaitFor(pid);
}
