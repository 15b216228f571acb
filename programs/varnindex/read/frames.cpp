#include "varnindex/read/frames.h"

#include <taglib/id3v2header.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr long kBlock = 4096;
constexpr long kMostJunk = 64L << 10;  // in one place
constexpr long kMostJunkInAll = 4L << 20;
constexpr std::int64_t kMostFrames = 10'000'000;  // three days

unsigned Byte(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

// A tag in the midst of the sound, as where two files were joined; 0: none.
long TagLengthAt(BoundedStream &stream, long position) {
    const ByteVector head = stream.BlockAt(position, 32);
    if (head.size() < 32) {
        return 0;
    }
    if (head.startsWith("ID3")) {
        return static_cast<long>(TagLib::ID3v2::Header(head.mid(0, 10)).completeTagSize());
    }
    if (head.startsWith("APETAGEX")) {
        return 32L + static_cast<long>(head.toUInt(12U, false));
    }
    return head.startsWith("TAG") ? 128 : 0;
}

// The first frame of a range, after junk; none where there is too much of it.
std::optional<long> FirstFrame(BoundedStream &stream, ByteRange range) {
    const long end = std::min(range.end, range.begin + kMostJunk);
    for (long at = range.begin; at < end; ++at) {
        const std::string_view block = stream.At(at, kBlock);
        const std::size_t sync = block.find('\xFF');
        if (sync == block.npos) {
            at += kBlock - 1;
            continue;
        }
        at += static_cast<long>(sync);
        if (AreFramesAt(stream, at)) {
            return at;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Frame> FrameAt(BoundedStream &stream, long position) {
    // Kilobits of layers I, II and III of version 1, then of layer I and the others of version 2.
    static constexpr std::array<std::array<int, 16>, 5> kKilobits = {{
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    }};
    static constexpr std::array kRates = {44100, 48000, 32000};
    const std::string_view head = stream.At(position, 4);
    if (head.size() < 4 || Byte(head, 0) != 0xFF || (Byte(head, 1) & 0xE0) != 0xE0) {
        return std::nullopt;
    }
    const unsigned version = (Byte(head, 1) >> 3) & 3;  // 3: 1, 2: 2, 0: 2.5
    const unsigned layer = 4 - ((Byte(head, 1) >> 1) & 3);
    const unsigned rate = (Byte(head, 2) >> 2) & 3;
    if (version == 1 || layer == 4 || rate == kRates.size()) {
        return std::nullopt;
    }
    const bool isFirst = version == 3;
    const int bits = kKilobits[isFirst ? layer - 1 : layer == 1 ? 3 : 4][Byte(head, 2) >> 4] * 1000;
    Frame frame;
    frame.samples = layer == 1 ? 384 : layer == 3 && !isFirst ? 576 : 1152;
    frame.sampleRate = kRates[rate] >> (isFirst ? 0 : version == 2 ? 1 : 2);
    frame.channels = Byte(head, 3) >> 6 == 3 ? 1 : 2;
    frame.bitRate = bits;
    frame.layer = static_cast<int>(layer);
    const long slot = layer == 1 ? 4 : 1;
    const long isPadded = (Byte(head, 2) >> 1) & 1;
    frame.length = (frame.samples / 8L * bits / frame.sampleRate / slot + isPadded) * slot;
    return bits > 0 ? std::optional(frame) : std::nullopt;
}

bool AreFramesAt(BoundedStream &stream, long position) {
    const auto first = FrameAt(stream, position);
    const auto second = first ? FrameAt(stream, position + first->length) : std::nullopt;
    return second && second->sampleRate == first->sampleRate;
}

Audio CountFrames(BoundedStream &stream, ByteRange range) {
    Audio audio;
    double seconds = 0;
    std::int64_t bytes = 0;
    std::int64_t frames = 0;
    long junk = 0;
    for (long at = range.begin; at < range.end && frames < kMostFrames && junk < kMostJunkInAll;) {
        if (const auto frame = FrameAt(stream, at)) {
            if (at + frame->length > range.end) {
                break;  // cut off: nothing plays it
            }
            audio.sampleRate = audio.sampleRate == 0 ? frame->sampleRate : audio.sampleRate;
            audio.channels = audio.channels == 0 ? frame->channels : audio.channels;
            seconds += static_cast<double>(frame->samples) / frame->sampleRate;
            bytes += frame->length;
            ++frames;
            at += frame->length;
        } else if (const long tag = TagLengthAt(stream, at); tag > 0) {
            at += tag;
        } else if (const auto next = FirstFrame(stream, {at, range.end})) {
            junk += *next - at;
            at = *next;
        } else {
            break;
        }
    }
    if (frames > 0) {
        audio.milliseconds = std::llround(seconds * 1000);
        audio.bitRate = std::llround(static_cast<double>(bytes) * 8 / seconds);
    }
    return audio;
}

long EndOfLastFrame(BoundedStream &stream, ByteRange range) {
    const long first = std::max(range.begin, range.end - kMostJunk);
    for (long end = range.end; end > first;) {
        const long begin = std::max(first, end - kBlock);
        const std::string block(stream.At(begin, static_cast<unsigned long>(end - begin)));
        for (std::size_t at = block.rfind('\xFF'); at != block.npos;
             at = at > 0 ? block.rfind('\xFF', at - 1) : block.npos) {
            const long position = begin + static_cast<long>(at);
            if (AreFramesAt(stream, position)) {
                const long last = position + FrameAt(stream, position)->length;
                return std::min(last + FrameAt(stream, last)->length, range.end);
            }
        }
        end = begin;
    }
    return range.end;
}

bool HasOneBitRate(BoundedStream &stream, ByteRange range) {
    constexpr int kFramesAtAPlace = 30;
    int bitRate = 0;
    for (const long place : range.Thirds()) {
        const auto first = FirstFrame(stream, {place, range.end});
        if (!first) {
            return false;
        }
        long at = *first;
        for (int i = 0; i < kFramesAtAPlace; ++i) {
            const auto frame = FrameAt(stream, at);
            if (!frame || at + frame->length > range.end) {
                break;
            }
            bitRate = bitRate == 0 ? frame->bitRate : bitRate;
            if (frame->bitRate != bitRate) {
                return false;
            }
            at += frame->length;
        }
    }
    return true;
}

}  // namespace varnindex
