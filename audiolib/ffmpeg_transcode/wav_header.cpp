#include "ffmpeg_transcode/wav_header.h"

#include <algorithm>

#include "ffmpeg_transcode/encoder.h"
#include "ffmpeg_transcode/source.h"
#include "support/log.h"

namespace Tonvale::transcode {

namespace {

// Places in the header of a RIFF WAVE file whose format chunk has the least size.
constexpr std::size_t kRiffSizePlace = 4;
constexpr std::size_t kFormatSizePlace = 16;
constexpr std::size_t kFirstPart = 20;  // up to the format chunk's contents
constexpr std::size_t kChunkHeader = 8;
constexpr std::size_t kLeastFormatSize = 16;
constexpr std::size_t kDataSizePlace = 40;
constexpr std::size_t kLeastSize = 44;

uint32_t LittleEndian(const unsigned char *place) {
    return static_cast<uint32_t>(place[0]) | static_cast<uint32_t>(place[1]) << 8 |
           static_cast<uint32_t>(place[2]) << 16 | static_cast<uint32_t>(place[3]) << 24;
}

// The largest size, which players take for "to the end", stands for those that do not fit.
void PutSize(unsigned char *place, int64_t size) {
    const auto value = static_cast<uint32_t>(std::min<int64_t>(size, UINT32_MAX));
    for (int byte = 0; byte < 4; ++byte) {
        place[byte] = static_cast<unsigned char>(value >> (8 * byte));
    }
}

}  // namespace

bool WavHeader::Read(std::FILE *encoder, int64_t dataLength) {
    bytes_ = {};
    size_ = 0;
    const std::span<unsigned char> all(bytes_);
    if (!ReadWhole(encoder, all.first(kFirstPart))) {
        return false;
    }
    const std::size_t formatSize = LittleEndian(&bytes_[kFormatSizePlace]);
    const std::size_t extra = formatSize >= kLeastFormatSize ? formatSize - kLeastFormatSize : 0;
    const std::size_t rest = kLeastSize - kFirstPart + extra;
    if (extra > all.size() - kLeastSize) {
        LOG_ERROR(kSource, "fread() wrong, [%zu]", rest);
        return false;
    }
    if (!ReadWhole(encoder, all.subspan(kFirstPart, rest))) {
        return false;
    }
    size_ = kLeastSize + extra;
    if (dataLength > 0) {
        PutSize(&bytes_[kRiffSizePlace], dataLength + static_cast<int64_t>(size_ - kChunkHeader));
        PutSize(&bytes_[kDataSizePlace + extra], dataLength);
    }
    return true;
}

}  // namespace Tonvale::transcode
