#include "ffmpeg_transcode/streamer.h"

#include <strings.h>

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "ffmpeg_transcode/source.h"
#include "ffmpeg_transcode/wav_header.h"
#include "support/log.h"
#include "varn/webapi.h"

namespace Tonvale::transcode {

namespace {

constexpr char kStartOption[] = "-ss";

struct Range {
    int64_t first;
    int64_t last;
    int64_t Length() const { return last - first + 1; }
};

// (bit rate / 8) * (duration - seek). 0 where that is not known. Below 0 for a seek after the end;
// no length is told then either.
int64_t EstimatedBytes(const Job &job) {
    int64_t seconds = 0;
    int64_t bytes = 0;
    if (job.duration <= 0 || __builtin_sub_overflow(job.duration, job.seek, &seconds) ||
        __builtin_mul_overflow(job.bitRate / 8, seconds, &bytes)) {
        return 0;
    }
    return bytes;
}

// Starts the encoder `seconds` later than it was going to.
void Postpone(Arguments &arguments, int64_t seconds) {
    const auto option = std::find(arguments.begin(), arguments.end(), kStartOption);
    if (option == arguments.end() || option + 1 == arguments.end()) {
        arguments.insert(arguments.begin(), {kStartOption, std::to_string(seconds)});
        return;
    }
    std::string &start = *(option + 1);
    start = std::to_string(std::strtol(start.c_str(), nullptr, 10) + seconds);
}

const char *ContentTypeLine(const std::string &format) {
    if (strcasecmp(format.c_str(), "mp3") == 0) {
        return "Content-Type: audio/mpeg\r\n";
    }
    if (strcasecmp(format.c_str(), "wav") == 0) {
        return "Content-Type: audio/x-wav\r\n";
    }
    return "";
}

// One answer. The bytes of the stream are counted from the first one of its header, if it has one.
class Answer {
  public:
    explicit Answer(Job job) : job_(std::move(job)) {}

    bool Send() {
        if (!Start()) {
            return false;
        }
        range_ = AskForRange();
        WriteStatus();
        if (range_ && !MoveToRange()) {
            return false;
        }
        WriteHeaders();
        return SendBody() && FlushOutput();
    }

  private:
    bool HasWavHeader() const { return !job_.raw && job_.format == "wav"; }
    int64_t HeaderSize() const { return static_cast<int64_t>(header_.Bytes().size()); }

    // Starts the encoder and learns the length of what it is going to write.
    bool Start() {
        encoder_ = Launch(job_.arguments);
        if (!encoder_) {
            LOG_ERROR(kSource, "Failed to PopenFFmpeg %m");
            return false;
        }
        total_ = EstimatedBytes(job_);
        if (!HasWavHeader()) {
            return true;
        }
        if (!header_.Read(encoder_.get(), total_)) {
            return false;
        }
        total_ = total_ > 0 ? total_ + HeaderSize() : 0;
        return true;
    }

    std::optional<Range> AskForRange() const {
        _tag_HTTP_RANGE_SEGMENT *found = nullptr;
        const bool wanted = HTTPFileOutputer::SeekHttpRange(&found, total_) > 0;
        const varn::MallocPtr<_tag_HTTP_RANGE_SEGMENT> segment(found);
        if (!wanted || !segment) {
            return std::nullopt;
        }
        return Range{segment->first, segment->last};
    }

    void WriteStatus() const {
        if (!range_) {
            std::puts("Status: 200 OK\r");
            return;
        }
        char range[64];
        std::snprintf(range, sizeof range, "bytes %jd-%jd/%jd", intmax_t{range_->first},
                      intmax_t{range_->last}, intmax_t{total_});
        std::puts("Status: 206 Partial content\r");
        std::printf("Content-Range: %s\r\n", range);
    }

    // The whole seconds that the encoder may leave out. The header of a raw WAV file is not read on
    // its way, so that a range of one must not begin inside of a later one.
    int64_t SecondsToSkip() const {
        const auto skip = static_cast<int64_t>(std::floor(
            static_cast<double>(range_->first) / (static_cast<double>(job_.bitRate) * 0.125)));
        const int64_t first = range_->first - skip * (job_.bitRate / 8);
        const bool isRawWav = job_.raw && strcasecmp(job_.format.c_str(), "wav") == 0;
        return isRawWav && first < int64_t{WavHeader::kMostSize} ? skip - 1 : skip;
    }

    // Restarts the encoder where that leaves less than a second or two to be dropped.
    bool MoveToRange() {
        const int64_t skip = SecondsToSkip();
        if (skip <= 0) {
            return true;
        }
        encoder_.reset();
        Postpone(job_.arguments, skip);
        job_.seek += skip;
        range_->first -= skip * (job_.bitRate / 8);
        range_->last -= skip * (job_.bitRate / 8);
        if (!Start()) {
            return false;
        }
        // The header stands in place of sound that this stream does not have.
        header_.Silence();
        return true;
    }

    int64_t AnnouncedLength() const { return range_ ? range_->Length() : total_ > 0 ? total_ : -1; }

    void WriteHeaders() const {
        std::fputs(ContentTypeLine(job_.format), stdout);
        if (const int64_t length = AnnouncedLength(); length >= 0) {
            std::printf("Content-Length: %jd\r\n", intmax_t{length});
        }
        std::puts("\r");
        std::fflush(stdout);
    }

    bool SendBody() {
        int64_t dropped = range_ ? range_->first : 0;
        int64_t left = AnnouncedLength();
        std::span<const unsigned char> header = header_.Bytes();
        header = header.subspan(static_cast<std::size_t>(std::min(dropped, HeaderSize())));
        if (left >= 0) {
            header =
                header.first(static_cast<std::size_t>(std::min<int64_t>(left, std::ssize(header))));
            left -= std::ssize(header);
        }
        dropped -= std::min(dropped, HeaderSize());
        return WriteOutput(header) && Discard(encoder_.get(), dropped) &&
               CopyToOutput(encoder_.get(), left);
    }

    Job job_;
    Encoder encoder_;
    WavHeader header_;
    int64_t total_ = 0;  // bytes of the stream; 0 or less when that is not known
    std::optional<Range> range_;
};

}  // namespace

int Serve(Job job) {
    return Answer(std::move(job)).Send() ? 0 : -1;
}

}  // namespace Tonvale::transcode
