#include "song_sound.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include "song_file.h"
#include "tonvale/streaming.h"
#include "tonvale/webapi.h"

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

// What a track of a cue sheet lacks until somebody asks: the last one has no end in the sheet. By
// the path that the library knows it under.
void CompleteDuration(VARN_MEDIA_INFO &track) {
    if (track.duration < 0) {
        VARNAudioWebapiCorrectVirtualMusicDuration(&track);
    }
}

// Whether a track of a cue sheet has sound at this second, as the encoder counts. What is asked for
// behind its end would be the tracks that follow.
bool HasSecond(const VARN_MEDIA_INFO &track, int second) {
    return track.duration < static_cast<float>(kLongestSong) &&
           static_cast<float>(second) < std::trunc(track.duration);
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
    if (IsVirtualMusic(&song)) {
        CompleteDuration(song);
        if (!HasSecond(song, sound.position)) {
            throw Refusal{Code::kBadParameter};
        }
    }
    path.copy(song.path, path.size());
    song.path[path.size()] = '\0';
    if (sound.format != "raw") {
        return SendEncoded(sound.format == "mp3" ? "audio/mpeg" : "audio/x-wav", [&] {
            return VARNAudioTranscodeSong(&song, sound.format.c_str(), sound.position,
                                          sound.bitRate);
        });
    }
    if (sound.position > 0 || IsVirtualMusic(&song)) {
        const std::string extension = VARNAudioWebapiUtilsGetFileExt(song.path);
        if (IsOneOf(kUncut, extension)) {
            throw Refusal{Code::kBadParameter};
        }
        return SendEncoded(IsOneOf(kTypedCuts, extension) ? MediaTypeOf(song.path) : nullptr,
                           [&] { return VARNAudioSeekSong(&song, sound.position); });
    }
    return SendFile(song.path);
}

}  // namespace tonvale_entry
