#include <unistd.h>

#include <array>
#include <climits>
#include <tuple>

#include "platform/child.h"
#include "support/fixture.h"
#include "tonvale/players.h"
#include "varn/mixer.h"
#include "varn/packageconf.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class SoundTest : public SystemTest {
  protected:
    static constexpr int kPcm = 1 << 4;

    static std::string MixerPath(int card) {
        return "/dev/mixer" + (card == 0 ? std::string() : std::to_string(card));
    }
    // A plain file in a mixer's place.
    static void PlugIn(int card, int devices, int channel, int level) {
        WriteFile(MixerPath(card), "devices=" + std::to_string(devices) + "\nlevel" +
                                       std::to_string(channel) + "=" + std::to_string(level) +
                                       "\n");
    }
    static bool HasLevel(int card, int channel, int level) {
        const std::string text = ReadFile(At(MixerPath(card)));
        return text.find("level" + std::to_string(channel) + "=\"" + std::to_string(level) +
                         "\"\n") != std::string::npos;
    }
    // A device that opens but is no mixer.
    static void PlugInDeaf(int card) {
        fs::create_directories(At("/dev"));
        fs::create_symlink("/dev/null", At(MixerPath(card)));
    }
    static void Configure(const std::string &text) { WriteFile(varn::path::kPackageConf, text); }

    // In a child, because the call reads as root and leaves the process as the package.
    static void ExpectInChild(int (*call)() noexcept, int expected, const char *what) {
        EXPECT_TRUE(HoldsInChild([&] { EXPECT_EQ(call(), expected) << what; }));
    }
};

TEST_F(SoundTest, TheEqualizerProfileIsFoundByItsName) {
    const std::string on = "audio_enable_equalizer=\"yes\"\naudio_default_equalizer=\"Rock2\"\n";
    const std::string missing = "missing";
    const std::string folder = "folder";
    const std::string failedToOpen = "-1 before ctrl:# Failed to open the system EQ profile [" +
                                     At(varn::path::kSystemEqualizer).string() + "].\n";
    // The configuration, the system's profiles and the user's; what is returned, written and
    // logged.
    using Case = std::array<std::string, 4>;
    for (const auto &[conf, system, user, result] :
         {Case{"audio_default_equalizer=Rock2\n", "Rock2:1\n", "", "0 before"},
          Case{"audio_enable_equalizer=YES\naudio_default_equalizer=Rock2\n", "Rock2:1\n", "",
               "0 before"},
          Case{"audio_enable_equalizer=yes\n", missing, "", "0 before"},
          Case{"audio_enable_equalizer=yes\naudio_default_equalizer=\n", ":1\n", "", "0 before"},
          Case{on, "Pop:9\nRock2: 1 2 -3.5 \t\r\n", "Rock2:8\n", "1 1 2 -3.5"},
          Case{on, "Pop:9\n", "Rock2:8", "1 8"}, Case{on, "Pop:9\n", "rock2:8\n", "0 before"},
          Case{on, "Rock:1\nRock2:2\n", "", "1 1"},  // the beginning of the name
          Case{on, "Rock23:1\nRock2:2\n", "", "1 2"},
          Case{on, "Rock2:a:1\nRock2:2\n", "", "1 2"},  // the last colon
          Case{on, "Rock2:  \n", "", "1 "},
          Case{on, "Rock2:    12345   89012     567890\n", "", "1 12345   890"},
          Case{on, "Pop\nRock2:2\n", "Rock2:3\n",
               "-1 before ctrl:# The EQ profile [Pop] is illegal.\n"},
          Case{on, "\nRock2:2\n", "", "-1 before ctrl:# The EQ profile [] is illegal.\n"},
          Case{on, std::string(1100, 'x') + ":1\nRock2:2\n", "",
               "-1 before ctrl:# The EQ profile [" + std::string(1023, 'x') + "] is illegal.\n"},
          Case{on, "Pop:1\n", "Rock2\n", "-1 before ctrl:# The EQ profile [Rock2] is illegal.\n"},
          Case{on, "Pop:1\n", missing, "-1 before"}, Case{on, missing, "Rock2:3\n", failedToOpen},
          Case{on, folder, "Rock2:3\n", failedToOpen}}) {
        Configure(conf);
        for (const auto &[path, text] : {std::pair(varn::path::kSystemEqualizer, &system),
                                         std::pair(varn::path::kUserEqualizer, &user)}) {
            fs::remove(At(path));
            if (*text == folder) {
                fs::create_directories(At(path));
            } else if (*text != missing) {
                WriteFile(path, *text);
            }
        }
        ClearLog();
        char out[16] = "before";
        const int got = VARNAudioGetEqualizer(out, sizeof out);
        std::string log = LogTexts(Log());
        log.resize(log.find('\n') + 1);  // its first line
        EXPECT_EQ(std::to_string(got) + " " + out + (log.empty() ? "" : " ") + log, result);
    }
}

