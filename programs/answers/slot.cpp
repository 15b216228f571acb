#include "slot.h"

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "varn/systempath.h"

namespace tonvale_answers {

Slot::Slot(const std::string &kind, unsigned turns) {
    const std::string prefix = SystemPath(varn::path::kEncoderSlots) + "/" + kind;
    for (unsigned turn = 0; turn < turns && !file_; ++turn) {
        const std::string path = prefix + std::to_string(turn);
        varn::UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!file) {
            syslog(LOG_ERR, "Failed to open %s: %m", path.c_str());
            isUnknown_ = true;
            return;
        }
        if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
            file_ = std::move(file);
        }
    }
}

Slot ScalingSlot() {
    return Slot("picture-", std::max(1U, std::thread::hardware_concurrency()));
}

}  // namespace tonvale_answers
