#include "varnindex/read/riff.h"

#include <algorithm>
#include <limits>

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr std::int64_t kHead = 8;
constexpr std::int64_t kFirstChunk = 12;
constexpr int kMostChunks = 1000;
constexpr std::int64_t kMostBytes = std::numeric_limits<std::uint32_t>::max() - 64;

bool IsRiff64(const ByteVector &name) {
    return name == "RF64" || name == "BW64";
}

// How much sound there is room for; none where the size that is told is right.
std::optional<std::int64_t> Mended(std::int64_t told, std::int64_t room) {
    return told > room || (told == 0 && room > 0) ? std::optional(room) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> MendSizes(BoundedStream &stream, ChunkedKind kind) {
    const bool isBigEndian = kind == ChunkedKind::kAiff;
    const ByteVector sound = isBigEndian ? "SSND" : "data";
    const bool is64 = IsRiff64(stream.BlockAt(0, 4));
    std::int64_t wideSize = 0;
    std::int64_t at = kFirstChunk;
    for (int i = 0; i < kMostChunks && at + kHead <= stream.length(); ++i) {
        const ByteVector head = stream.BlockAt(static_cast<long>(at), kHead + 16);
        if (head.size() < kHead) {
            break;
        }
        const ByteVector name = head.mid(0, 4);
        std::int64_t size = head.toUInt(4U, isBigEndian);
        if (name == "ds64" && head.size() == kHead + 16) {
            wideSize = std::max(head.toLongLong(16U, false), 0LL);
        }
        if (name != sound) {
            at += kHead + size + size % 2;
            continue;
        }
        const std::int64_t room = stream.length() - at - kHead;
        size = is64 && size == std::numeric_limits<std::uint32_t>::max() ? wideSize : size;
        const auto mended = Mended(size, room);
        if (!mended && !is64) {
            return std::nullopt;
        }
        const std::int64_t bytes = mended.value_or(size);
        const auto shown = static_cast<unsigned>(std::min(bytes, kMostBytes));
        stream.ShowInstead(static_cast<long>(at) + 4, ByteVector::fromUInt(shown, isBigEndian));
        if (is64) {
            stream.ShowInstead(0, "RIFF");
        }
        return bytes;
    }
    return std::nullopt;
}

}  // namespace varnindex
