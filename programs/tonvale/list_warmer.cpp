#include "list_warmer.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "service/lists/kept_list.h"
#include "service/lists/warm_lists.h"

namespace tonvale_cli {

namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 1s;
constexpr auto kPauseWithoutDatabase = 30s;
constexpr int kNice = 10;

using Songs = std::optional<std::int64_t>;

// The version of the library once it is another than `done` and has stopped changing; none when the
// parent has ended.
Songs AwaitChange(const Songs &done, pid_t parent) {
    Songs seen = done;
    while (getppid() == parent) {
        const Songs songs = tonvale_service::ReadVersion(0).songs;
        if (songs && songs != done && songs == seen) {
            return songs;
        }
        seen = songs;
        std::this_thread::sleep_for(songs ? kPause : kPauseWithoutDatabase);
    }
    return std::nullopt;
}

}  // namespace

ListWarmer::~ListWarmer() {
    if (IsAtWork()) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
}

// The child tells the version before it computes the lists: one that crashes does not try again.
bool ListWarmer::IsAtWork() {
    std::int64_t songs = 0;
    if (end_) {
        const ssize_t got = read(end_.Get(), &songs, sizeof songs);
        if (got == sizeof songs) {
            done_ = songs;
        }
        if (got != 0) {
            return true;
        }
        waitpid(child_, nullptr, WNOHANG);
        end_.Reset();
    }
    return false;
}

void ListWarmer::Start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    end_.Reset(ends[0]);
    const varn::UniqueFd held(ends[1]);
    const pid_t parent = getpid();
    child_ = fork();
    if (child_ < 0) {
        end_.Reset();
    } else if (child_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpriority(PRIO_PROCESS, 0, kNice);
        const Songs songs = AwaitChange(done_, parent);
        if (songs && write(held.Get(), &*songs, sizeof *songs) == sizeof *songs) {
            tonvale_service::WarmLists();
        }
        _exit(0);
    }
}

void ListWarmer::Look() {
    if (!IsAtWork()) {
        Start();
    }
}

}  // namespace tonvale_cli
