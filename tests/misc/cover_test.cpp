#include <functional>

#include "misc/cover_fixture.h"
#include "platform/child.h"
#include "tonvale/media.h"

namespace {

using namespace tonvale_test;

// Names that a pattern, a printf or a shell would read in its own way.
const std::vector<std::string> kHostileNames = {
    "[a]*?",   "back\\slash",  "100%d%s%n", "q'uo\"te", "two\r\nlines",
    "caf\xE9", "\xE5\x90\x8D", "-flag~",    "{a,b}",    "$(id)`id`"};

class CoverPathTest : public CoverTest {
  protected:
    std::string Embedded(const std::string &song) const {
        return PathOf([&](char *buffer, int size) {
            return VARNAudioGetEmbeddedCoverPath(song.c_str(), buffer, size);
        });
    }
    std::string Folder(const std::string &path) const {
        return PathOf([&](char *buffer, int size) {
            return VARNAudioGetFolderCoverPath(path.c_str(), buffer, size);
        });
    }
};

// Which of a folder's files is found; nullptr for none.
struct Found {
    std::vector<std::string> files;
    const char *found;

    std::string In(const fs::path &folder) const { return found ? folder / found : "none"; }
};

TEST_F(CoverPathTest, FindsTheEmbeddedPicture) {
    const fs::path song = Put(Music() / "song.mp3");
    for (const Found &each : {Found{{"APIC.jpg"}, "APIC.jpg"},
                              {{"old_APIC_3.png", "cover.jpg"}, "old_APIC_3.png"},
                              {{"B_APIC.jpg", "A_APIC.jpg", "APIC.png"}, "APIC.png"},
                              {{"apic.jpg", "VARNAUDIO_ART_NBAUDIO.jpg", ".APIC.jpg"}, nullptr},
                              {{}, nullptr}}) {
        fs::remove_all(Music() / "@eaDir");
        for (const std::string &file : each.files) {
            Put(EaDir(song) / file);
        }
        EXPECT_EQ(Embedded(song), each.In(EaDir(song)));
    }
    // A link may lead to another user's files.
    Put(scratch() / "private" / "song.mp3" / "APIC.jpg");
    fs::create_directories(EaDir(song).parent_path());
    fs::create_directory_symlink(scratch() / "private" / "song.mp3", EaDir(song));
    EXPECT_EQ(Embedded(song), "none");
    fs::remove_all(song.parent_path() / "@eaDir");
    fs::create_directory_symlink(scratch() / "private", song.parent_path() / "@eaDir");
    EXPECT_EQ(Embedded(song), "none");
    fs::remove_all(song.parent_path() / "@eaDir");
    EXPECT_EQ(Embedded(song), "none");
    EXPECT_TRUE(Log().empty()) << "a song without pictures is no failure";
    for (const std::string bad : {"song.mp3", "", "/"}) {
        EXPECT_EQ(Embedded(bad), "none") << bad;
        EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Failed to get eaDir path of \\[" + bad +
                           "\\]\\.\\[0x0D00 .*platform/linux/eadir.cpp:[0-9]+\\]$"));
    }
    EXPECT_EQ(Embedded("/" + std::string(4096, 'a')), "none");
    EXPECT_TRUE(Logged("\\[0x0300 "));
}

TEST_F(CoverPathTest, FindsTheFolderPicture) {
    const fs::path folder = Music() / "album";
    for (const Found &each :
         {Found{{"Cover.JPG", "folder.jpg"}, "Cover.JPG"},
          {{"AlbumArt.jpg", "FOLDER.jpG"}, "FOLDER.jpG"},
          {{"ALBUMART.JPG"}, "ALBUMART.JPG"},
          {{"cover.jpg", "Cover.jpg", "COVER.JPG"}, "COVER.JPG"},
          {{"coverXjpg", "folder.jpg"}, "coverXjpg"},
          {{"cover.jpg.bak", "my cover.jpg", "coverjpg", "cover.jpeg", "cover.png"}, nullptr}}) {
        fs::remove_all(folder);
        for (const std::string &file : each.files) {
            Put(folder / file);
        }
        for (const fs::path &path : {Put(folder / "song.mp3"), folder, folder / "a track.mp3"}) {
            EXPECT_EQ(Folder(path), each.In(folder)) << path;
        }
    }
    EXPECT_TRUE(Log().empty());
}

TEST_F(CoverPathTest, ReadsNoNameAsAPattern) {
    for (const std::string &name : kHostileNames) {
        SCOPED_TRACE(name);
        const fs::path song = Put(Music() / name / (name + ".mp3"));
        Put(Music() / name / "cover.jpg");
        Put(EaDir(song) / "APIC.jpg");
        EXPECT_EQ(Embedded(song), EaDir(song) / "APIC.jpg");
        EXPECT_EQ(Folder(song), Music() / name / "cover.jpg");
    }
    // As a pattern the folder's name would match another folder.
    Put(Music() / "a" / "cover.jpg");
    fs::create_directory(Music() / "[ab]");
    EXPECT_EQ(Folder(Music() / "[ab]"), "none");
    EXPECT_TRUE(Log().empty());
}

