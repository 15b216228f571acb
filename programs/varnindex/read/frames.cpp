#include "varnindex/read/frames.h"

#include <taglib/id3v2header.h>
#include <taglib/mpegheader.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "varnindex/read/more_tags.h"

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr long kBlock = 4096;
constexpr long kMostJunk = 64L << 10;  // in one place
constexpr long kMostJunkInAll = 4L << 20;
constexpr std::int64_t kMostFrames = 10'000'000;  // three days

unsigned Byte(const ByteVector &bytes, unsigned at) {
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
std::optional<long> FirstFrame(BoundedStream &stream, ByteRange range, FrameAt frameAt) {
    const long end = std::min(range.end, range.begin + kMostJunk);
    for (long at = range.begin; at < end; at += kBlock) {
        const ByteVector block = stream.BlockAt(at, kBlock);
        for (unsigned i = 0; i < block.size(); ++i) {
            if (Byte(block, i) == 0xFF && AreFramesAt(stream, at + static_cast<long>(i), frameAt)) {
                return at + static_cast<long>(i);
            }
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Frame> MpegFrameAt(BoundedStream &stream, long position) {
    UnknownFile file(stream);
    const TagLib::MPEG::Header header(&file, position, false);
    if (!header.isValid() || header.frameLength() <= 0 || header.sampleRate() <= 0) {
        return std::nullopt;
    }
    const bool isMono = header.channelMode() == TagLib::MPEG::Header::SingleChannel;
    return Frame{header.frameLength(), header.samplesPerFrame(), header.sampleRate(),
                 isMono ? 1 : 2, header.bitrate() * 1000};
}

std::optional<Frame> AdtsFrameAt(BoundedStream &stream, long position) {
    static constexpr std::array kRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                          22050, 16000, 12000, 11025, 8000,  7350};
    constexpr unsigned kHead = 7;
    stream.seek(position, TagLib::IOStream::Beginning);
    const ByteVector head = stream.readBlock(kHead);
    if (head.size() < kHead || Byte(head, 0) != 0xFF || (Byte(head, 1) & 0xF6) != 0xF0) {
        return std::nullopt;
    }
    const unsigned rate = (Byte(head, 2) >> 2) & 15;
    const unsigned channels = (Byte(head, 2) & 1) << 2 | Byte(head, 3) >> 6;
    const unsigned length = (Byte(head, 3) & 3) << 11 | Byte(head, 4) << 3 | Byte(head, 5) >> 5;
    if (rate >= kRates.size() || length <= kHead) {
        return std::nullopt;
    }
    const int blocks = 1 + static_cast<int>(Byte(head, 6) & 3);
    // Channels that the frame itself describes are two in nearly every file.
    return Frame{static_cast<long>(length), 1024 * blocks, kRates[rate],
                 channels == 0   ? 2
                 : channels == 7 ? 8
                                 : static_cast<int>(channels),
                 0};
}

bool AreFramesAt(BoundedStream &stream, long position, FrameAt frameAt) {
    const auto first = frameAt(stream, position);
    const auto second = first ? frameAt(stream, position + first->length) : std::nullopt;
    return second && second->sampleRate == first->sampleRate;
}

Audio CountFrames(BoundedStream &stream, ByteRange range, FrameAt frameAt) {
    Audio audio;
    double seconds = 0;
    std::int64_t bytes = 0;
    std::int64_t frames = 0;
    long junk = 0;
    for (long at = range.begin; at < range.end && frames < kMostFrames && junk < kMostJunkInAll;) {
        stream.AllowSearch();  // the file's length bounds it
        if (const auto frame = frameAt(stream, at)) {
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
        } else if (const auto next = FirstFrame(stream, {at, range.end}, frameAt)) {
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

bool HasOneBitRate(BoundedStream &stream, ByteRange range, FrameAt frameAt) {
    constexpr int kFramesAtAPlace = 30;
    int bitRate = 0;
    for (const long place : range.Thirds()) {
        stream.AllowSearch();
        const auto first = FirstFrame(stream, {place, range.end}, frameAt);
        if (!first) {
            return false;
        }
        auto frame = frameAt(stream, *first);
        long at = *first;
        for (int i = 0; i < kFramesAtAPlace && frame && at + frame->length <= range.end; ++i) {
            bitRate = bitRate == 0 ? frame->bitRate : bitRate;
            if (frame->bitRate != bitRate) {
                return false;
            }
            at += frame->length;
            frame = frameAt(stream, at);
        }
    }
    return true;
}

}  // namespace varnindex
