#include "ffmpeg_transcode/sound.h"

#include <csignal>
#include <functional>
#include <tuple>

#include "varn/process.h"

namespace {

using namespace tonvale_test;
using Streaming = StreamTest;

TEST_F(Streaming, ChoosesTheSamplingRate) {
    for (const auto &[rate, output] : {std::pair(48000, 48000),
                                       {44100, 44100},
                                       {64000, 44100},
                                       {96000, 48000},
                                       {88200, 44100},
                                       {-48000, 44100}}) {
        EXPECT_EQ(VARNAudioCalcOutputSampleRate(rate), output) << rate;
    }
}

TEST_F(Streaming, StartsTheEncoderWithItsArguments) {
    UseEncoder("exit 0");
    const VARN_MEDIA_INFO song = Song("/music/O'Brien \"%s\" \xff\n$(x).flac", 200.9F);
    VARN_MEDIA_INFO fast = song;
    fast.frequency = 96000;
    VARN_MEDIA_INFO part = Song("/music/a.b/album", 200);
    std::strcpy(part.comment, "virtual_track:1000");
    const std::string path = "-i|" + std::string(song.path) + "|";
    using Case = std::pair<std::function<int()>, std::string>;
    const Case cases[] = {
        {[&] { return VARNAudioTranscodeSong(&song, "mp3", 0, 0); },
         "-v|0|-ss|0|" + path + "-vn|-f|mp3|-ab|128000|-ac|2|-map_metadata|-1|-|\n"},
        {[&] { return VARNAudioTranscodeSong(&song, "mp3", 61, 320000); },
         "-v|0|-ss|61|" + path + "-vn|-f|mp3|-ab|320000|-ac|2|-map_metadata|-1|-|\n"},
        {[&] { return VARNAudioTranscodeSong(&part, "mp3", 61, 0); },
         "-v|0|-ss|1061|-t|139|-i|/music/a.b/album|-vn|-f|mp3|-ab|128000|-ac|2|"
         "-map_metadata|-1|-|\n"},
        {[&] { return VARNAudioSeekSong(&song, 61); },
         "-v|0|-ss|61|-t|139|" + path + "-f|flac|-c:a|copy|-ac|2|-vn|-|\n"},
        {[&] { return VARNAudioSeekSong(&part, 0); },
         "-v|0|-ss|1000|-t|200|-i|/music/a.b/album|-f|b/album|-c:a|copy|-ac|2|-vn|-|\n"},
        {[&] { return VARNAudioTranscodeUrl("http://x/'a b'?c=%d", "mp3", 7); },
         "-v|0|-ss|7|-i|http://x/'a b'?c=%d|-vn|-f|mp3|-|\n"},
        {[&] { return VARNAudioTranscodeUrl("http://x/", "flv", 0); },
         "-v|0|-ss|0|-i|http://x/|-vn|-c:a|adpcm_swf|-ar|44100|-f|flv|-|\n"}};
    for (const auto &[call, asked] : cases) {
        fs::remove(ArgumentFile());
        EXPECT_EQ(Stream(call).result, 0) << asked;
        EXPECT_EQ(Asked(), asked);
    }
    // A WAV answer fails without a header.
    fs::remove(ArgumentFile());
    EXPECT_EQ(Stream([&] { return VARNAudioTranscodeSong(&fast, "wav", 3, 5); }).result, -1);
    EXPECT_EQ(Asked(), "-v|0|-ss|3|" + path +
                           "-vn|-f|wav|-c:a|pcm_s16le|-af|aresample=resampler=soxr|-ar|48000|-ac|2|"
                           "-write_info_tag|0|-|\n");
}

// A song of 20 seconds at 128 kbit/s is announced with 320000 bytes; the encoder writes more.
class Ranges : public StreamTest {
  protected:
    void SetUp() override {
        StreamTest::SetUp();
        sound_ = MakeSound(330000);
        UseEncoder("RATE=16000; sound");
        song_ = Song("/music/a.flac", 20.7F);
    }
    Answered Ask(const std::string &range, int64_t seek = 0) {
        return Stream([&] { return VARNAudioTranscodeSong(&song_, "mp3", seek, 0); }, range);
    }

