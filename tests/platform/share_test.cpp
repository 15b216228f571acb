#include "varn/share.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/fixture.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

namespace fs = std::filesystem;

class Shares : public tonvale_test::SystemTest {
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
    const std::pair<const char *, const char *> cases[] = {
        {"music", "/volume1/music"},
        {"live", "/volume1/music/live"},
        {"O'Brien \xc3\xa9", "/volume2/a \"b\""},
    };
    for (const auto &[name, path] : cases) {
        PVARN_SHARE found = nullptr;
        ASSERT_EQ(VARNShareGet(name, &found), 0) << name;
        const varn::Share share(found);
        EXPECT_STREQ(share->szName, name);
        EXPECT_STREQ(share->szPath, path);
    }
    for (const char *name : {"relative", "empty", "whole", "Music", "# shares", ""}) {
        PVARN_SHARE found = nullptr;
        EXPECT_EQ(VARNShareGet(name, &found), -1) << name;
        EXPECT_EQ(found, nullptr) << name;
    }
}

TEST_F(Shares, HoldAPathByItsLongestWholeComponents) {
    const std::string deep = "/volume1/music/" + std::string(4081, 'd');
    const std::pair<const char *, const char *> cases[] = {
        {"/volume1/music", "music /volume1/music"},
        {"/volume1/music/", "music /volume1/music"},
        {"/volume1/music/a.mp3", "music /volume1/music"},
        {"/volume1/music///./a.mp3", "music /volume1/music"},
        {deep.c_str(), "music /volume1/music"},
        {"/volume1/music/live", "live /volume1/music/live"},
        {"/volume1/music/live/x/a.mp3", "live /volume1/music/live"},
        {"/volume1/music/lively/a.mp3", "music /volume1/music"},
        {"/volume2/a \"b\"/c", "O'Brien \xc3\xa9 /volume2/a \"b\""},
    };
    for (const auto &[path, expected] : cases) {
        EXPECT_EQ(Holding(path), expected) << path;
    }
    // Callers cut by the length of the share's path: it is written as the share's is.
    for (const char *path :
         {"//volume1/music/a.mp3", "/volume1//music/a.mp3", "/./volume1/music/a.mp3",
          "/volume1/music2/a.mp3", "/volume1", "/", "/volume1/other/a.mp3", "volume1/music/a.mp3",
          "/volume1/music/../secret", "/volume1/music/..", ""}) {
        EXPECT_EQ(Holding(path), "") << path;
    }
}

TEST_F(Shares, GiveBothOutputsOrNone) {
    EXPECT_EQ(Holding("/volume1/music/a", 6, 15), "music /volume1/music");
    EXPECT_EQ(Holding("/volume1/music/a", 5, 15), "");
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_TOO_LONG);
    EXPECT_EQ(Holding("/volume1/music/a", 6, 14), "");
    fs::remove(At(varn::path::kShares));
    EXPECT_EQ(Holding("/volume1/music/a"), "");
}

using EaDirs = tonvale_test::SystemTest;

TEST_F(EaDirs, StandBesideTheirFile) {
    const std::pair<const char *, const char *> cases[] = {{"/a/b.mp3", "/a/@eaDir/b.mp3"},
                                                           {"/b.mp3", "/@eaDir/b.mp3"},
                                                           {"/a/folder/", "/a/@eaDir/folder"},
                                                           {"a/b", "a/@eaDir/b"},
                                                           {"/a/\xff \n'", "/a/@eaDir/\xff \n'"},
                                                           {"b.mp3", ""},
                                                           {"/", ""},
                                                           {"//", ""},
                                                           {"/a/..", ""},
                                                           {"/a/.", ""},
                                                           {"", ""}};
    for (const auto &[path, expected] : cases) {
        char out[64] = "old";
        EXPECT_EQ(VARNEADirPath(path, out, sizeof out), *expected ? 0 : -1);
        EXPECT_STREQ(out, expected) << path;
    }
    char out[16] = "old";
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
    // One that is there keeps the mode that its owner gave it.
    fs::permissions(eaDir, fs::perms(0700));
    EXPECT_EQ(VARNEAMKDir((eaDir.string() + "/").c_str()), 0);
    EXPECT_EQ(fs::status(eaDir).permissions(), fs::perms(0700));
}

TEST_F(EaDirs, AreRefusedWhereTheyCannotBe) {
    std::ofstream(scratch() / "file") << "x";
    fs::create_directories(scratch() / "@eaDir");
    std::ofstream(scratch() / "@eaDir/taken") << "x";
    std::vector<std::string> paths = {"", "/", "name", "/name"};
    for (const char *name :
         {"none/@eaDir/a.mp3", "file/@eaDir/a.mp3", "@eaDir/taken", "@eaDir/.."}) {
        paths.push_back(scratch() / name);
    }
    paths.push_back(scratch() / "@eaDir" / std::string(256, 'x'));
    for (const std::string &path : paths) {
        VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
        EXPECT_EQ(VARNEAMKDir(path.c_str()), -1) << path;
        EXPECT_NE(VLIBCErrGet(), VLIB_ERR_NONE) << path;
    }
    EXPECT_FALSE(fs::exists(scratch() / "none"));
}

}  // namespace
