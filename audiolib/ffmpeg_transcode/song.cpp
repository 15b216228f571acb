// Songs: transcoded, or in their own format from some time on.
#include <algorithm>
#include <array>
#include <string_view>

#include "ffmpeg_transcode/source.h"
#include "ffmpeg_transcode/streamer.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/streaming.h"
#include "tonvale/webapi.h"

namespace {

using namespace Tonvale::transcode;
using Tonvale::support::Guarded;

constexpr int64_t kDefaultBitRate = 128000;
constexpr int64_t kPcmBitsPerSample = 32;  // of both channels

// How one format is asked for. The two computed values stand in place of these marks.
constexpr std::string_view kBitRateMark = "%b";
constexpr std::string_view kSampleRateMark = "%r";

struct Format {
    std::string_view name;
    bool isPcm;  // its bit rate follows from the sampling rate
    std::vector<std::string_view> options;
};

const Format *FindFormat(std::string_view name) {
    static const std::array formats = {
        Format{"mp3", false, {"-f", "mp3", "-ab", "%b", "-ac", "2", "-map_metadata", "-1", "-"}},
        Format{"wav",
               true,
               {"-f", "wav", "-c:a", "pcm_s16le", "-af", "aresample=resampler=soxr", "-ar", "%r",
                "-ac", "2", "-write_info_tag", "0", "-"}},
    };
    const auto found = std::find_if(formats.begin(), formats.end(),
                                    [&](const Format &format) { return format.name == name; });
    return found != formats.end() ? &*found : nullptr;
}

// The sum, wrapped round where it is too large: no song is that long.
int64_t Sum(int64_t left, int64_t right) {
    return static_cast<int64_t>(static_cast<uint64_t>(left) + static_cast<uint64_t>(right));
}

// Whole seconds; 0 for a duration that no song has.
int64_t DurationOf(const VARN_MEDIA_INFO &song) {
    constexpr float kLongest = 1e9F;
    const bool sane = song.duration > -kLongest && song.duration < kLongest;
    return sane ? static_cast<int64_t>(song.duration) : 0;
}

int Transcode(const VARN_MEDIA_INFO &song, const Format &format, int64_t seek, int64_t bitRate) {
    const int rate = VARNAudioCalcOutputSampleRate(song.frequency);
    const int64_t bits = bitRate != 0 ? bitRate : kDefaultBitRate;
    Job job;
    job.format = format.name;
    job.duration = DurationOf(song);
    job.seek = seek;
    job.bitRate = format.isPcm ? rate * kPcmBitsPerSample : bits;
    const int64_t start = Sum(GetVirtualMusicStartPosition(&song), seek);
    job.arguments = {"-v", "0", "-ss", std::to_string(start)};
    if (IsVirtualMusic(&song)) {
        const int64_t remaining = Sum(job.duration, Sum(~seek, 1));
        job.arguments.insert(job.arguments.end(), {"-t", std::to_string(remaining)});
    }
    job.arguments.insert(job.arguments.end(), {"-i", song.path, "-vn"});
    for (const std::string_view option : format.options) {
        job.arguments.push_back(option == kBitRateMark      ? std::to_string(bits)
                                : option == kSampleRateMark ? std::to_string(rate)
                                                            : std::string(option));
    }
    return Serve(std::move(job));
}

int SeekIn(const VARN_MEDIA_INFO &song, int seek) {
    Job job;
    job.format = VARNAudioWebapiUtilsGetFileExt(song.path);
    job.duration = DurationOf(song);
    job.seek = seek;
    job.bitRate = song.bitrate;
    job.raw = true;
    const int64_t start = Sum(GetVirtualMusicStartPosition(&song), seek);
    job.arguments = {"-v",   "0",
                     "-ss",  std::to_string(start),
                     "-t",   std::to_string(job.duration - seek),
                     "-i",   song.path,
                     "-f",   job.format,
                     "-c:a", "copy",
                     "-ac",  "2",
                     "-vn",  "-"};
    return Serve(std::move(job));
}

}  // namespace

int VARNAudioCalcOutputSampleRate(int rate) noexcept {
    constexpr int kCompactDisc = 44100;
    constexpr int kVideo = 48000;
    return rate >= kCompactDisc && rate % kVideo == 0 ? kVideo : kCompactDisc;
}

int VARNAudioTranscodeSong(const VARN_MEDIA_INFO *song, const char *format, int64_t seek,
                           int64_t bitRate) noexcept {
    return Guarded(kSource, -1, [&] {
        const Format *known = format != nullptr ? FindFormat(format) : nullptr;
        if (song == nullptr || known == nullptr) {
            LOG_ERROR(kSource, "Bad parameter");
            return -1;
        }
        return Transcode(*song, *known, seek, bitRate);
    });
}

int VARNAudioSeekSong(const VARN_MEDIA_INFO *song, int seek) noexcept {
    return Guarded(kSource, -1, [&] {
        if (song == nullptr) {
            LOG_ERROR(kSource, "Bad parameter");
            return -1;
        }
        return SeekIn(*song, seek);
    });
}