    std::string sound_;
    VARN_MEDIA_INFO song_;
};

TEST_F(Ranges, AreSlicesOfTheWholeAnswer) {
    const Answered whole = Ask("");
    EXPECT_EQ(whole.result, 0);
    EXPECT_EQ(whole.header,
              "Status: 200 OK\r\nContent-Type: audio/mpeg\r\nContent-Length: 320000\r\n\r\n");
    EXPECT_TRUE(whole.body == sound_.substr(0, 320000));
    using Case = std::tuple<const char *, int, int>;
    const Case cases[] = {{"bytes=0-", 0, 319999},
                          {"bytes=0-0", 0, 0},
                          {"bytes=15999-16001", 15999, 16001},
                          {"bytes=16000-16000", 16000, 16000},
                          {"bytes=100000-200000", 100000, 200000},
                          {"bytes=319999-", 319999, 319999}};
    for (const auto &[range, first, last] : cases) {
        fs::remove(ArgumentFile());
        const Answered part = Ask(range);
        const int length = last - first + 1;
        EXPECT_EQ(part.result, 0) << range;
        EXPECT_EQ(part.header, "Status: 206 Partial content\r\nContent-Range: bytes " +
                                   std::to_string(first) + "-" + std::to_string(last) +
                                   "/320000\r\nContent-Type: audio/mpeg\r\nContent-Length: " +
                                   std::to_string(length) + "\r\n\r\n")
            << range;
        EXPECT_TRUE(part.body == whole.body.substr(first, length)) << range;
        const std::string start = std::to_string(first / 16000);
        EXPECT_NE(Asked().find("-ss|" + start + "|"), std::string::npos) << range;
    }
    const Answered all = Ask("bytes=320000-");
    EXPECT_EQ(all.header, whole.header);
    EXPECT_TRUE(all.body == whole.body);
}

TEST_F(Ranges, NeedALength) {
    const char *const plain = "Status: 200 OK\r\nContent-Type: audio/mpeg\r\n\r\n";
    for (const auto &[duration, seek] : {std::pair(0.0F, int64_t{0}),
                                         {-30.0F, 0},
                                         {20.0F, 20},
                                         {20.0F, 25},
                                         {0.9F, 0},
                                         {1e30F, 0},
                                         {20.0F, INT64_MIN}}) {
        song_.duration = duration;
        UseEncoder("cat \"$SOUND\"");
        const Answered all = Ask("bytes=5-6", seek);
        EXPECT_EQ(all.header, plain) << duration << " " << seek;
        EXPECT_TRUE(all.body == sound_) << duration << " " << seek;
    }
}

TEST_F(Ranges, KeepASongsOwnFormat) {
    song_ = Song("/music/a.ogg", 20);
    const Answered ogg = Stream([&] { return VARNAudioSeekSong(&song_, 4); }, "bytes=20000-20009");
    EXPECT_EQ(ogg.header,
              "Status: 206 Partial content\r\nContent-Range: bytes 20000-20009/256000\r\n"
              "Content-Length: 10\r\n\r\n");
    EXPECT_EQ(ogg.body, sound_.substr(4 * 16000 + 20000, 10));
    std::strcpy(song_.path, "/music/a.MP3");
    EXPECT_TRUE(Stream([&] {
                    return VARNAudioSeekSong(&song_, 4);
                }).header.ends_with("Content-Type: audio/mpeg\r\nContent-Length: 256000\r\n\r\n"));
    // A WAV file's header comes as the encoder writes it.
    std::strcpy(song_.path, "/music/a.Wav");
    const Answered wav = Stream([&] { return VARNAudioSeekSong(&song_, 0); });
    EXPECT_TRUE(
        wav.header.ends_with("Content-Type: audio/x-wav\r\nContent-Length: 320000\r\n\r\n"));
    EXPECT_TRUE(wav.body == sound_.substr(0, 320000));
}

std::string Little(uint32_t number) {
    std::string text;
    for (int byte = 0; byte < 4; ++byte) {
        text += static_cast<char>(number >> (8 * byte));
    }
    return text;
}

// The header of a WAV file. In a pipe its sizes are 0xFFFFFFFF.
std::string WavHeader(uint32_t formatSize, uint32_t riffSize, uint32_t dataSize) {
    return "RIFF" + Little(riffSize) + "WAVEfmt " + Little(formatSize) +
           std::string(formatSize < 16 ? 16 : formatSize, 'f') + "data" + Little(dataSize);
}

class WavRanges : public StreamTest {
  protected:
    static constexpr int kRate = 176400;

