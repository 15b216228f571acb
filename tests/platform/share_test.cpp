#include "varn/share.h"

#include <sys/stat.h>

#include "support/fixture.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class Shares : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        WriteFile(varn::path::kShares,
                  "# shares\nmusic=\"/volume1/music\"\nlive = /volume1/music/live/\n"
                  "O'Brien \xc3\xa9=\"/volume2/a \\\"b\\\"\"\nrelative=volume1/other\nempty=\n"
                  "whole=/\nsame=/volume1/music\nmusic=/volume9/second\nnoise\n");
    }
    // "NAME PATH", or "" after a failure.
    static std::string Holding(const char *path, std::size_t nameSize = 64,
                               std::size_t pathSize = 64) {
        std::string name(64, '#');
        std::string sharePath(64, '#');
        if (VARNShareNamePathGet(path, name.data(), nameSize, sharePath.data(), pathSize) != 0) {
            EXPECT_STREQ(name.c_str(), "");
            EXPECT_STREQ(sharePath.c_str(), "");
            return "";
        }
        return std::string(name.c_str()) + " " + sharePath.c_str();
    }
};

TEST_F(Shares, AreFoundByName) {
    const auto find = [](const char *name) {
        PVARN_SHARE found = nullptr;
        const int result = VARNShareGet(name, &found);
        const varn::Share share(found);
        EXPECT_EQ(result == 0, found != nullptr);
        return found ? std::string(share->szName) + " " + share->szPath : "none";
    };
    EXPECT_EQ(find("music"), "music /volume1/music");
    EXPECT_EQ(find("live"), "live /volume1/music/live");
    EXPECT_EQ(find("O'Brien \xc3\xa9"), "O'Brien \xc3\xa9 /volume2/a \"b\"");
    for (const char *name : {"relative", "empty", "whole", "Music", "# shares", ""}) {
        EXPECT_EQ(find(name), "none") << name;
    }
}

TEST_F(Shares, HoldAPathByItsLongestWholeComponents) {
    const std::string deep = "/volume1/music/" + std::string(4081, 'd');
    for (const char *path : {"", "/", "/a.mp3", "///./a.mp3", "/lively/a.mp3", deep.c_str() + 14}) {
        EXPECT_EQ(Holding(("/volume1/music" + std::string(path)).c_str()), "music /volume1/music");
    }
    for (const char *path : {"/volume1/music/live", "/volume1/music/live/x/a.mp3"}) {
        EXPECT_EQ(Holding(path), "live /volume1/music/live") << path;
    }
    EXPECT_EQ(Holding("/volume2/a \"b\"/c"), "O'Brien \xc3\xa9 /volume2/a \"b\"");
    // Callers cut the share's path off by its length, so the path must begin with its very bytes.
    for (const char *path :
         {"//volume1/music/a.mp3", "/volume1//music/a.mp3", "/./volume1/music/a.mp3",
          "/volume1/music2/a.mp3", "/volume1", "/", "/volume1/other/a.mp3", "volume1/music/a.mp3",
          "/volume1/music/../secret", "/volume1/music/..", ""}) {
        EXPECT_EQ(Holding(path), "") << path;
    }
    EXPECT_EQ(Holding("/volume1/music/a", 6, 15), "music /volume1/music");
    EXPECT_EQ(Holding("/volume1/music/a", 6, 14), "");
    EXPECT_EQ(Holding("/volume1/music/a", 5, 15), "");
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_TOO_LONG);
    fs::remove(At(varn::path::kShares));
    EXPECT_EQ(Holding("/volume1/music/a"), "");
}

using EaDirs = SystemTest;

TEST_F(EaDirs, StandBesideTheirFile) {
    char out[64];
    for (const auto &[path, expected] : {std::pair("/a/b.mp3", "/a/@eaDir/b.mp3"),
                                         {"/b.mp3", "/@eaDir/b.mp3"},
                                         {"/a/folder/", "/a/@eaDir/folder"},
                                         {"a/b", "a/@eaDir/b"},
                                         {"/a/\xff \n'", "/a/@eaDir/\xff \n'"},
                                         {"b.mp3", ""},
                                         {"/", ""},
                                         {"//", ""},
                                         {"/a/..", ""},
                                         {"/a/.", ""},
                                         {"", ""}}) {
        EXPECT_EQ(VARNEADirPath(path, out, sizeof out), *expected ? 0 : -1);
        EXPECT_STREQ(out, expected) << path;
    }
    EXPECT_EQ(VARNEADirPath("/a/b.mp3", out, 16), 0);
    EXPECT_EQ(VARNEADirPath("/a/b.mp3", out, 15), -1);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_TOO_LONG);
}

TEST_F(EaDirs, AreMadeForEveryUser) {
    const fs::path eaDir = scratch() / "@eaDir/a.mp3";
    const mode_t before = umask(077);
    EXPECT_EQ(VARNEAMKDir(eaDir.c_str()), 0);
    umask(before);
    for (const fs::path &made : {eaDir, eaDir.parent_path()}) {
        EXPECT_EQ(fs::status(made).permissions(), fs::perms(0777)) << made;
    }
    // A folder that exists keeps its mode.
    fs::permissions(eaDir, fs::perms(0700));
    EXPECT_EQ(VARNEAMKDir((eaDir.string() + "/").c_str()), 0);
    EXPECT_EQ(fs::status(eaDir).permissions(), fs::perms(0700));
}

}  // namespace
