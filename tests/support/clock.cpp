#include "support/clock.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace {

time_t fixedNow = 0;  // 0: the real time
bool advances = false;
std::vector<unsigned> waits;

}  // namespace

// Both replace the C library's, also for the libraries of this process.
extern "C" [[gnu::visibility("default")]] time_t time(time_t *out) noexcept {
    timespec real = {};
    if (fixedNow == 0) {
        clock_gettime(CLOCK_REALTIME, &real);
    }
    const time_t now = fixedNow != 0 ? fixedNow : real.tv_sec;
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

extern "C" [[gnu::visibility("default")]] unsigned sleep(unsigned seconds) {
    if (fixedNow == 0) {
        timespec left = {static_cast<time_t>(seconds), 0};
        nanosleep(&left, &left);
        return static_cast<unsigned>(left.tv_sec);
    }
    waits.push_back(seconds);
    fixedNow += advances ? seconds : 0;
    return 0;
}

namespace tonvale_test {

FixedClock::FixedClock(time_t now, bool advance) {
    fixedNow = now;
    advances = advance;
    waits.clear();
}

FixedClock::~FixedClock() {
    fixedNow = 0;
}

void FixedClock::Set(time_t now) {
    fixedNow = now;
}

const std::vector<unsigned> &FixedClock::Waits() const {
    return waits;
}

TimeZone::TimeZone(const char *name) {
    setenv("TZ", name, 1);
    tzset();
}

TimeZone::~TimeZone() {
    unsetenv("TZ");
    tzset();
}

time_t LocalTime(const std::string &day, const char *hour) {
    std::tm parts = {};
    EXPECT_NE(strptime((day + " " + hour).c_str(), "%F %T", &parts), nullptr) << day;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

}  // namespace tonvale_test
