// The time of day and the waits of this process, for tests that link tests/support/clock.cpp.
#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace tonvale_test {

// Sets what time(2) returns in this process, for the length of a scope. sleep(3) returns at once
// and is recorded; with `advance` it also moves the clock.
class FixedClock {
  public:
    explicit FixedClock(time_t now, bool advance = true);
    ~FixedClock();
    FixedClock(const FixedClock &) = delete;
    FixedClock &operator=(const FixedClock &) = delete;

    void Set(time_t now);
    // The seconds of each wait.
    const std::vector<unsigned> &Waits() const;
};

// The local time zone for the length of a scope.
class TimeZone {
  public:
    explicit TimeZone(const char *name);
    ~TimeZone();
    TimeZone(const TimeZone &) = delete;
    TimeZone &operator=(const TimeZone &) = delete;
};

time_t LocalTime(const std::string &day, const char *hour = "12:00:00");

}  // namespace tonvale_test
