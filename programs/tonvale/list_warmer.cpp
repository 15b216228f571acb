#include "list_warmer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "service/lists/kept_list.h"
#include "service/lists/warm_lists.h"

namespace tonvale_cli {

namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 1s;
constexpr auto kPauseWithoutDatabase = 30s;
constexpr int kNice = 10;

}  // namespace

ListWarmer::~ListWarmer() {
    if (IsAtWork()) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
}

bool ListWarmer::IsAtWork() {
    pollfd end = {end_.Get(), 0, 0};
    if (end_ && poll(&end, 1, 0) == 0) {
        return true;
    }
    if (end_) {
        waitpid(child_, nullptr, WNOHANG);
        end_.Reset();
    }
    return false;
}

void ListWarmer::Start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    end_.Reset(ends[0]);
    const varn::UniqueFd held(ends[1]);
    child_ = fork();
    if (child_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpriority(PRIO_PROCESS, 0, kNice);
        tonvale_service::WarmLists();
        _exit(0);
    }
}

void ListWarmer::Look() {
    const auto now = std::chrono::steady_clock::now();
    if (now < next_ || IsAtWork()) {
        return;
    }
    const auto songs = tonvale_service::ReadVersion(0).songs;
    next_ = now + (songs ? kPause : kPauseWithoutDatabase);
    if (!songs || songs == done_) {
        return;
    }
    if (songs == seen_) {
        Start();
        done_ = songs;
    }
    seen_ = songs;
}

}  // namespace tonvale_cli
