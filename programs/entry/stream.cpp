// VARN.Tonvale.Stream: the sound of songs and of remote streams.
#include "tonvale/streaming.h"

#include <strings.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "action.h"
#include "encoder_slot.h"
#include "remote_url.h"
#include "song_records.h"
#include "tonvale/settings.h"
#include "tonvale/webapi.h"

namespace tonvale_entry {

namespace {

constexpr long long kLongestSong = 30 * 24 * 3600;  // seconds
constexpr long long kLeastBitRate = 8000;
constexpr long long kMostBitRate = 320000;

struct MediaType {
    std::string_view extension;
    const char *type;
};
constexpr MediaType kMediaTypes[] = {
    {"mp3", "audio/mpeg"},    {"mp2", "audio/mpeg"},     {"flac", "audio/flac"},
    {"ogg", "audio/ogg"},     {"oga", "audio/ogg"},      {"opus", "audio/ogg"},
    {"m4a", "audio/mp4"},     {"m4b", "audio/mp4"},      {"mp4", "audio/mp4"},
    {"aac", "audio/aac"},     {"wav", "audio/x-wav"},    {"aif", "audio/x-aiff"},
    {"aiff", "audio/x-aiff"}, {"wma", "audio/x-ms-wma"}, {"mka", "audio/x-matroska"},
};

const char *MediaTypeOf(const char *path) {
    const std::string extension = VARNAudioWebapiUtilsGetFileExt(path);
    for (const MediaType &known : kMediaTypes) {
        if (strcasecmp(extension.c_str(), known.extension.data()) == 0) {
            return known.type;
        }
    }
    return "application/octet-stream";
}

// A path in the form of a URL's (RFC 3986, 2.1), which the web server decodes.
std::string Escaped(std::string_view path) {
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string escaped;
    for (const unsigned char c : path) {
        if (c > 0x20 && c < 0x7F && c != '%' && c != '?' && c != '#') {
            escaped += static_cast<char>(c);
        } else {
            escaped += {'%', kHex[c >> 4], kHex[c & 15]};
        }
    }
    return escaped;
}

// True when there is such a file, as far as this account can tell.
bool IsThere(const char *path) {
    struct stat info {};
    return stat(path, &info) == 0 ? S_ISREG(info.st_mode) : errno == EACCES;
}

// An answer that an encoder makes.
class EncodedAction : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    // Runs `encode`, which writes the whole answer, when there is a turn for its encoder.
    template <typename Encode>
    bool SendEncoded(const char *type, const Encode &encode) {
        if (Asked().WantsHeaderOnly()) {
            std::printf("Status: 200 OK\r\nContent-Type: %s\r\n\r\n", type);
            return std::fflush(stdout) == 0;
        }
        const EncoderSlot slot;
        if (!slot) {
            throw Refusal{Code::kBusy};
        }
        return encode() == 0;
    }
};

class Stream : public EncodedAction {
  public:
    using EncodedAction::EncodedAction;

  protected:
    bool Send() override {
        Asked().Require(RIGHT_STREAMING);
        const std::string format = Asked().Choice("format", {"raw", "mp3", "wav"}, "raw");
        const auto position = static_cast<int>(Asked().Number("position", 0, 0, kLongestSong));
        const long long bitRate = Asked().Number("bitrate", 0, kLeastBitRate, kMostBitRate);
        const VARN_MEDIA_INFO song = Find(Asked().RequiredText("id"));
        if (format != "raw") {
            return SendEncoded(format == "mp3" ? "audio/mpeg" : "audio/x-wav", [&] {
                return VARNAudioTranscodeSong(&song, format.c_str(), position, bitRate);
            });
        }
        if (position > 0 || IsVirtualMusic(&song)) {
            return SendEncoded(MediaTypeOf(song.path),
                               [&] { return VARNAudioSeekSong(&song, position); });
        }
        return SendFile(song.path);
    }

  private:
    VARN_MEDIA_INFO Find(const std::string &id) {
        VARN_MEDIA_INFO song;
        if (MediaInfoDBGet(RowOfSong(Asked(), id, kSongColumns).get(), &song) != 0 ||
            !IsThere(song.path)) {
            throw Refusal{Code::kNoSuchItem};
        }
        return song;
    }

    // The web server sends the file, ranges and all.
    static bool SendFile(const char *path) {
        std::printf("Status: 200 OK\r\nContent-Type: %s\r\nX-Sendfile: %s\r\n\r\n",
                    MediaTypeOf(path), Escaped(path).c_str());
        return std::fflush(stdout) == 0;
    }
};

class Remote : public EncodedAction {
  public:
    using EncodedAction::EncodedAction;

  protected:
    bool Send() override {
        Asked().Require(RIGHT_STREAMING);
        const std::string url = Asked().RequiredText("url");
        const std::string format = Asked().Choice("format", {"mp3", "flv"}, "mp3");
        const long long position = Asked().Number("position", 0, 0, kLongestSong);
        if (!IsPermittedUrl(url)) {
            throw Refusal{Code::kBadParameter};
        }
        return SendEncoded(format == "mp3" ? "audio/mpeg" : "video/x-flv", [&] {
            return VARNAudioTranscodeUrl(url.c_str(), format.c_str(), position);
        });
    }
};

constexpr Method kMethods[] = {{"stream", Make<Stream>}, {"remote", Make<Remote>}};

}  // namespace

const Api kStreamApi{"VARN.Tonvale.Stream", kMethods};

}  // namespace tonvale_entry
