// The sound of songs, as an answer.
#pragma once

#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "action.h"
#include "turn.h"
#include "varn/descriptor.h"
#include "varn/mediaindex.h"

namespace tonvale_entry {

inline constexpr long long kLongestSong = 30 * 24 * 3600;  // seconds

inline constexpr Parameter kPosition{.name = "position",
                                     .what = "The second to begin at.",
                                     .kind = Kind::kNumber,
                                     .high = kLongestSong,
                                     .usual = "0"};
inline constexpr Parameter kFormat{.name = "format",
                                   .what = "The format of the sound; raw is the file as it is.",
                                   .usual = "raw",
                                   .choices = "raw mp3 wav"};
inline constexpr Parameter kBitRate{.name = "bitrate",
                                    .what = "Of MP3, in bit/s, one of those in docs/webapi.md.",
                                    .kind = Kind::kNumber,
                                    .low = 8000,
                                    .high = 320000};
inline constexpr std::array kSoundParameters = {kFormat, kPosition, kBitRate};
inline constexpr std::string_view kSoundTypes = "audio/* application/octet-stream";

// A field of the header: a web server in front takes the sound at the listener's pace, and keeps no
// copy in its files.
inline constexpr char kAtListenersPace[] = "X-Accel-Buffering: no\r\n";

// An answer that an encoder makes.
class EncodedAction : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    // Runs `encode`, which writes the whole answer, when there is a turn for its encoder. A null
    // `type` for an answer that does not tell its own.
    template <typename Encode>
    bool SendEncoded(const char *type, const Encode &encode) {
        if (Asked().WantsHeaderOnly()) {
            std::fputs("Status: 200 OK\r\n", stdout);
            if (type != nullptr) {
                std::printf("Content-Type: %s\r\n", type);
            }
            return std::fputs("\r\n", stdout) >= 0 && std::fflush(stdout) == 0;
        }
        TakeTurn(Asked(), Work::kEncoder);
        // Past standard output's buffer, which tells below whether the answer has begun.
        if (!varn::WriteAll(STDOUT_FILENO, kAtListenersPace)) {
            return false;
        }
        if (encode() == 0) {
            return true;
        }
        // Standard output gets its buffer with the first byte.
        if (__fbufsize(stdout) == 0) {
            throw Refusal{Code::kFailed};
        }
        return false;
    }
};

// How a song is to sound: the parameters format, position and bitrate.
struct Sound {
    std::string format;
    int position;  // seconds
    long long bitRate;
};

// The sound of one song.
class SongAction : public EncodedAction {
  public:
    using EncodedAction::EncodedAction;

  protected:
    // Throws a Refusal for parameters that are not what they should be.
    Sound AskedSound() const;
    // Throws a Refusal when the song's file is not there, or lies where it may not.
    bool SendSong(const VARN_MEDIA_INFO &asked, const Sound &sound);

  private:
    bool SendTranscoded(const VARN_MEDIA_INFO &song, const Sound &sound);
    // A part of the song as it is in its file.
    bool SendCut(VARN_MEDIA_INFO &song, int position);
};

// True for a song of which a part can be sent as it is in its file.
bool CanCut(const VARN_MEDIA_INFO &song);

// The largest bit rate that a song's MP3 can have up to `most` bit/s; the least one where that is
// larger.
long long Mp3BitRateWithin(const VARN_MEDIA_INFO &song, long long most);

// The media type of a song's file, by its extension; kUnknownMedia for one that browsers do not
// know.
inline constexpr char kUnknownMedia[] = "application/octet-stream";
const char *MediaTypeOf(const char *path);

}  // namespace tonvale_entry