    void UseFormat(uint32_t formatSize) {
        std::ofstream(scratch() / "header", std::ios::binary)
            << WavHeader(formatSize, 0xFFFFFFFF, 0xFFFFFFFF);
        UseEncoder("RATE=176400; cat " + (scratch() / "header").string() + "; sound");
    }
    static Answered Ask(const VARN_MEDIA_INFO &song, const std::string &range) {
        return Stream([&] { return VARNAudioTranscodeSong(&song, "wav", 0, 0); }, range);
    }
};

TEST_F(WavRanges, AreSlicesOfTheWholeAnswer) {
    const std::string sound = MakeSound(4 * kRate + 1000);
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 4);
    for (const uint32_t formatSize : {16U, 18U, 40U, 8U, 484U}) {
        UseFormat(formatSize);
        const uint32_t extra = formatSize < 16 ? 0 : formatSize - 16;
        const uint32_t total = 4 * kRate + 44 + extra;
        const Answered whole = Ask(song, "");
        EXPECT_EQ(whole.result, 0);
        EXPECT_EQ(whole.header, "Status: 200 OK\r\nContent-Type: audio/x-wav\r\nContent-Length: " +
                                    std::to_string(total) + "\r\n\r\n");
        EXPECT_TRUE(whole.body ==
                    WavHeader(formatSize, total - 8, 4 * kRate) + sound.substr(0, 4 * kRate))
            << formatSize;
        for (const uint32_t first : {0U, 1U, 43U, 44U, 45U, 44U + extra, 1000U, kRate - 1U,
                                     kRate + 0U, kRate + 43U, kRate + 44U, kRate + 43U + extra,
                                     kRate + 44U + extra, 3U * kRate, total - 45, total - 1}) {
            const Answered part = Ask(song, "bytes=" + std::to_string(first) + "-");
            EXPECT_TRUE(part.header.find("bytes " + std::to_string(first) + "-" +
                                         std::to_string(total - 1) + "/" + std::to_string(total)) !=
                        part.header.npos)
                << part.header;
            // A stream that starts later has a header in place of some sound, which is silence here.
            const uint32_t silent = first < kRate || first % kRate >= 44 + extra
                                        ? 0
                                        : std::min(44 + extra - first % kRate, total - first);
            EXPECT_TRUE(part.body == std::string(silent, '\0') + whole.body.substr(first + silent))
                << formatSize << " " << first;
            const std::string start = "-ss|" + std::to_string(first / kRate) + "|";
            EXPECT_NE(Asked().rfind(start), std::string::npos) << first;
        }
        EXPECT_TRUE(Ask(song, "bytes=40-60").body == whole.body.substr(40, 21)) << formatSize;
    }
    EXPECT_TRUE(Log().empty());
}

TEST_F(WavRanges, AnnounceTheLargestSizeForLongerSongs) {
    MakeSound(1);
    UseFormat(16);
    const std::tuple<int, uint32_t, uint32_t> cases[] = {
        {24347, 24347U * kRate + 36, 24347U * kRate}, {24348, 0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto &[seconds, riffSize, dataSize] : cases) {
        const Answered all = Ask(Song("/music/a.flac", static_cast<float>(seconds)), "");
        EXPECT_TRUE(all.body.substr(0, 44) == WavHeader(16, riffSize, dataSize)) << seconds;
    }
}

TEST_F(WavRanges, StayAsTheEncoderWroteThemWithoutALength) {
    const std::string sound = MakeSound(5000);
    UseFormat(16);
    const Answered all = Ask(Song("/music/a.flac", 0), "bytes=4-7");
    EXPECT_EQ(all.header, "Status: 200 OK\r\nContent-Type: audio/x-wav\r\n\r\n");
    EXPECT_TRUE(all.body == WavHeader(16, 0xFFFFFFFF, 0xFFFFFFFF) + sound);
}

TEST_F(WavRanges, RefuseADamagedHeader) {
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 4);
    const std::string whole = WavHeader(16, 1, 1);
    const std::string noise(600, 'f');
    for (const auto &[header, read] :
         {std::pair(std::string(), "0"),
          {whole.substr(0, 20), "0"},
          {whole.substr(0, 43), "23"},
          {whole.substr(0, 16) + Little(485) + noise, "493"},
          {whole.substr(0, 16) + Little(0xFFFFFFFF) + noise, "[0-9]+"}}) {
        std::ofstream(scratch() / "header", std::ios::binary) << header;
        UseEncoder("cat " + (scratch() / "header").string());
        ClearLog();
        const Answered refused = Ask(song, "");
        EXPECT_EQ(refused.result, -1);
        EXPECT_EQ(refused.header, "");
        EXPECT_TRUE(Logged("audiolib/ffmpeg_transcode:[0-9]+ fread\\(\\) wrong, \\[" +
                           std::string(read) + "\\]$"));
        EXPECT_EQ(Log().size(), 1U);
    }
}

