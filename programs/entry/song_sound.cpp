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

// A format that the encoder can cut sound out of without encoding it again. The container that it
// writes follows from the extension. The sound can be copied if the file's contents are in that
// container.
struct CutFormat {
    std::string_view extension;
    std::string_view container;  // in the library's words
    const char *type = nullptr;  // the media type of a part; the library gives the others none
    std::vector<std::string_view> uncutCodecs = {};  // which the encoder cannot write to it
};

// Null for a song that cannot be cut. AIFF is not here: its header has lengths, which the encoder
// cannot go back to on a pipe. The encoder writes no APE, MPC, DSF and DSDIFF.
const CutFormat *CutFormatOf(const VARN_MEDIA_INFO &song) {
    static const CutFormat kFormats[] = {
        {"mp3", "mp3", "audio/mpeg", {"mp1", "mp2"}},
        {"mp2", "mp3"},
        {"flac", "flac"},
        {"ogg", "ogg"},
        {"oga", "ogg"},
        {"opus", "ogg"},
        {"spx", "ogg"},
        {"m4a", "mp4", nullptr, {"pcm"}},
        {"m4b", "mp4", nullptr, {"pcm"}},
        {"mp4", "mp4", nullptr, {"pcm"}},  // a song may be a link to a file of this name
        {"wav", "wav", "audio/x-wav"},
        {"wma", "asf"},
        {"wv", "wv"},
        {"tta", "tta"},
        {"aac", "adts"},
        {"mka", "matroska"},
    };
    const std::string extension = VARNAudioWebapiUtilsGetFileExt(song.path);
    const auto found =
        std::find_if(std::begin(kFormats), std::end(kFormats), [&](const CutFormat &format) {
            return strcasecmp(extension.c_str(), format.extension.data()) == 0;
        });
    if (found == std::end(kFormats) || found->container != song.container ||
        std::count(found->uncutCodecs.begin(), found->uncutCodecs.end(), song.codec) > 0) {
        return nullptr;
    }
    return found;
}

// The bit rates of MP3 (ISO/IEC 11172-3 and 13818-3, 2.4.2.3); of MPEG-2.5 those of its encoders.
// For any other rate the encoder would take another one than is announced.
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
        throw Refusal{Code::kBadParameter, "bitrate"};
    }
    return asked;
}

// The exact bit rate of the samples in a WAV file; the library rounds it to 1000 bit/s. 0 for any
// other song: the length of its parts is unknown.
unsigned SampleBitRate(const VARN_MEDIA_INFO &song) {
    const double byte = 8.0 * song.frequency * song.channel;  // one a sample
    if (std::strcmp(song.container, "wav") != 0 || std::strcmp(song.codec, "pcm") != 0 ||
        byte <= 0) {
        return 0;
    }
    const double exact = std::round(song.bitrate / byte) * byte;
    const bool isExact = std::fabs(exact - song.bitrate) * 100 < exact && exact < UINT_MAX;
    return isExact ? static_cast<unsigned>(exact) : 0;
}

// A sheet does not tell where its last track ends: that takes a look at the file. Needs the path
// that the library has.
void CompleteDuration(VARN_MEDIA_INFO &track) {
    if (track.duration < 0) {
        VARNAudioWebapiCorrectVirtualMusicDuration(&track);
    }
}

// A song's seconds, rounded up; 0 when they are not known, or none are left after the position.
int WholeSeconds(const VARN_MEDIA_INFO &song, int position) {
    const float seconds = std::ceil(song.duration);
    return seconds > static_cast<float>(position) && seconds < static_cast<float>(kLongestSong)
               ? static_cast<int>(seconds)
               : 0;
}

// While it lives, the encoders of this process fill a song with silence until it is so many seconds
// long.
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

}  // namespace

bool CanCut(const VARN_MEDIA_INFO &song) {
    return CutFormatOf(song) != nullptr;
}

long long Mp3BitRateWithin(const VARN_MEDIA_INFO &song, long long most) {
    const std::vector<long long> &known = Mp3BitRates(song.frequency);
    const auto above = std::upper_bound(known.begin(), known.end(), most);
    return above != known.begin() ? *std::prev(above) : known.front();
}

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
    return {Asked().Choice(kFormat), static_cast<int>(Asked().Number(kPosition)),
            Asked().Number(kBitRate)};
}

bool SongAction::SendSong(const VARN_MEDIA_INFO &asked, const Sound &sound) {
    VARN_MEDIA_INFO song = asked;
    const SongFile file = OpenSongFile(asked);
    const bool isTrack = IsVirtualMusic(&song);
    if (isTrack) {
        CompleteDuration(song);
    }
    const int seconds = WholeSeconds(song, sound.position);
    if (isTrack && seconds == 0) {
        // After its end there are the tracks that follow.
        throw Refusal{Code::kBadParameter, "position"};
    }
    // The library knows only the whole second in which a track starts. It may start, and so end, up
    // to a second later.
    song.duration = static_cast<float>(isTrack ? seconds + 1 : seconds);
    const bool isWhole = sound.format == "raw" && !isTrack && sound.position == 0;
    if (isWhole) {
        GiveUpRights();  // the file is open
        TakeTurn(Asked(), Work::kFile);
        return SendFile(file, MediaTypeOf(file.path.c_str()), Asked().WantsHeaderOnly());
    }
    file.path.copy(song.path, file.path.size());
    song.path[file.path.size()] = '\0';
    GiveUpRights(song.path);
    return sound.format == "raw" ? SendCut(song, sound.position) : SendTranscoded(song, sound);
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
    const CutFormat *const format = CutFormatOf(song);
    if (format == nullptr) {
        throw Refusal{Code::kBadParameter, "format",
                      "a part of this song cannot be cut out; ask for mp3 or wav"};
    }
    // Without a bit rate no length is announced, and everything that there is goes out. The encoder
    // needs some duration to send anything.
    song.bitrate = song.duration > 0 ? SampleBitRate(song) : 0;
    const float announced = song.bitrate > 0 ? song.duration : 0;
    if (song.bitrate == 0 && !IsVirtualMusic(&song)) {
        song.duration = static_cast<float>(kLongestSong);
    }
    return SendEncoded(format->type, [&] {
        const Filled filled(song, announced);
        return VARNAudioSeekSong(&song, position);
    });
}

}  // namespace tonvale_entry
