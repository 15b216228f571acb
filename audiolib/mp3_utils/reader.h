// Reading a file byte by byte through the reader context's buffer.
#pragma once

#include <cstdint>

#include "tonvale/streaming.h"

namespace Tonvale::mp3 {

// What a byte reads as that cannot be read; callers take it for an ordinary one.
inline constexpr int kUnreadable = 17;

// Fills the buffer from `offset` on, and returns the byte there.
int RefillAt(MPEG_READER &reader, int64_t offset) noexcept;

inline int ByteAt(MPEG_READER &reader, int64_t offset) noexcept {
    if (offset >= reader.rangeStart && offset < reader.rangeEnd) {
        return reader.buffer[offset - reader.rangeStart];
    }
    return RefillAt(reader, offset);
}

}  // namespace Tonvale::mp3
