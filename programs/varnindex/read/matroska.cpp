#include "varnindex/read/matroska.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace varnindex {
namespace {

constexpr std::uint64_t kSegment = 0x18538067;
constexpr std::uint64_t kCluster = 0x1F43B675;
constexpr int kMostElements = 100'000;

// A number whose first byte tells its width by its leading zeros.
struct VarNumber {
    std::uint64_t withMark = 0;
    std::uint64_t value = 0;
    unsigned width = 0;
};

std::optional<VarNumber> NumberAt(const TagLib::ByteVector &bytes, unsigned at) {
    const unsigned first = at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
    unsigned width = 1;
    while (width <= 8 && (first & (0x100U >> width)) == 0) {
        ++width;
    }
    if (width > 8 || at + width > bytes.size()) {
        return std::nullopt;
    }
    VarNumber number{first, first & (0xFFU >> width), width};
    for (unsigned i = 1; i < width; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[at + i]);
        number.withMark = number.withMark << 8 | byte;
        number.value = number.value << 8 | byte;
    }
    return number;
}

struct Element {
    std::uint64_t id = 0;
    long begin = 0;  // of what is in it
    long end = 0;    // of a size that is not told: the file's
};

std::optional<Element> ElementAt(BoundedStream &stream, long at) {
    const TagLib::ByteVector head = stream.BlockAt(at, 12);
    const auto id = NumberAt(head, 0);
    const auto size = id && id->width <= 4 ? NumberAt(head, id->width) : std::nullopt;
    const long begin = size ? at + static_cast<long>(id->width + size->width) : 0;
    if (!size || begin > stream.length()) {
        return std::nullopt;
    }
    const auto room = static_cast<std::uint64_t>(stream.length() - begin);
    return Element{id->withMark, begin, begin + static_cast<long>(std::min(size->value, room))};
}

}  // namespace

long FirstCluster(BoundedStream &stream) {
    const auto head = ElementAt(stream, 0);
    const auto segment = head ? ElementAt(stream, head->end) : std::nullopt;
    if (!segment || segment->id != kSegment) {
        return 0;
    }
    long at = segment->begin;
    for (int i = 0; i < kMostElements && at < segment->end; ++i) {
        const auto element = ElementAt(stream, at);
        if (!element || element->id == kCluster) {
            return element ? at : 0;
        }
        at = element->end;
    }
    return 0;
}

}  // namespace varnindex
