#include <algorithm>
#include <tuple>

#include "support/fixture.h"
#include "tonvale/players.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class CapabilityTest : public SystemTest {
  protected:
    static void SwitchDsd(const char *value) {
        WriteFile(varn::path::kPackageDefaultConf,
                  std::string("support_dsd_decode=\"") + value + "\"\n");
    }
};

TEST_F(CapabilityTest, EveryKindOfRendererHasItsExtensions) {
    const std::string most =
        "mp3 m4a ogg aac wma flac aiff aif mp1 mp2 mpa wav ra ram m4p m4b ape dsf dff";
    const std::pair<int, std::vector<std::string>> kCases[] = {
        {1, Words(most)},
        {2, Words("mp3 m4a m4b")},
        {3, Words("aac aif aiff ape flac m4a m4b mp3 ogg wav wma dsf dff")},
        {-1, Words(most)}};
    SwitchDsd("yes");
    for (const auto &[type, plays] : kCases) {
        for (const std::string &extension : Words(most + " mp mp33 opus txt m3u wavx mp4 http")) {
            std::string upper = extension;
            std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
            const int expected = std::count(plays.begin(), plays.end(), extension) > 0 ? 1 : 0;
            for (const std::string &name : {"/music/a.b." + extension, "." + upper}) {
                EXPECT_EQ(VARNAudioIsSupportFormat(type, name.c_str()), expected)
                    << type << " " << name;
            }
        }
    }
}

TEST_F(CapabilityTest, OnlyTheLastExtensionOrALinkCounts) {
    for (const auto &[type, path, expected] : {std::tuple<int, const char *, int>(0, nullptr, 1),
                                               {0, "a.txt", 1},
                                               {1, nullptr, 0},
                                               {1, "", 0},
                                               {1, "mp3", 0},
                                               {1, "http", 1},
                                               {2, "https://x/", 1},
                                               {2, "httpd.conf", 1},
                                               {1, "HTTP://x/", 0},
                                               {1, "/m.mp3/song", 0},
                                               {1, "a.mp3.", 0},
                                               {1, "a.mp3\xC3\xA9", 0},
                                               {3, "a.m\xC4\xB0p3", 0},
                                               {1, "a.mp3 ", 0}}) {
        EXPECT_EQ(VARNAudioIsSupportFormat(type, path), expected)
            << type << " " << (path != nullptr ? path : "null");
    }
    SwitchDsd("Yes");
    for (const int type : {1, 2, 3, 9}) {
        EXPECT_EQ(VARNAudioIsSupportFormat(type, "/m/a.DSF"), 0) << type;
        EXPECT_EQ(VARNAudioIsSupportFormat(type, "/m/a.dff"), 0) << type;
    }
    EXPECT_EQ(VARNAudioIsSupportFormat(0, "/m/a.dsf"), 1);
    EXPECT_EQ(VARNAudioIsSupportFormat(1, "http://x/a.dsf"), 1);
}

// DSD depends on the machine, so an administrator's setting does not count.
TEST_F(CapabilityTest, DsdDependsOnTheDefaultsOnly) {
    WriteFile(varn::path::kPackageDefaultConf, "something_else=\"yes\"\n");
    WriteFile(varn::path::kPackageConf, "support_dsd_decode=\"yes\"\n");
    EXPECT_EQ(VARNAudioIsSupportFormat(3, "/m/a.dsf"), 0);
    SwitchDsd("yes");
    WriteFile(varn::path::kPackageConf, "support_dsd_decode=\"no\"\n");
    EXPECT_EQ(VARNAudioIsSupportFormat(3, "/m/a.dsf"), 1);
}

TEST_F(CapabilityTest, TheStatusOfTheCheckingProgramIsTheAnswer) {
    EXPECT_EQ(VARNAudioIsSupportUSB(), 0) << "without the program";
    const auto install = [](const std::string &body) {
        WriteFile(varn::path::kCheckSupport, "#!/bin/sh\n" + body + "\n");
        fs::permissions(At(varn::path::kCheckSupport), fs::perms(0755));
    };
    install("[ \"$#\" = 1 ] && [ \"$1\" = --support-usb ] && exit 1; exit 0");
    EXPECT_EQ(VARNAudioIsSupportUSB(), 1);
    EXPECT_EQ(VARNAudioIsSupportBlueTooth(), 0);
    install("[ \"$#\" = 1 ] && [ \"$1\" = --support-bluetooth ] && exit 1; exit 2");
    EXPECT_EQ(VARNAudioIsSupportUSB(), 0);
    EXPECT_EQ(VARNAudioIsSupportBlueTooth(), 1);
    install("kill -9 $$");
    EXPECT_EQ(VARNAudioIsSupportUSB(), 0);
}

}  // namespace