TEST_F(Streaming, RefusesBadArguments) {
    UseEncoder("exit 0");
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 10);
    for (const char *format : {static_cast<const char *>(nullptr), "", "MP3", "flac", "mp3 "}) {
        ClearLog();
        const Answered refused =
            Stream([&] { return VARNAudioTranscodeSong(&song, format, 0, 0); });
        EXPECT_EQ(refused.result, -1);
        EXPECT_EQ(refused.header, "");
        EXPECT_TRUE(Logged(R"(audiolib/ffmpeg_transcode:\d+ Bad parameter$)"));
    }
    EXPECT_EQ(VARNAudioTranscodeSong(nullptr, "mp3", 0, 0), -1);
    EXPECT_EQ(VARNAudioSeekSong(nullptr, 0), -1);

    ClearLog();
    EXPECT_EQ(VARNAudioTranscodeUrl(nullptr, "mp3", 0), -1);
    EXPECT_EQ(VARNAudioTranscodeUrl("http://x/", nullptr, 0), -1);
    EXPECT_TRUE(Log().empty());
    const std::string fits = "http://" + std::string(4086, 'x');
    EXPECT_EQ(Stream([&] { return VARNAudioTranscodeUrl(fits.c_str(), "wav", 0); }).header, "");
    EXPECT_TRUE(Logged(R"(ffmpeg_transcode:\d+ Unsupport format \[wav\]$)"));
    const Answered tooLong =
        Stream([&] { return VARNAudioTranscodeUrl((fits + "x").c_str(), "mp3", 0); });
    EXPECT_EQ(tooLong.result, -1);
    EXPECT_EQ(tooLong.header, "");
    EXPECT_TRUE(Logged(R"(ffmpeg_transcode:\d+ Failed to VLIBCEncShParam \[http://xxx)"));
    EXPECT_FALSE(fs::exists(ArgumentFile()));
}

TEST_F(Streaming, ReportsEncodersThatFail) {
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 10);
    const auto ask = [&](const char *range = "") {
        return Stream([&] { return VARNAudioTranscodeSong(&song, "mp3", 0, 0); }, range);
    };
    const char *const header =
        "Status: 200 OK\r\nContent-Type: audio/mpeg\r\nContent-Length: 160000\r\n\r\n";
    UseEncoder("exit 1");
    EXPECT_EQ(ask().header, header);
    EXPECT_EQ(ask().body, "");
    UseEncoder("printf half; kill -9 $$");
    EXPECT_EQ(ask().body, "half");
    EXPECT_EQ(ask("bytes=2-").body, "lf");
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(ask("bytes=3000-").result, -1);
    EXPECT_TRUE(Logged(R"(fread\(\) wrong, \[4\]$)"));

    // The encoder is there for the first start, which gives the header, and gone for the second.
    UseEncoder("rm \"$0\"; head -c 44 /dev/zero; printf sound");
    const Answered gone =
        Stream([&] { return VARNAudioTranscodeSong(&song, "wav", 0, 0); }, "bytes=1000000-");
    EXPECT_EQ(gone.result, -1);
    EXPECT_TRUE(gone.header.starts_with("Status: 206 Partial content\r\nContent-Range: bytes 10"));
    EXPECT_EQ(gone.header.find("Content-Type"), std::string::npos);
    EXPECT_TRUE(Logged(R"(:\d+ Failed to PopenFFmpeg No such file or directory$)"));
    ClearLog();
    EXPECT_EQ(ask().header, "");
    EXPECT_TRUE(Logged("Failed to PopenFFmpeg No such file"));
    EXPECT_EQ(Stream([] { return VARNAudioTranscodeUrl("http://x/%s", "mp3", 0); }).result, -1);
    EXPECT_TRUE(Logged(R"(:\d+ Failed to popen \[http://x/%s\] No such file or directory$)"));
}

