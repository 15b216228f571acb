#include "song_sound.h"

#include <strings.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

#include "rights.h"
#include "song_file.h"
#include "tonvale/streaming.h"
#include "tonvale/webapi.h"
#include "varn/systempath.h"

namespace tonvale_entry {

namespace {

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

// What the encoder reads, but cannot write, or of AIFF with lengths of 0 only, because it cannot go
// back on a pipe: nothing can be cut out of these without encoding it.
constexpr std::string_view kUncut[] = {"aif", "aifc", "aiff", "ape", "dff", "dsf", "mpc"};

// What a part that is cut out says of its type; that of others goes without.
constexpr std::string_view kTypedCuts[] = {"mp3", "wav"};

template <std::size_t N>
bool IsOneOf(const std::string_view (&extensions)[N], const std::string &extension) {
    return std::any_of(std::begin(extensions), std::end(extensions), [&](std::string_view known) {
        return strcasecmp(extension.c_str(), known.data()) == 0;
    });
}

// The bit rates of MP3 (ISO/IEC 11172-3 and 13818-3, 2.4.2.3), of MPEG-2.5 those that encoders know.
// A rate between two is none: the encoder would take another one than is announced.
struct Mp3Rates {
    int leastFrequency;  // of the songs, Hz; the encoder takes the sampling rate that is nearest
    std::vector<long long> bitRates;
};

const std::vector<long long> &Mp3BitRates(int frequency) {
    static const Mp3Rates kRates[] = {
        {28000,
         {32000, 40000, 48000, 56000, 64000, 80000, 96000, 112000, 128000, 160000, 192000, 224000,
          256000, 320000}},
        {14000,
         {8000, 16000, 24000, 32000, 40000, 48000, 56000, 64000, 80000, 96000, 112000, 128000,
          144000, 160000}},
        {1, {8000, 16000, 24000, 32000, 40000, 48000, 56000, 64000}},
    };
    const auto found = std::find_if(std::begin(kRates), std::end(kRates), [&](const Mp3Rates &row) {
        return frequency >= row.leastFrequency;
    });
    return found != std::end(kRates) ? found->bitRates : kRates[0].bitRates;
}

// The bit rate of a song's MP3: the one that is asked for, or the usual one or the next below it.
long long Mp3BitRate(int frequency, long long asked) {
    constexpr long long kUsual = 128000;
    const std::vector<long long> &known = Mp3BitRates(frequency);
    if (asked == 0) {
        return *std::prev(std::upper_bound(known.begin(), known.end(), kUsual));
    }
    if (!std::binary_search(known.begin(), known.end(), asked)) {
        throw Refusal{Code::kBadParameter};
    }
    return asked;
}

// The exact bit rate of the samples in a WAV file, of which the library keeps thousands; 0 for what
// has a length that cannot be told beforehand.
unsigned SampleBitRate(const VARN_MEDIA_INFO &song, const std::string &extension) {
    const double byte = 8.0 * song.frequency * song.channel;  // one a sample
    if (strcasecmp(extension.c_str(), "wav") != 0 || std::strcmp(song.codec, "pcm") != 0 ||
        byte <= 0) {
        return 0;
    }
    const double exact = std::round(song.bitrate / byte) * byte;
    const bool isExact = std::fabs(exact - song.bitrate) * 100 < exact && exact < UINT_MAX;
    return isExact ? static_cast<unsigned>(exact) : 0;
}

// What a track of a cue sheet lacks until somebody asks: the last one has no end in the sheet. By
// the path that the library knows it under.
void CompleteDuration(VARN_MEDIA_INFO &track) {
    if (track.duration < 0) {
        VARNAudioWebapiCorrectVirtualMusicDuration(&track);
    }
}

// A song's seconds, the last one as a whole; 0 where they cannot be told, or there are none after a
// position.
int WholeSeconds(const VARN_MEDIA_INFO &song, int position) {
    const float seconds = std::ceil(song.duration);
    return seconds > static_cast<float>(position) && seconds < static_cast<float>(kLongestSong)
               ? static_cast<int>(seconds)
               : 0;
}

// Has the encoders of this process fill a song with silence up to the last of so many seconds, which
// are announced.
class Filled {
  public:
    Filled(const VARN_MEDIA_INFO &song, float seconds) {
        const auto end = GetVirtualMusicStartPosition(&song) + static_cast<int64_t>(seconds);
        setenv(varn::kEncoderFill, std::to_string(end).c_str(), 1);
    }
    Filled(const Filled &) = delete;
    Filled &operator=(const Filled &) = delete;
    ~Filled() { unsetenv(varn::kEncoderFill); }
};

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

// The web server sends the file, ranges and all. It would look for a path with control characters
// under another name, which may be another file's.
bool SendFile(const char *path) {
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    const std::string_view text = path;
    if (std::any_of(text.begin(), text.end(), isControl)) {
        throw Refusal{Code::kNoSuchItem};
    }
    std::printf("Status: 200 OK\r\nContent-Type: %s\r\nX-Sendfile: %s\r\n\r\n", MediaTypeOf(path),
                Escaped(path).c_str());
    return std::fflush(stdout) == 0;
}

}  // namespace

const char *MediaTypeOf(const char *path) {
    const std::string extension = VARNAudioWebapiUtilsGetFileExt(path);
    for (const MediaType &known : kMediaTypes) {
        if (strcasecmp(extension.c_str(), known.extension.data()) == 0) {
            return known.type;
        }
    }
    return kUnknownMedia;
}

Sound SongAction::AskedSound() const {
    return {Asked().Choice("format", {"raw", "mp3", "wav"}, "raw"),
            static_cast<int>(Asked().Number("position", 0, 0, kLongestSong)),
            Asked().Number("bitrate", 0, kLeastBitRate, kMostBitRate)};
}

bool SongAction::SendSong(const VARN_MEDIA_INFO &asked, const Sound &sound) {
    VARN_MEDIA_INFO song = asked;
    const std::string path = RealSongFile(asked);
    const bool isTrack = IsVirtualMusic(&song);
    if (isTrack) {
        CompleteDuration(song);
    }
    const int seconds = WholeSeconds(song, sound.position);
    if (isTrack && seconds == 0) {
        // After its end there are the tracks that follow.
        throw Refusal{Code::kBadParameter};
    }
    song.duration = static_cast<float>(seconds);
    path.copy(song.path, path.size());
    song.path[path.size()] = '\0';
    GiveUpRights(song.path);
    if (sound.format != "raw") {
        return SendTranscoded(song, sound);
    }
    return isTrack || sound.position > 0 ? SendCut(song, sound.position) : SendFile(song.path);
}

bool SongAction::SendTranscoded(const VARN_MEDIA_INFO &song, const Sound &sound) {
    const bool isMp3 = sound.format == "mp3";
    const long long bitRate = isMp3 ? Mp3BitRate(song.frequency, sound.bitRate) : 0;
    return SendEncoded(isMp3 ? "audio/mpeg" : "audio/x-wav", [&] {
        const Filled filled(song, song.duration);
        return VARNAudioTranscodeSong(&song, sound.format.c_str(), sound.position, bitRate);
    });
}

bool SongAction::SendCut(VARN_MEDIA_INFO &song, int position) {
    const std::string extension = VARNAudioWebapiUtilsGetFileExt(song.path);
    if (IsOneOf(kUncut, extension)) {
        throw Refusal{Code::kBadParameter};
    }
    // Without a bit rate no length is announced, and all is sent that there is. It takes a duration
    // to be sent at all.
    song.bitrate = song.duration > 0 ? SampleBitRate(song, extension) : 0;
    const float announced = song.bitrate > 0 ? song.duration : 0;
    if (song.bitrate == 0 && !IsVirtualMusic(&song)) {
        song.duration = static_cast<float>(kLongestSong);
    }
    return SendEncoded(IsOneOf(kTypedCuts, extension) ? MediaTypeOf(song.path) : nullptr, [&] {
        const Filled filled(song, announced);
        return VARNAudioSeekSong(&song, position);
    });
}

}  // namespace tonvale_entry
