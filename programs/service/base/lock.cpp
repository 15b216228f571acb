#include "service/base/lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "varn/run_as.h"

namespace tonvale_service {

namespace {

using namespace std::chrono_literals;

constexpr auto kLongestWait = 3s;
constexpr auto kPause = 5ms;

// Others may not open it: they could hold everybody up.
constexpr mode_t kMode = 0600;

bool Take(int fd, int kind) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (flock(fd, kind | LOCK_NB) != 0) {
        const bool isHeld = errno == EWOULDBLOCK || errno == EINTR;
        if (!isHeld || std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

// A new file belongs to the owner of its folder: a web server with the package's rights alone could
// not open one of root's.
varn::UniqueFd OpenLock(const std::string &path) {
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW;
    const varn::RunAs root(varn::Who::kRoot);
    const varn::UniqueFd made(open(path.c_str(), kFlags | O_CREAT | O_EXCL, kMode));
    struct stat info {};
    const std::string folder = std::filesystem::path(path).parent_path();
    if (made && geteuid() == 0 && stat(folder.c_str(), &info) == 0 &&
        fchown(made.Get(), info.st_uid, info.st_gid) != 0) {
        syslog(LOG_ERR, "Failed to give %s to its owner: %m", path.c_str());
    }
    return varn::UniqueFd(open(path.c_str(), kFlags));
}

}  // namespace

Lock::Lock(const std::string &path, Kind kind, Reason reason) : file_(OpenLock(path)) {
    if (!file_ || !Take(file_.Get(), kind == Kind::kRead ? LOCK_SH : LOCK_EX)) {
        syslog(LOG_ERR, "Failed to lock %s: %m", path.c_str());
        throw Failure(reason, path);
    }
}

}  // namespace tonvale_service
