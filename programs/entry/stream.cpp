// VARN.Tonvale.Stream: the sound of songs and of remote streams.
#include "tonvale/streaming.h"

#include "remote_url.h"
#include "service/songs.h"
#include "song_sound.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

class Stream : public SongAction {
  public:
    using SongAction::SongAction;

  protected:
    bool Send() override {
        Asked().Require(RIGHT_STREAMING);
        const Sound sound = AskedSound();
        return SendSong(
            tonvale_service::ReadSong(Asked().User().GetLoginUID(), Asked().RequiredText("id")),
            sound);
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

constexpr Method kMethods[] = {
    {.name = "stream", .make = Make<Stream>, .isMedia = true, .lasts = true},
    {.name = "remote",
     .make = Make<Remote>,
     .asksElsewhere = true,
     .isMedia = true,
     .takesRoot = false},
};

}  // namespace

const Api kStreamApi{"VARN.Tonvale.Stream", kMethods};

}  // namespace tonvale_entry
