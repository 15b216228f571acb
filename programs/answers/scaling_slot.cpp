#include "scaling_slot.h"

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>

#include "varn/systempath.h"

namespace tonvale_answers {

ScalingSlot::ScalingSlot() {
    const std::string prefix = SystemPath(varn::path::kEncoderSlots) + "/picture-";
    const unsigned turns = std::max(1U, std::thread::hardware_concurrency());
    for (unsigned turn = 0; turn < turns; ++turn) {
        const std::string path = prefix + std::to_string(turn);
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0) {
            syslog(LOG_ERR, "Failed to open %s: %m", path.c_str());
            return;
        }
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            fd_ = fd;
            return;
        }
        close(fd);
    }
}

ScalingSlot::~ScalingSlot() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

}  // namespace tonvale_answers