TEST_F(CoverPathTest, FollowsTheMarkOfASongWithoutCover) {
    const fs::path folder = Music() / "b";
    const fs::path song = Put(folder / "song.live.mp3");
    const fs::path mark = folder / "song.live.no_image";
    Put(folder / "cover.jpg");
    fs::create_directory(mark);
    EXPECT_EQ(Folder(song), folder / "cover.jpg") << "a folder is no mark";
    fs::remove(mark);
    Put(mark);
    EXPECT_EQ(Folder(song), "none");
    EXPECT_EQ(Folder(Put(folder / "other.mp3")), folder / "cover.jpg");
}

TEST_F(CoverPathTest, RefusesPathsWithoutAFolderOrAnExtension) {
    const std::string plain = Put(Music() / "plain");
    for (const std::string &path :
         {std::string("plain.mp3"), std::string(), Music().string() + "/missing/", plain}) {
        ClearLog();
        EXPECT_EQ(Folder(path), "none") << path;
        EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Invalid path: " + path + "$"));
    }
    EXPECT_EQ(Folder(Music() / "missing" / "song.mp3"), "none");
    EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Failed to chdir \\[.*/missing\\],$"));
}

TEST_F(CoverPathTest, CutsThePathToTheBuffer) {
    const fs::path song = Put(Music() / "song.mp3");
    const fs::path cover = Put(Music() / "cover.jpg");
    Put(EaDir(song) / "APIC.jpg");
    SetTime(cover, 0);
    Put(EaDir(song) / "VARNAUDIO_ART_NBAUDIO.jpg");  // a small copy that is new
    const std::function<int(const char *, char *, int)> calls[] = {
        VARNAudioGetEmbeddedCoverPath, VARNAudioGetFolderCoverPath,
        [&](const char *path, char *buffer, int size) {
            return VARNAudioGetScaleCoverPath(path, cover.c_str(), buffer, size);
        }};
    for (const auto &call : calls) {
        SCOPED_TRACE(&call - calls);
        char buffer[] = "0123456789";
        ClearLog();
        EXPECT_EQ(call(nullptr, buffer, 5), -1);
        EXPECT_EQ(call(song.c_str(), nullptr, 5), -1);
        EXPECT_EQ(call(song.c_str(), buffer, -1), -1);
        EXPECT_EQ(Log().size(), 3U);
        EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Bad parameters\\.$"));
        EXPECT_EQ(AsPackage([&] { return call(song.c_str(), buffer, 0); }), 0);
        EXPECT_STREQ(buffer, "0123456789");
        EXPECT_EQ(AsPackage([&] { return call(song.c_str(), buffer, 5); }), 0);
        EXPECT_EQ(buffer, song.string().substr(0, 4));
        EXPECT_EQ(std::string_view(buffer + 5, 5), "56789");
    }
}

TEST_F(CoverPathTest, EndsAsThePackageForEveryAccount) {
    if (!isRoot_) {
        GTEST_SKIP() << "needs root's rights";
    }
    const fs::path song = Put(Music() / "song.mp3");
    Put(Music() / "cover.jpg");
    Put(EaDir(song) / "APIC.jpg");
    // The package cannot read the working folder.
    const fs::path own = scratch() / "own";
    fs::create_directory(own);
    ASSERT_EQ(chown(own.c_str(), kAlice, static_cast<gid_t>(-1)), 0);
    fs::permissions(own, fs::perms(0700));
    std::array<char, 4096> path = {};
    const std::string cover = Music() / "cover.jpg";
    const std::function<bool()> calls[] = {
        [&] { return VARNAudioGetEmbeddedCoverPath(song.c_str(), path.data(), 4096) == 0; },
        [&] { return VARNAudioGetFolderCoverPath(song.c_str(), path.data(), 4096) == 0; },
        [] { return VARNAudioCheckScaleArt("/none", "/none") == 0; },
        [&] { return VARNAudioScaleImage("/none", (cover + ".jpg").c_str()) == -1; },
    };
    const fs::path before = fs::current_path();
    for (const auto &call : calls) {
        fs::current_path(own);
        ASSERT_EQ(ResetCredentialsByName("alice"), 0);
        EXPECT_TRUE(call()) << &call - calls;
        EXPECT_EQ(geteuid(), GetUserIdFromName(varn::kPackageAccount)) << &call - calls;
        BackToRoot();
        EXPECT_EQ(fs::current_path(), own) << &call - calls;
    }
    fs::current_path(before);
}

TEST_F(CoverPathTest, FailsWhereTheWorkingFolderIsGone) {
    const fs::path song = Put(Music() / "song.mp3");
    Put(EaDir(song) / "APIC.jpg");
    EXPECT_TRUE(HoldsInChild([&] {
        fs::create_directory(scratch() / "gone");
        fs::current_path(scratch() / "gone");
        fs::remove(scratch() / "gone");
        char buffer[4096];
        EXPECT_EQ(VARNAudioGetEmbeddedCoverPath(song.c_str(), buffer, sizeof buffer), -1);
        EXPECT_NE(geteuid(), 0U) << "still root";
    }));
    EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Failed to get current directory$"));
}

}  // namespace
