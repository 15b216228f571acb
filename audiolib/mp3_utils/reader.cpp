#include "mp3_utils/reader.h"

#include <unistd.h>

#include <cstdio>

namespace Tonvale::mp3 {

namespace {

// Fills the buffer as far as the file goes. -1 without a stream, and for an offset that there
// cannot be.
ssize_t FillFrom(MPEG_READER &reader, int64_t offset) {
    if (reader.stream == nullptr) {
        return -1;
    }
    const int fd = fileno(reader.stream);
    if (fd >= 0) {
        // One call for two, and nothing of the stream's own between them.
        return pread(fd, reader.buffer, sizeof reader.buffer, offset);
    }
    // A stream over memory.
    if (fseeko(reader.stream, offset, SEEK_SET) != 0) {
        return -1;
    }
    return static_cast<ssize_t>(std::fread(reader.buffer, 1, sizeof reader.buffer, reader.stream));
}

}  // namespace

int RefillAt(MPEG_READER &reader, int64_t offset) noexcept {
    const ssize_t got = FillFrom(reader, offset);
    if (got < 0) {
        return kUnreadable;
    }
    reader.rangeStart = offset;
    reader.rangeEnd = offset + got;
    return got > 0 ? reader.buffer[0] : kUnreadable;
}

}  // namespace Tonvale::mp3

int GetByte(MPEG_READER *reader, int64_t offset) noexcept {
    return reader != nullptr ? Tonvale::mp3::ByteAt(*reader, offset) : Tonvale::mp3::kUnreadable;
}
