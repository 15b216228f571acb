// VARN.Tonvale.Stream: the sound of songs and of remote streams.
#include "tonvale/streaming.h"

#include "remote_url.h"
#include "service/songs/songs.h"
#include "song_sound.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

constexpr Parameter kRemoteFormat{
    .name = "format", .what = "The format of the sound.", .usual = "mp3", .choices = "mp3 flv"};

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
        const std::string format = Asked().Choice(kRemoteFormat);
        const long long position = Asked().Number(kPosition);
        if (!IsPermittedUrl(url)) {
            throw Refusal{Code::kBadParameter, "url"};
        }
        return SendEncoded(format == "mp3" ? "audio/mpeg" : "video/x-flv", [&] {
            return VARNAudioTranscodeUrl(url.c_str(), format.c_str(), position);
        });
    }
};

constexpr auto kStreamParameters =
    Join(Parameter{.name = "id", .what = "The song.", .isRequired = true}, kSoundParameters);
constexpr std::array kRemoteParameters = {
    Parameter{.name = "url",
              .what = "http or https, at most 2000 bytes, of a public host.",
              .isRequired = true},
    kRemoteFormat, kPosition};

constexpr Method kMethods[] = {
    {.name = "stream",
     .make = Make<Stream>,
     .isMedia = true,
     .lasts = true,
     .summary = "The sound of a song",
     .parameters = kStreamParameters,
     .answer = kSoundTypes},
    {.name = "remote",
     .make = Make<Remote>,
     .asksElsewhere = true,
     .isMedia = true,
     .takesRoot = false,
     .summary = "The sound that the encoder finds at an address, without a length",
     .parameters = kRemoteParameters,
     .answer = "audio/mpeg video/x-flv"},
};

}  // namespace

const Api kStreamApi{.name = "VARN.Tonvale.Stream",
                     .methods = kMethods,
                     .summary =
                         "The sound of songs and of remote streams, for those with the "
                         "right streaming"};

}  // namespace tonvale_entry
