#include "varnindex/read/matroska.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr int kMostElements = 100'000;

struct Element {
    ByteVector name;
    long begin = 0;  // of what is in it
    long end = 0;    // of a size that is not told: the file's
};

// The leading zeros of the first byte of a name or size give its width. In a size the bit after them
// does not count.
std::optional<Element> ElementAt(BoundedStream &stream, long at) {
    const ByteVector head = stream.BlockAt(at, 12);
    const auto byte = [&](unsigned i) {
        return i < head.size() ? static_cast<std::uint8_t>(head[i]) : std::uint8_t{0};
    };
    const auto name = static_cast<unsigned>(std::countl_zero(byte(0))) + 1;
    const auto width = static_cast<unsigned>(std::countl_zero(byte(name))) + 1;
    const long begin = at + static_cast<long>(name + width);
    if (name > 4 || width > 8 || name + width > head.size() || begin > stream.length()) {
        return std::nullopt;
    }
    std::uint64_t size = byte(name) & (0xFFU >> width);
    for (unsigned i = name + 1; i < name + width; ++i) {
        size = size << 8 | byte(i);
    }
    const auto room = static_cast<std::uint64_t>(stream.length() - begin);
    return Element{head.mid(0, name), begin, begin + static_cast<long>(std::min(size, room))};
}

}  // namespace

long FirstCluster(BoundedStream &stream) {
    const auto head = ElementAt(stream, 0);
    const auto segment = head ? ElementAt(stream, head->end) : std::nullopt;
    if (!segment || segment->name != "\x18\x53\x80\x67") {
        return 0;
    }
    long at = segment->begin;
    for (int i = 0; i < kMostElements && at < segment->end; ++i) {
        const auto element = ElementAt(stream, at);
        if (!element || element->name == "\x1F\x43\xB6\x75") {
            return element ? at : 0;
        }
        at = element->end;
    }
    return 0;
}

}  // namespace varnindex
