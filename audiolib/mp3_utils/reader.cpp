#include "mp3_utils/reader.h"

#include <cstdio>

namespace Tonvale::mp3 {

int RefillAt(MPEG_READER &reader, int64_t offset) noexcept {
    if (fseeko(reader.stream, offset, SEEK_SET) != 0) {
        return kUnreadable;
    }
    const std::size_t got = std::fread(reader.buffer, 1, sizeof reader.buffer, reader.stream);
    reader.rangeStart = offset;
    reader.rangeEnd = offset + static_cast<int64_t>(got);
    return got > 0 ? reader.buffer[0] : kUnreadable;
}

}  // namespace Tonvale::mp3

int GetByte(MPEG_READER *reader, int64_t offset) noexcept {
    return reader != nullptr && reader->stream != nullptr ? Tonvale::mp3::ByteAt(*reader, offset)
                                                          : Tonvale::mp3::kUnreadable;
}
