// What is told of the sound in a file.
#pragma once

#include <taglib/audioproperties.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

namespace varnindex {

struct Audio {
    std::int64_t milliseconds = 0;  // 0: unknown
    std::int64_t bitRate = 0;       // bits per second; 0: unknown
    int sampleRate = 0;
    int channels = 0;
};

// What TagLib tells; zeros without properties.
inline Audio AudioOf(const TagLib::AudioProperties *properties) {
    if (properties == nullptr) {
        return {};
    }
    return {std::max(properties->lengthInMilliseconds(), 0),
            std::int64_t{1000} * std::max(properties->bitrate(), 0),
            std::max(properties->sampleRate(), 0), std::max(properties->channels(), 0)};
}

// How long so many samples last, or units of another kind; 0 where it is not told how many make a
// second. A count may be anything that a damaged file says: what is absurd is cut.
inline std::int64_t Milliseconds(std::uint64_t count, std::int64_t perSecond) {
    constexpr std::uint64_t kMostSeconds = std::numeric_limits<int>::max() / 1000 - 1;
    if (perSecond <= 0) {
        return 0;
    }
    const auto unit = static_cast<std::uint64_t>(perSecond);
    return static_cast<std::int64_t>(std::min(count / unit, kMostSeconds) * 1000 +
                                     count % unit * 1000 / unit);
}

// A part of a file.
struct ByteRange {
    long begin = 0;
    long end = 0;  // not in it

    long Length() const { return end - begin; }

    // Where its thirds begin: the places to look at for what stands all over the sound.
    std::array<long, 3> Thirds() const {
        return {begin, begin + Length() / 3, begin + 2 * (Length() / 3)};
    }
};

}  // namespace varnindex