TEST_F(SoundTest, TheCardIsTheOneWithTheHighestNumber) {
    char mixer[16] = "before";
    char dsp[16] = "before";
    EXPECT_EQ(VARNAudioCardGet(mixer, sizeof mixer, dsp, sizeof dsp), -1);
    EXPECT_STREQ(mixer, "before");
    PlugIn(8, kPcm, 4, 0);
    for (const auto &[card, number] : {std::pair(0, ""), {1, "1"}, {7, "7"}}) {
        PlugIn(card, kPcm, 4, 0);
        EXPECT_EQ(VARNAudioCardGet(mixer, sizeof mixer, dsp, sizeof dsp), card);
        EXPECT_EQ(mixer, std::string("/dev/mixer") + number);
        EXPECT_EQ(dsp, std::string("/dev/dsp") + number);
    }
    EXPECT_EQ(VARNAudioCardGet(nullptr, 16, nullptr, 16), 7);
    EXPECT_EQ(VARNAudioCardGet(mixer, 5, dsp, 0), 7);
    EXPECT_STREQ(mixer, "/dev");
    EXPECT_STREQ(dsp, "/dev/dsp7");
}

TEST_F(SoundTest, TheConfiguredVolumeIsBetween0And100) {
    EXPECT_EQ(VARNAudioConfVolumeGet(), -1) << "nothing configured";
    const std::pair<const char *, int> kCases[] = {
        {"", -1},    {"loud", -1}, {"42", 42}, {"\" 7%\"", 7}, {"-5", 0}, {"00000000000000042", 0},
        {"150", 100}};
    for (const auto &[configured, volume] : kCases) {
        Configure("audio_volume=" + std::string(configured) + "\n");
        EXPECT_EQ(VARNAudioConfVolumeGet(), volume) << configured;
    }
    const std::pair<int, const char *> kStored[] = {{150, "100"}, {-5, "0"},        {0, "0"},
                                                    {55, "55"},   {INT_MAX, "100"}, {INT_MIN, "0"}};
    for (const auto &[set, stored] : kStored) {
        EXPECT_EQ(VARNAudioConfVolumeSet(set), 0);
        char text[8];
        EXPECT_GE(VARNAudioConfGet("audio_volume", text, sizeof text), 1);
        EXPECT_STREQ(text, stored);
    }
    fs::remove_all(At(varn::path::kPackageConf).parent_path());
    EXPECT_EQ(VARNAudioConfVolumeSet(5), -1);
}

TEST_F(SoundTest, SettingTheVolumeReachesEveryMixer) {
    EXPECT_EQ(VARNAudioKernelVolumeSet(50), -1) << "no card";
    PlugInDeaf(5);
    EXPECT_EQ(VARNAudioKernelVolumeSet(50), -1) << "a device that refuses";
    PlugIn(6, 0, 4, 1);
    EXPECT_EQ(VARNAudioKernelVolumeSet(50), -1) << "no channel";
    PlugIn(0, kPcm | 1, 4, 0);
    PlugIn(3, 1 << 24 | 1 << 6, 6, 0);
    for (const auto &[volume, level] : {std::pair(50, 50), {150, 100}, {-5, 0}, {INT_MIN, 0}}) {
        EXPECT_EQ(VARNAudioKernelVolumeSet(volume), 0);
        EXPECT_TRUE(HasLevel(0, 4, level * 257)) << volume;
        EXPECT_TRUE(HasLevel(3, 6, level * 257)) << volume;
    }
}

