// The streamer with the real encoder.
#include <cmath>
#include <memory>

#include "ffmpeg_transcode/sound.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::Answered;

class RealEncoder : public tonvale_test::StreamTest {
  protected:
    // A file of noise with tags. The options settle its format.
    static std::string Make(const std::string &name, double seconds, const std::string &options) {
        const std::string path = scratch() / name;
        const std::string command =
            "ffmpeg -v error -y -f lavfi -i 'anoisesrc=seed=5:amplitude=0.5:"
            "sample_rate=44100:duration=" +
            std::to_string(seconds) + "' -metadata title=x -metadata artist=y " + options + " \"" +
            path + "\"";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return path;
    }

    // Seconds that the probe finds in an answer.
    static double DurationOf(const std::string &body, const std::string &name) {
        const fs::path path = scratch() / name;
        std::ofstream(path, std::ios::binary) << body;
        const std::string command =
            "ffprobe -v error -count_packets -show_entries "
            "stream=nb_read_packets:format=duration -of csv=p=0 '" +
            path.string() + "' | tail -n 1";
        std::unique_ptr<std::FILE, int (*)(std::FILE *)> pipe(popen(command.c_str(), "re"), pclose);
        char line[64] = "";
        EXPECT_NE(std::fgets(line, sizeof line, pipe.get()), nullptr);
        return std::atof(line);
    }

    static Answered Transcode(const VARN_MEDIA_INFO &song, const char *format, int64_t seek = 0,
                              const std::string &range = "") {
        return Stream([&] { return VARNAudioTranscodeSong(&song, format, seek, 0); }, range);
    }
};

TEST_F(RealEncoder, GivesWavRangesThatAreSlices) {
    const std::string path = Make("it's.flac", 6, "-ac 2");
    const VARN_MEDIA_INFO song = Song(path, 6);
    const Answered whole = Transcode(song, "wav");
    const std::size_t total = 6 * 176400 + 44;
    ASSERT_EQ(whole.result, 0);
    ASSERT_EQ(whole.body.size(), total);
    EXPECT_EQ(whole.body.substr(36, 4), "data");
    EXPECT_NEAR(DurationOf(whole.body, "whole.wav"), 6, 0.0001);
    for (const std::size_t first : {std::size_t{0}, std::size_t{10}, std::size_t{176400 + 43},
                                    std::size_t{176400 + 44}, std::size_t{500001}, total - 1}) {
        const Answered part = Transcode(song, "wav", 0, "bytes=" + std::to_string(first) + "-");
        EXPECT_TRUE(part.body == whole.body.substr(first)) << first;
    }
    const Answered late = Transcode(song, "wav", 2);
    EXPECT_TRUE(late.body.substr(44) == whole.body.substr(44 + 2 * 176400));
    EXPECT_TRUE(Log().empty());
}

TEST_F(RealEncoder, GivesDurationsWithinAFrame) {
    constexpr double kFrame = 1152.0 / 44100;
    // The encoder's own delay comes on top; the announced length cuts what is over.
    constexpr double kMp3 = 2 * kFrame;
    const std::string path = Make("song.flac", 10, "-ac 2");
    const VARN_MEDIA_INFO song = Song(path, 10);
    EXPECT_NEAR(DurationOf(Transcode(song, "mp3").body, "a.mp3"), 10, kMp3);
    EXPECT_NEAR(DurationOf(Transcode(song, "mp3", 4).body, "b.mp3"), 6, kMp3);
    VARN_MEDIA_INFO part = Song(path, 3);
    std::strcpy(part.comment, "virtual_track:5");
    EXPECT_NEAR(DurationOf(Transcode(part, "mp3").body, "c.mp3"), 3, kMp3);
    EXPECT_NEAR(DurationOf(Transcode(part, "wav", 1).body, "d.wav"), 2, 0.0001);
}

TEST_F(RealEncoder, SeeksInEveryFormatOfItsOwn) {
    struct Case {
        const char *name;
        const char *options;
        double tolerance;
    };
    const Case cases[] = {
        {"a.mp3", "-c:a libmp3lame -b:a 128k", 0.06},
        {"a.flac", "", 0.2},
        {"a.ogg", "-c:a libvorbis", 0.1},
        {"a.wav", "", 0.05},
        {"a.m4a", "-c:a aac", 0.1},
        {"a.opus", "-c:a libopus -ar 48000", 0.1},
    };
    for (const Case &own : cases) {
        VARN_MEDIA_INFO song = Song(Make(own.name, 8, own.options), 8);
        // Announced as more than it is, so that nothing is cut.
        song.bitrate = 3000000;
        const Answered late = Stream([&] { return VARNAudioSeekSong(&song, 3); });
        EXPECT_EQ(late.result, 0) << own.name;
        std::ofstream(scratch() / own.name, std::ios::binary) << late.body;
        VARN_MEDIA_INFO copy = Song(scratch() / own.name, 0);
        const std::size_t size = Transcode(copy, "wav").body.size();
        EXPECT_NEAR(static_cast<double>(size) / 176400, 5, own.tolerance) << own.name;
    }
}

TEST_F(RealEncoder, AnnouncesNoMoreThanItMaySend) {
    // Shorter and longer than the library says.
    const std::string path = Make("song.mp3", 4, "-c:a libmp3lame -b:a 320k");
    for (const float duration : {1.0F, 3.0F, 9.0F}) {
        const Answered answer = Transcode(Song(path, duration), "wav");
        EXPECT_LE(answer.body.size(), static_cast<std::size_t>(duration) * 176400 + 44);
    }
}

TEST_F(RealEncoder, ReadsNoOtherFileThanTheSong) {
    const std::string hidden = fs::path(Make("hidden.wav", 1, "")).filename();
    const std::pair<const char *, std::string> lists[] = {
        {"concat.mp3", "ffconcat version 1.0\nfile " + hidden + "\n"},
        {"hls.mp3", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + hidden + "\n"},
    };
    for (const auto &[name, text] : lists) {
        std::ofstream(scratch() / name) << text;
        EXPECT_EQ(Transcode(Song(scratch() / name, 1), "mp3").body, "") << name;
    }
}

}  // namespace
