#include "encoder_slot.h"

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>

#include "parameters.h"
#include "refusal.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace tonvale_entry {

namespace {

constexpr char kKey[] = "max_encoders";
constexpr long long kMost = 1000;

// As configured, or two for each processor and at least four: an encoder is many times faster than
// its listener, and waits most of the time.
int Turns() {
    char text[16] = "";
    VARNAudioConfGet(kKey, text, sizeof text);
    const int usual = std::max(4, 2 * static_cast<int>(std::thread::hardware_concurrency()));
    return static_cast<int>(ParseNumber(text, 1, kMost).value_or(usual));
}

}  // namespace

EncoderSlot::EncoderSlot() {
    const std::string folder = SystemPath(varn::path::kEncoderSlots) + "/";
    for (int turn = 0, turns = Turns(); turn < turns; ++turn) {
        const std::string path = folder + std::to_string(turn);
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0) {
            syslog(LOG_ERR, "Failed to open %s: %m", path.c_str());
            throw Refusal{Code::kFailed};
        }
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            fd_ = fd;
            return;
        }
        close(fd);
    }
}

EncoderSlot::~EncoderSlot() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

}  // namespace tonvale_entry
