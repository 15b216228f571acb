#include "varnindex/read/frames.h"

#include <taglib/mpegproperties.h>
#include <taglib/xingheader.h>

#include <cmath>
#include <cstdlib>

#include "varnindex/read/more_tags.h"

namespace varnindex {
namespace {

using TagLib::MPEG::Header;

bool FitsTable(const TagLib::MPEG::XingHeader &table, ByteRange sound) {
    const long told = static_cast<long>(table.totalSize());
    return std::abs(told - sound.Length()) <= 4096 + sound.Length() / 128;
}

// Looks at some frames at the start, at one third and at two thirds.
bool HasOneBitRate(TagLib::MPEG::File &file, ByteRange sound, int bitRate) {
    constexpr int kFramesAtAPlace = 30;
    for (const long place : sound.Thirds()) {
        long at = file.nextFrameOffset(place);
        if (at < 0) {
            return false;
        }
        for (int i = 0; i < kFramesAtAPlace; ++i) {
            const Header frame(&file, at, false);
            if (!frame.isValid() || at + frame.frameLength() > sound.end) {
                break;
            }
            if (frame.bitrate() != bitRate) {
                return false;
            }
            at += frame.frameLength();
        }
    }
    return true;
}

// Past what stands between frames, as far as the stream allows a search.
void CountFrames(TagLib::MPEG::File &file, ByteRange sound, Audio &audio) {
    double seconds = 0;
    std::int64_t bytes = 0;
    for (long at = sound.begin; at >= 0 && at < sound.end;) {
        const Header frame(&file, at, false);
        if (!frame.isValid()) {
            at = file.nextFrameOffset(at);
        } else if (at += frame.frameLength(); at <= sound.end) {
            seconds += static_cast<double>(frame.samplesPerFrame()) / frame.sampleRate();
            bytes += frame.frameLength();
        }
    }
    if (seconds > 0) {
        audio.milliseconds = std::llround(seconds * 1000);
        audio.bitRate = std::llround(static_cast<double>(bytes) * 8 / seconds);
    }
}

}  // namespace

bool AreFramesAt(BoundedStream &stream, long position) {
    UnknownFile file(stream);
    return Header(&file, position, true).isValid();
}

Audio ReadFrames(TagLib::MPEG::File &file, BoundedStream &stream, ByteRange sound,
                 std::string &codec) {
    stream.AllowSearch();
    const Header first(&file, sound.begin, false);
    if (!first.isValid()) {
        return {};
    }
    codec = "mp" + std::to_string(first.layer());
    const TagLib::MPEG::Properties told(&file);
    Audio audio = AudioOf(&told);
    // After much junk at the end TagLib tells nothing.
    audio.sampleRate = first.sampleRate();
    audio.channels = first.channelMode() == Header::SingleChannel ? 1 : 2;
    const auto *const table = told.xingHeader();
    const bool isTold =
        audio.milliseconds > 0 &&
        (table != nullptr ? FitsTable(*table, sound) : HasOneBitRate(file, sound, told.bitrate()));
    if (!isTold) {
        stream.AllowSearch();
        CountFrames(file, sound, audio);
    }
    return audio;
}

}  // namespace varnindex
