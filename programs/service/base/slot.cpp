#include "service/base/slot.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/time.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>

#include "varn/systempath.h"

namespace tonvale_service {

namespace {

using std::chrono::steady_clock;

// A wait looks for a turn so often: every kPause, or kLooks times where it is short.
constexpr std::chrono::microseconds kPause{5'000};
constexpr int kLooks = 20;

// Lets the alarm end a wait, once at the given time and then again and again: the first one may
// come a moment before the wait.
class Alarm {
  public:
    explicit Alarm(std::chrono::microseconds after) {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &before_);
        constexpr suseconds_t kAgain = 50'000;
        constexpr std::chrono::seconds::rep kMillion = 1'000'000;
        const itimerval timer = {
            {0, kAgain}, {static_cast<time_t>(after.count() / kMillion), after.count() % kMillion}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
    ~Alarm() {
        const itimerval none{};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }
    Alarm(const Alarm &) = delete;
    Alarm &operator=(const Alarm &) = delete;

  private:
    struct sigaction before_ {};
};

// The kernel hands the lock on to those that wait for it, the first ones first.
bool LockUntil(int fd, steady_clock::time_point end) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
        return true;
    }
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(end - steady_clock::now());
    if (left.count() <= 0) {
        return false;
    }
    const Alarm alarm(left);
    int result = -1;
    do {
        result = flock(fd, LOCK_EX);
    } while (result != 0 && errno == EINTR && steady_clock::now() < end);
    return result == 0;
}

}  // namespace

varn::UniqueFd Slot::Open(const std::string &path) {
    varn::UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) {
        syslog(LOG_ERR, "Failed to open %s: %m", path.c_str());
        isUnknown_ = true;
    }
    return file;
}

void Slot::Take(const std::string &prefix, unsigned turns) {
    for (unsigned turn = 0; turn < turns && !file_ && !isUnknown_; ++turn) {
        varn::UniqueFd file = Open(prefix + std::to_string(turn));
        if (file && flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
            file_ = std::move(file);
        }
    }
}

Slot::Slot(const std::string &kind, unsigned turns, std::chrono::milliseconds patience) {
    const std::string prefix = SystemPath(varn::path::kEncoderSlots) + "/" + kind;
    const auto end = steady_clock::now() + patience;
    if (patience.count() <= 0) {
        Take(prefix, turns);
        return;
    }
    // The first of the line takes the next turn that is given back.
    const varn::UniqueFd line = Open(prefix + "line");
    if (!line || !LockUntil(line.Get(), end)) {
        return;
    }
    const auto pause = std::min(kPause, std::chrono::microseconds(patience) / kLooks);
    for (Take(prefix, turns); !file_ && !isUnknown_ && steady_clock::now() < end;
         Take(prefix, turns)) {
        std::this_thread::sleep_for(pause);
    }
}

Slot ScalingSlot() {
    constexpr std::chrono::seconds kPatience{1};
    return Slot("picture-", std::max(1U, std::thread::hardware_concurrency()), kPatience);
}

}  // namespace tonvale_service
