// Any bytes as an MPEG audio file: a walk ends, goes forward, and frames lie where they say.
#include <cstdint>
#include <cstdio>
#include <memory>

#include "require.h"
#include "tonvale/streaming.h"
#include "varn/handles.h"

namespace {

bool IsFrame(const MPEG_FRAME_HEADER &header) {
    return header.version >= 1 && header.version <= 2 && header.layer >= 1 && header.layer <= 3 &&
           header.sampleRate > 0 && header.frameLength > 0 &&
           header.bitsPerSecond == header.bitRate * 1000;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) {
        return 0;  // no stream over nothing
    }
    const varn::File file(fmemopen(const_cast<uint8_t *>(data), size, "rb"));
    const auto reader = std::make_unique<MPEG_READER>();
    reader->stream = file.get();
    reader->fileSize = static_cast<int64_t>(size);
    for (int64_t position = 0; position < reader->fileSize;) {
        const int64_t before = position;
        MPEG_FRAME_HEADER header{};
        const int found = ParseMPEG(reader.get(), &position, &header);
        Require(position >= before, "a scan goes forward");
        Require(GetByte(reader.get(), position) == data[position], "bytes are the file's");
        if (found != 0) {
            Require(IsFrame(header) && header.position == position, "a frame has a valid header");
            Require(data[position] == 0xFF, "a frame begins with its mark");
        }
        ++position;
    }
    return 0;
}
