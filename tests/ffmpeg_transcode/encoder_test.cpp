// The streamer with the real encoder.
#include <tuple>

#include "ffmpeg_transcode/sound.h"
#include "support/sounds.h"

namespace {

using namespace tonvale_test;

class RealEncoder : public StreamTest {
  protected:
    // A file of noise with tags. The options choose its format.
    static std::string Make(const std::string &name, double seconds, const std::string &options) {
        return tonvale_test::MakeSound(
            scratch() / name,
            "anoisesrc=seed=5:amplitude=0.5:sample_rate=44100:duration=" + std::to_string(seconds),
            "-metadata title=x -metadata artist=y " + options);
    }

    static Answered Transcode(const VARN_MEDIA_INFO &song, const char *format) {
        return Stream([&] { return VARNAudioTranscodeSong(&song, format, 0, 0); });
    }

    // Seconds of an answer's sound.
    static double SecondsOf(const std::string &body, const std::string &name) {
        const fs::path path = scratch() / name;
        std::ofstream(path, std::ios::binary) << body;
        const std::size_t size = Transcode(Song(path, 0), "wav").body.size();
        return (static_cast<double>(size) - 44) / 176400;
    }
};

TEST_F(RealEncoder, SeeksInEveryFormatOfItsOwn) {
    using Case = std::tuple<const char *, const char *, double, float>;
    const Case cases[] = {{"a.mp3", "-c:a libmp3lame -b:a 128k", 0.06, 8},
                          {"a.flac", "", 0.2, 8},
                          {"a.ogg", "-c:a libvorbis", 0.1, 8},
                          // Longer than one fragment.
                          {"a.m4a", "-c:a aac -b:a 32k", 0.1, 110},
                          {"b.m4a", "-c:a flac -strict -2 -f mp4", 0.2, 8},
                          {"a.opus", "-c:a libopus -ar 48000", 0.1, 8}};
    for (const auto &[name, options, tolerance, seconds] : cases) {
        VARN_MEDIA_INFO song = Song(Make(name, seconds, options), seconds);
        song.bitrate = 0;
        const Answered late = Stream([&] { return VARNAudioSeekSong(&song, 3); });
        EXPECT_EQ(late.result, 0) << name;
        EXPECT_NEAR(SecondsOf(late.body, name), seconds - 3, tolerance) << name;
    }
}

// Samples keep their format, and silence follows them up to the announced end.
TEST_F(RealEncoder, FillsUpWavFiles) {
    const std::pair<const char *, unsigned> forms[] = {
        {"pcm_u8", 1}, {"pcm_s16le", 2}, {"pcm_s24le", 3}, {"pcm_f32le", 4}};
    setenv(varn::kEncoderFill, "3", 1);
    for (const auto &[codec, bytes] : forms) {
        const std::string path = Make("a.wav", 2.5, std::string("-ac 1 -c:a ") + codec);
        VARN_MEDIA_INFO song = Song(path, 3);
        song.bitrate = 44100 * 8 * bytes;
        const std::string late = Stream([&] { return VARNAudioSeekSong(&song, 1); }).body;
        const std::string file = ReadFile(path);
        const std::string sound = file.substr(file.find("data") + 8 + 44100 * bytes);
        const std::size_t start = late.find("data") + 8;
        EXPECT_EQ(late.size(), 2 * 44100 * bytes) << codec;
        EXPECT_TRUE(late.substr(start).starts_with(sound)) << codec;
        EXPECT_EQ(late.find_first_not_of(bytes == 1 ? '\x80' : '\0', start + sound.size()),
                  late.npos)
            << codec;
    }
    unsetenv(varn::kEncoderFill);
}

// The rate in a song's header may be lower than the one that its decoder returns.
TEST_F(RealEncoder, KeepsBitRatesOfLowSamplingRates) {
    const VARN_MEDIA_INFO song = Song(Make("a.flac", 4, ""), 4);
    const Answered low = Stream([&] { return VARNAudioTranscodeSong(&song, "mp3", 0, 8000); });
    EXPECT_NEAR(SecondsOf(low.body, "a.mp3"), 4, 0.2);
}

TEST_F(RealEncoder, ReadsNoOtherFileThanTheSong) {
    const std::string hidden = fs::path(Make("hidden.wav", 1, "")).filename();
    const std::pair<const char *, std::string> lists[] = {
        {"concat.mp3", "ffconcat version 1.0\nfile " + hidden + "\n"},
        {"hls.mp3", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + hidden + "\n"}};
    for (const auto &[name, text] : lists) {
        std::ofstream(scratch() / name) << text;
        EXPECT_EQ(Transcode(Song(scratch() / name, 1), "mp3").body, "") << name;
    }
}

}  // namespace
