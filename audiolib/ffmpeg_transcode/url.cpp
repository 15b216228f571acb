// Remote streams, through the encoder from the start on.
#include <algorithm>
#include <array>
#include <string_view>

#include "ffmpeg_transcode/encoder.h"
#include "ffmpeg_transcode/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/streaming.h"

namespace {

using namespace Tonvale::transcode;
using Tonvale::support::Guarded;

struct Format {
    std::string_view name;
    const char *contentType;
    std::vector<std::string> options;
};

const Format *FindFormat(std::string_view name) {
    static const std::array formats = {
        Format{"mp3", "audio/mpeg", {"-f", "mp3", "-"}},
        Format{"flv", "video/x-flv", {"-c:a", "adpcm_swf", "-ar", "44100", "-f", "flv", "-"}},
    };
    const auto found = std::find_if(formats.begin(), formats.end(),
                                    [&](const Format &format) { return format.name == name; });
    return found != formats.end() ? &*found : nullptr;
}

// A URL that cannot be quoted for a shell is refused, although none is used.
bool IsQuotable(const char *url) {
    char quoted[4096];
    if (VLIBCEncShParam(url, quoted, sizeof quoted) != 0) {
        LOG_ERROR(kSource, "Failed to VLIBCEncShParam [%s]", url);
        return false;
    }
    return true;
}

int Transcode(const char *url, const Format &format, int64_t seek) {
    Arguments arguments = {"-v", "0", "-ss", std::to_string(seek), "-i", url, "-vn"};
    arguments.insert(arguments.end(), format.options.begin(), format.options.end());
    std::puts("Status: 200 OK\r");
    std::printf("Content-Type: %s\r\n", format.contentType);
    std::puts("\r");
    std::fflush(stdout);
    const Encoder encoder = Launch(arguments);
    if (!encoder) {
        LOG_ERROR(kSource, "Failed to popen [%s] %m", url);
        return -1;
    }
    return CopyToOutput(encoder.get(), -1) && FlushOutput() ? 0 : -1;
}

}  // namespace

int VARNAudioTranscodeUrl(const char *url, const char *format, int64_t seek) noexcept {
    if (url == nullptr || format == nullptr) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        if (!IsQuotable(url)) {
            return -1;
        }
        const Format *known = FindFormat(format);
        if (known == nullptr) {
            LOG_ERROR(kSource, "Unsupport format [%s]", format);
            return -1;
        }
        return Transcode(url, *known, seek);
    });
}