TEST_F(SoundTest, ReadingTheVolumeAsksTheHighestCard) {
    const std::tuple<const char *, int, int, int, int, int> kCases[] = {
        {"both sides", kPcm, 4, 80 << 8 | 40, 60, 1},
        {"rounded down", kPcm, 4, 1 << 8 | 2, 1, 1},
        {"beyond the scale", kPcm, 4, 0xFFFF, 100, 1},
        {"the channel for PCM first", kPcm | 1, 4, 30 << 8 | 30, 30, 1},
        {"else the lowest", 1 << 9 | 1 << 24, 9, 20 << 8 | 20, 20, 1},
        {"none that is known", 1 << 25, 25, 5 << 8 | 5, 0, 0},
        {"a level that cannot be read", kPcm, 5, 5, -1, 1}};
    ExpectInChild(VARNAudioKernelVolumeGet, -1, "no card");
    ExpectInChild(VARNAudioCheckHardwareMixer, -1, "no card");
    PlugIn(1, kPcm, 4, 99 << 8 | 99);
    for (const auto &[what, devices, channel, level, volume, hasMixer] : kCases) {
        PlugIn(2, devices, channel, level);
        ExpectInChild(VARNAudioKernelVolumeGet, volume, what);
        ExpectInChild(VARNAudioCheckHardwareMixer, hasMixer, what);
    }
    PlugInDeaf(3);
    ExpectInChild(VARNAudioKernelVolumeGet, -1, "a device that refuses");
    ExpectInChild(VARNAudioCheckHardwareMixer, -1, "a device that refuses");
}

TEST_F(SoundTest, ReadingTheVolumeRunsAsRootAndEndsAsThePackage) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root's rights";
    }
    PlugIn(2, kPcm, 4, 50 << 8 | 50);
    fs::permissions(At(MixerPath(2)), fs::perms(0600));
    const uid_t package = GetUserIdFromName("Tonvale");
    for (const auto call : {VARNAudioKernelVolumeGet, VARNAudioCheckHardwareMixer}) {
        for (const char *caller : {"Tonvale", "alice"}) {
            EXPECT_TRUE(HoldsInChild([&] {
                ASSERT_EQ(ResetCredentialsByName(caller), 0);
                EXPECT_GT(call(), 0);
                EXPECT_EQ(geteuid(), package);
            })) << caller;
        }
    }
}

TEST_F(SoundTest, EachVolumeIsCopiedToTheOther) {
    EXPECT_EQ(VARNAudioVolumeSyncConf(), -1) << "no kernel volume";
    EXPECT_EQ(VARNAudioVolumeSyncKernel(), -1) << "no configured volume";
    const std::pair<const char *, int> kCases[] = {
        {"37\n", 37},  {" 12 of 100\n88\n", 12}, {"250\n", 100}, {"-3\n", 0},
        {"mute\n", 0}, {"0000000055\n", 0},      {"\n", 0}};
    for (const auto &[kernel, volume] : kCases) {
        WriteFile(varn::path::kKernelVolume, kernel);
        EXPECT_EQ(VARNAudioVolumeSyncConf(), 0) << kernel;
        EXPECT_EQ(VARNAudioConfVolumeGet(), volume) << kernel;
    }
    WriteFile(varn::path::kKernelVolume, "");
    EXPECT_EQ(VARNAudioVolumeSyncConf(), -1) << "an empty file";

    Configure("audio_volume=66\n");
    EXPECT_EQ(VARNAudioVolumeSyncKernel(), -1) << "no card";
    PlugIn(0, kPcm, 4, 0);
    EXPECT_EQ(VARNAudioVolumeSyncKernel(), 0);
    EXPECT_TRUE(HasLevel(0, 4, 66 * 257));
}

TEST_F(SoundTest, HighResolutionIsAFormatOfTheHighestCard) {
    EXPECT_EQ(VARNAudioCheckHardwareSupportHighRes(), -1) << "no card";
    const auto check = [](int card, const std::string &text) {
        WriteFile("/proc/asound/card" + std::to_string(card) + "/stream0", text);
        return VARNAudioCheckHardwareSupportHighRes();
    };
    for (const std::string &high :
         {std::string("  Format: S16_LE\n  Format: S24_3LE\n"),
          "Format" + std::string(61, ' ') + "24\n", std::string("  Format: S32_LE\n")}) {
        EXPECT_EQ(check(1, high), 0) << high;
    }
    for (const std::string &low : {std::string("  Rates: 24000, 32000\n  Format: S16_LE\n"),
                                   std::string("  format: S32_LE\n"), std::string(),
                                   "Format" + std::string(56, ' ') + "24\n"}) {
        EXPECT_EQ(check(1, low), -1) << low;  // the last is cut where the reader's line ends
    }
    EXPECT_EQ(check(1, "Format: S32_LE\n") + check(0, "Format: S16_LE\n"), 0);
    fs::create_directories(At("/proc/asound/card4"));
    EXPECT_EQ(VARNAudioCheckHardwareSupportHighRes(), -1) << "the highest card has no stream";
    // The first line answers, and the rest is more than a pipe holds.
    std::string many = "Format: S24_LE\n";
    for (int i = 0; i < 14; ++i) {
        many += many;
    }
    EXPECT_EQ(check(7, many), 0);
}

}  // namespace
