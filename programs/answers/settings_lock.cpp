#include "settings_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "failure.h"
#include "varn/systempath.h"

namespace tonvale_answers {

namespace {

using namespace std::chrono_literals;

constexpr auto kLongestWait = 3s;
constexpr auto kPause = 5ms;

// Nobody else may open it, and hold everybody up.
constexpr mode_t kMode = 0600;

bool Take(int fd) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const bool isHeld = errno == EWOULDBLOCK || errno == EINTR;
        if (!isHeld || std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

}  // namespace

SettingsLock::SettingsLock() {
    const std::string path = SystemPath(varn::path::kUsersFile) + ".lock";
    fd_ = open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode);
    if (fd_ >= 0 && Take(fd_)) {
        return;
    }
    syslog(LOG_ERR, "Failed to lock %s: %m", path.c_str());
    if (fd_ >= 0) {
        close(fd_);
    }
    throw Failure(Reason::kSettingsLocked, path);
}

SettingsLock::~SettingsLock() {
    close(fd_);
}

}  // namespace tonvale_answers
