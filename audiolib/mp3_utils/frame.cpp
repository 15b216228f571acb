#include <array>
#include <cstddef>
#include <cstdint>

#include "mp3_utils/reader.h"
#include "mp3_utils/source.h"
#include "support/log.h"

namespace {

using Tonvale::mp3::ByteAt;
using Tonvale::mp3::kSource;

constexpr int kVersions = 3;
constexpr int kLayers = 3;
constexpr int kMpeg25 = 3;  // the version number of MPEG-2.5
constexpr int kBitRateIndexes = 16;
constexpr int kLastBitRateIndex = 14;
constexpr int kSampleRateIndexes = 4;
constexpr int kReservedRateIndex = 3;
constexpr int kJointStereo = 1;

using BitRates = std::array<int, kBitRateIndexes>;

// kbit/s by layer: ISO/IEC 11172-3 table 2.4.2.3, and ISO/IEC 13818-3 for lower sampling rates.
constexpr std::array<BitRates, kLayers> kMpeg1BitRates = {{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},
}};
constexpr std::array<BitRates, kLayers> kMpeg2BitRates = {{
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
}};
constexpr std::array<std::array<BitRates, kLayers>, kVersions> kBitRates = {
    kMpeg1BitRates, kMpeg2BitRates, kMpeg2BitRates};

constexpr int kSampleRates[kVersions][kSampleRateIndexes] = {
    {44100, 48000, 32000, 0},
    {22050, 24000, 16000, 0},
    {11025, 12000, 8000, 0},
};

// What the bit rate is multiplied by for the length of a frame, by version and layer. MPEG-2.5 has
// no lengths: its files count as having no usable header.
constexpr double kLengthFactors[kVersions][kLayers] = {
    {48000.0, 144000.0, 144000.0},
    {24000.0, 72000.0, 72000.0},
    {0, 0, 0},
};

// (bit rate * factor) / sampling rate, without padding; 0 where there is no length.
using Lengths =
    std::array<std::array<std::array<uint16_t, kSampleRateIndexes>, kBitRateIndexes>, kLayers>;
constexpr std::array<Lengths, kVersions> MakeLengths() {
    std::array<Lengths, kVersions> all{};
    for (std::size_t version = 0; version < kVersions; ++version) {
        for (std::size_t layer = 0; layer < kLayers; ++layer) {
            for (std::size_t bits = 0; bits < kBitRateIndexes; ++bits) {
                for (std::size_t rate = 0; rate < kReservedRateIndex; ++rate) {
                    const double product =
                        kBitRates[version][layer][bits] * kLengthFactors[version][layer];
                    all[version][layer][bits][rate] = static_cast<uint16_t>(
                        static_cast<int>(product) / kSampleRates[version][rate]);
                }
            }
        }
    }
    return all;
}
constexpr std::array<Lengths, kVersions> kLengths = MakeLengths();

constexpr int kNoFrame = 0;
constexpr int kReservedVersion = -1;

// The version that a frame's second byte tells.
int VersionOf(int second) {
    const bool bit3 = (second & 0x08) != 0;
    if ((second & 0xF0) == 0xF0) {
        return bit3 ? 1 : 2;
    }
    if ((second & 0xE0) == 0xE0) {
        return bit3 ? kReservedVersion : kMpeg25;
    }
    return kNoFrame;
}

// Moves to the next two bytes that begin a frame; false at the end.
bool FindSync(MPEG_READER &reader, int64_t &position) {
    for (; position < reader.fileSize - TONVALE_MPEG_TAIL; ++position) {
        if (ByteAt(reader, position) == 0xFF &&
            VersionOf(ByteAt(reader, position + 1)) != kNoFrame) {
            return true;
        }
    }
    return false;
}

bool ReadVersion(int second, MPEG_FRAME_HEADER &header) {
    const int version = VersionOf(second);
    if (version == kReservedVersion) {
        return false;
    }
    header.version = version;
    return true;
}

bool ReadLayer(int second, MPEG_FRAME_HEADER &header) {
    const int bits = (second >> 1) & 3;
    header.layer = bits == 0 ? -1 : 4 - bits;
    if (header.layer < 0) {
        return false;
    }
    header.isProtected = (second & 1) == 0 ? 1 : 0;
    return true;
}

bool ReadRates(int third, MPEG_FRAME_HEADER &header) {
    const int rateIndex = (third >> 2) & 3;
    const int bitRateIndex = third >> 4;
    if (rateIndex == kReservedRateIndex || bitRateIndex > kLastBitRateIndex) {
        return false;
    }
    header.bitRate = kBitRates[header.version - 1][header.layer - 1][bitRateIndex];
    header.bitsPerSecond = header.bitRate * 1000;
    header.sampleRate = kSampleRates[header.version - 1][rateIndex];
    header.padding = (third >> 1) & 1;
    return true;
}

void ReadMode(int fourth, MPEG_FRAME_HEADER &header) {
    header.channelMode = fourth >> 6;
    header.modeExtension = header.channelMode == kJointStereo ? (fourth >> 4) & 3 : -1;
    header.copyRestricted = (fourth >> 3) & 1;
    header.firstCopy = (fourth >> 2) & 1;
    header.emphasis = fourth & 3;
}

bool ComputeLength(int third, int64_t fileSize, MPEG_FRAME_HEADER &header) {
    if (header.version == kMpeg25) {
        return false;
    }
    const auto &lengths = kLengths[header.version - 1][header.layer - 1];
    const int slot = header.layer == 1 ? 4 : 1;  // bytes that padding adds
    header.frameLength = lengths[third >> 4][(third >> 2) & 3] + slot * header.padding;
    if (header.frameLength == 0) {
        return false;
    }
    header.duration = static_cast<double>(fileSize) * 0.008 / header.bitRate;
    return true;
}

bool ReadHeader(MPEG_READER &reader, int64_t position, MPEG_FRAME_HEADER &header) {
    header.position = position;
    const int second = ByteAt(reader, position + 1);
    if (!ReadVersion(second, header) || !ReadLayer(second, header)) {
        return false;
    }
    const int third = ByteAt(reader, position + 2);
    if (!ReadRates(third, header)) {
        return false;
    }
    ReadMode(ByteAt(reader, position + 3), header);
    return ComputeLength(third, reader.fileSize, header);
}

}  // namespace

int ParseMPEG(MPEG_READER *reader, int64_t *position, MPEG_FRAME_HEADER *header) noexcept {
    if (reader == nullptr || position == nullptr || header == nullptr) {
        LOG_ERROR_OLD(kSource, "Bad parameter.");
        return 0;
    }
    if (!FindSync(*reader, *position)) {
        LOG_ERROR_OLD(kSource, "MPEG Header not found");
        return 0;
    }
    return ReadHeader(*reader, *position, *header) ? 1 : 0;
}
