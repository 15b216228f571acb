// What is told of the sound in a file.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace varnindex {

struct Audio {
    std::int64_t milliseconds = 0;  // 0: unknown
    std::int64_t bitRate = 0;       // bits per second; 0: unknown
    int sampleRate = 0;
    int channels = 0;
};

// How long so many samples last, or units of another kind; 0 where it is not told how many make a
// second. A count may be anything that a damaged file says: what is absurd is cut.
inline std::uint64_t Milliseconds(std::uint64_t count, std::uint64_t perSecond) {
    constexpr std::uint64_t kMostSeconds = std::numeric_limits<int>::max() / 1000 - 1;
    if (perSecond == 0) {
        return 0;
    }
    return std::min(count / perSecond, kMostSeconds) * 1000 + count % perSecond * 1000 / perSecond;
}

// A part of a file.
struct ByteRange {
    long begin = 0;
    long end = 0;  // not in it
};

}  // namespace varnindex