// Runs a call with a descriptor as standard output, and closes it.
int Into(int fd, const std::function<int()> &call) {
    const int saved = fcntl(1, F_DUPFD_CLOEXEC, 3);
    std::fflush(stdout);
    dup2(fd, 1);
    close(fd);
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    const int result = call();
    std::fflush(stdout);
    std::signal(SIGPIPE, before);
    dup2(saved, 1);
    close(saved);
    std::clearerr(stdout);
    return result;
}

int ToClosedPipe(const std::function<int()> &call) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    return Into(ends[1], call);
}

// Sound is moved into a file by splice(2), which does not append. The web server's tests use pipes.
TEST_F(Streaming, WritesTheSameToEveryOutput) {
    const std::string sound = MakeSound(330000);
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 20);
    UseEncoder("RATE=16000; head -c 3 $SOUND; sleep 0.1; START=0; tail -c +4 $SOUND");
    const auto call = [&] { return VARNAudioTranscodeSong(&song, "mp3", 0, 0); };
    const Answered answered = Stream(call);
    EXPECT_TRUE(answered.body == sound.substr(0, 320000));
    const std::string whole = answered.header + answered.body;
    const fs::path appended = scratch() / "appended";
    std::ofstream(appended) << "before ";
    EXPECT_EQ(Into(open(appended.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC), call), 0);
    EXPECT_TRUE(ReadFile(appended) == "before " + whole);
    if (const int full = open("/dev/full", O_WRONLY | O_CLOEXEC); full >= 0) {
        EXPECT_EQ(Into(full, call), -1);
        EXPECT_TRUE(Logged("No space left on device$"));
    }
}

// A listener hears the first sound while the encoder still works.
TEST_F(Streaming, PassesTheFirstBytesOnAtOnce) {
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 0);
    const fs::path out = scratch() / "out";
    UseEncoder("printf first; for i in $(seq 1800); do grep -q first '" + out.string() +
               "' && { printf ' heard'; exit; }; sleep 0.05; done");
    EXPECT_EQ(Into(open(out.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600),
                   [&] { return VARNAudioTranscodeSong(&song, "mp3", 0, 0); }),
              0);
    EXPECT_TRUE(ReadFile(out).ends_with("first heard"));
}

// While it writes, and while it is silent: before its header, before a range, or after some sound.
TEST_F(Streaming, EndsTheEncoderOfAReaderThatWentAway) {
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 10000);
    for (const char *script : {"exec yes", "printf sound; exec sleep 1000"}) {
        UseEncoder(script);
        ClearLog();
        for (const char *format : {"mp3", "wav"}) {
            EXPECT_EQ(ToClosedPipe([&] { return VARNAudioTranscodeSong(&song, format, 0, 0); }),
                      -1);
        }
        setenv("HTTP_RANGE", "bytes=100000-", 1);
        EXPECT_EQ(ToClosedPipe([&] { return VARNAudioSeekSong(&song, 0); }), -1);
        unsetenv("HTTP_RANGE");
        EXPECT_EQ(ToClosedPipe([] { return VARNAudioTranscodeUrl("http://x/", "mp3", 0); }), -1);
        EXPECT_TRUE(Logged(R"(audiolib/ffmpeg_transcode:\d+ fwrite\(\) wrong, .* Broken pipe$)"));
    }
}

// The first encoder, whose sound a range does not need, never ends by itself.
TEST_F(Ranges, DoNotWaitForAnEncoderThatIsNotNeeded) {
    UseEncoder("[ $START = 0 ] && exec sleep 1000; RATE=16000; sound");
    alarm(60);
    EXPECT_TRUE(Ask("bytes=100000-").body == sound_.substr(100000, 220000));
    alarm(0);
}

TEST_F(Streaming, RunsTheEncoderAsRoot) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root's rights";
    }
    UseEncoder("id -u; id -g");
    const VARN_MEDIA_INFO song = Song("/music/a.flac", 0);
    ASSERT_EQ(ResetCredentialsByName("alice"), 0);
    const std::string body =
        Stream([&] { return VARNAudioTranscodeSong(&song, "mp3", 0, 0); }).body;
    EXPECT_EQ(geteuid(), kAlice);
    ASSERT_EQ(ResetCredentialsByName("root"), 0);
    EXPECT_EQ(body, "0\n0\n");
}

}  // namespace
