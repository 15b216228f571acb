#include "varnindex/read/flac_end.h"

#include <algorithm>
#include <array>
#include <optional>

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr long kLargestFrame = 256L << 10;  // far more than encoders make of one
constexpr unsigned kLongestHeader = 16;

unsigned Byte(const ByteVector &bytes, unsigned at) {
    return static_cast<unsigned char>(bytes[at]);
}

unsigned Checksum(const ByteVector &bytes, unsigned begin, unsigned end) {
    unsigned sum = 0;
    for (unsigned i = begin; i < end; ++i) {
        sum ^= Byte(bytes, i);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum << 1 ^ ((sum & 0x80) != 0 ? 0x07U : 0U)) & 0xFF;
        }
    }
    return sum;
}

// A number in the form that UTF-8 has for characters, of up to seven bytes; moves `at` behind it.
std::optional<std::int64_t> CodedNumber(const ByteVector &bytes, unsigned &at) {
    const unsigned first = Byte(bytes, at++);
    int more = 0;
    while (more < 7 && (first & (0x80U >> more)) != 0) {
        ++more;
    }
    if (more == 1 || first == 0xFF) {
        return std::nullopt;
    }
    auto number = static_cast<std::int64_t>(first & (0xFFU >> (more + 1)));
    for (int i = 1; i < more; ++i) {
        const unsigned next = Byte(bytes, at++);
        if ((next & 0xC0) != 0x80) {
            return std::nullopt;
        }
        number = number << 6 | (next & 0x3F);
    }
    return more == 0 ? std::int64_t{first} : number;
}

// The number of samples in a frame by its header's code; moves `at` behind what it takes.
unsigned SamplesOf(unsigned code, const ByteVector &bytes, unsigned &at) {
    static constexpr std::array kFixed = {0U, 192U, 576U, 1152U, 2304U, 4608U};
    if (code < kFixed.size()) {
        return kFixed[code];
    }
    if (code > 7) {
        return 256U << (code - 8);
    }
    unsigned samples = Byte(bytes, at++);
    if (code == 7) {
        samples = samples << 8 | Byte(bytes, at++);
    }
    return samples + 1;
}

// The samples up to the end of the frame at an offset; none where there is no frame.
std::optional<std::int64_t> SamplesBehind(const ByteVector &bytes, unsigned start,
                                          unsigned fixedBlock) {
    const unsigned sync = Byte(bytes, start) << 8 | Byte(bytes, start + 1);
    const unsigned codes = Byte(bytes, start + 2);
    const unsigned form = Byte(bytes, start + 3);
    if ((sync & 0xFFFE) != 0xFFF8 || codes >> 4 == 0 || (codes & 15) == 15 || form >> 4 > 10 ||
        (form & 1) != 0) {
        return std::nullopt;
    }
    unsigned at = start + 4;
    const auto number = CodedNumber(bytes, at);
    const unsigned samples = SamplesOf(codes >> 4, bytes, at);
    const unsigned rate = codes & 15;
    at += rate == 12 ? 1 : rate > 12 ? 2 : 0;
    if (!number || samples == 0 || Checksum(bytes, start, at) != Byte(bytes, at)) {
        return std::nullopt;
    }
    const bool isCountedInSamples = (sync & 1) != 0;
    return (isCountedInSamples ? *number : *number * fixedBlock) + samples;
}

}  // namespace

std::int64_t SamplesToLastFrame(BoundedStream &stream, long begin, long end) {
    const ByteVector info = stream.BlockAt(begin + 8, 2);
    const long start = std::max(begin, end - kLargestFrame);
    stream.seek(start, TagLib::IOStream::Beginning);
    const ByteVector bytes = stream.readBlock(static_cast<unsigned long>(end - start));
    if (info.size() < 2 || bytes.size() < kLongestHeader) {
        return 0;
    }
    for (unsigned at = bytes.size() - kLongestHeader + 1; at-- > 0;) {
        if (Byte(bytes, at) != 0xFF) {
            continue;
        }
        if (const auto samples = SamplesBehind(bytes, at, info.toUShort(0U))) {
            return *samples;
        }
    }
    return 0;
}

}  // namespace varnindex
