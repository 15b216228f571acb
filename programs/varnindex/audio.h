// What is told of the sound in a file.
#pragma once

#include <cstdint>

namespace varnindex {

struct Audio {
    std::int64_t milliseconds = 0;  // 0: unknown
    std::int64_t bitRate = 0;       // bits per second; 0: unknown
    int sampleRate = 0;
    int channels = 0;
};

// A part of a file.
struct ByteRange {
    long begin = 0;
    long end = 0;  // not in it
};

}  // namespace varnindex
