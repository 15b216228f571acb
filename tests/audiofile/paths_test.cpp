#include "tonvale/paths.h"

#include <array>
#include <tuple>

#include "support/fixture.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using namespace AudioFile;

class Paths : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        WriteFile(varn::path::kShares,
                  "music=\"/volume1/music\"\n"
                  "music2=\"/volume2/disk/music2\"\n"
                  "one=\"/one\"\n"
                  "O'Brien \xC3\x9F=\"/volume1/O'Brien \xC3\x9F\"\n");
    }
    std::string Home(const char *user) const { return (root() / "volume1/homes" / user).string(); }

    std::string full_, name_, volume_, base_;
    bool Resolve(const std::string &path, const std::string &user = "alice") {
        full_ = name_ = volume_ = base_ = "?";
        return FullPathGet(path.c_str(), full_, name_, volume_, base_, user);
    }
};

TEST_F(Paths, APathOfAShareIsResolvedOnItsVolume) {
    using Case = std::tuple<const char *, const char *, const char *, const char *, const char *>;
    for (const auto &[path, full, name, volume, base] :
         {Case{"/music/x.mp3", "/volume1/music/x.mp3", "music", "/volume1", "/volume1/music"},
          Case{"/music", "/volume1/music", "music", "/volume1", "/volume1/music"},
          Case{"/music2/a/b%_'\\.mp3", "/volume2/disk/music2/a/b%_'\\.mp3", "music2", "/volume2",
               "/volume2/disk/music2"},
          Case{"/one/a", "/one/a", "one", "/one", "/one"},
          Case{"/O'Brien \xC3\x9F/a", "/volume1/O'Brien \xC3\x9F/a", "O'Brien \xC3\x9F", "/volume1",
               "/volume1/O'Brien \xC3\x9F"},
          // Without the leading slash the character after the share's name is lost.
          Case{"music/x.mp3", "/volume1/musicx.mp3", "music", "/volume1", "/volume1/music"}}) {
        SCOPED_TRACE(path);
        EXPECT_TRUE(Resolve(path));
        EXPECT_EQ((std::array{full_, name_, volume_, base_}),
                  (std::array<std::string, 4>{full, name, volume, base}));
    }
    EXPECT_TRUE(Log().empty());
}

TEST_F(Paths, AHomeIsThatOfTheNamedUser) {
    EXPECT_TRUE(Resolve("/home/music/a.mp3", "bob"));
    EXPECT_EQ(full_, Home("bob") + "/music/a.mp3");
    EXPECT_EQ(name_, "home");
    EXPECT_EQ(base_, Home("bob"));

    EXPECT_FALSE(Resolve("/home/music/a.mp3", "nobody-here"));
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ GetUserHomePath fail$"));
    // Without a slash it is a share of that name, which does not exist.
    EXPECT_FALSE(Resolve("/home"));
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ VARNShareGet fail$"));
}

TEST_F(Paths, InvalidPathsAreRefusedAndLogged) {
    using Case = std::tuple<const char *, const char *, const char *>;
    for (const auto &[path, user, line] :
         {Case{"", "alice", "audiolib/audiofile:[0-9]+ Bad parameters\\.$"},
          Case{"/music/a", "", "audiolib/audiofile:[0-9]+ Bad parameters\\.$"},
          Case{"music", "alice", "audiolib/audiofile\\([0-9]+\\): bad path name=music$"},
          Case{"/", "alice", "audiolib/audiofile\\([0-9]+\\) error path$"},
          Case{"//", "alice", "audiolib/audiofile:[0-9]+ GetTokOfPath fail$"},
          Case{"/video/a", "alice", "audiolib/audiofile:[0-9]+ VARNShareGet fail$"}}) {
        SCOPED_TRACE(path);
        ClearLog();
        EXPECT_FALSE(Resolve(path, user));
        EXPECT_EQ(full_, "?");
        EXPECT_TRUE(Logged(line));
    }
    EXPECT_FALSE(FullPathGet(nullptr, full_, name_, volume_, base_, "alice"));
    EXPECT_FALSE(Resolve("/" + std::string(5000, 'a') + "/x"));
    // Only the share's name has a bound.
    EXPECT_TRUE(Resolve("/music/" + std::string(5000, 'a')));
    EXPECT_EQ(full_.size(), std::string("/volume1/music/").size() + 5000);
}

TEST_F(Paths, APathOnAVolumeIsTurnedIntoThatOfItsShare) {
    EXPECT_EQ(GetSharePathByVolPath("/volume1/music/a/b.mp3"), "/music/a/b.mp3");
    EXPECT_EQ(GetSharePathByVolPath("/volume1/music"), "/music");
    EXPECT_EQ(GetSharePathByVolPath("/volume2/disk/music2/x"), "/music2/x");
    EXPECT_TRUE(Log().empty());
    for (const char *outside :
         {"/volume1/music2/a", "/volume1", "/", "", "relative/a", "//volume1/music/a",
          "/volume1//music/a", "/./volume1/music/a", "/volume1/music/../x"}) {
        ClearLog();
        EXPECT_EQ(GetSharePathByVolPath(outside), "") << outside;
        EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Failed to get share path$"));
    }
    EXPECT_EQ(GetSharePathByVolPath(nullptr), "");
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Bad parameter$"));
}

TEST_F(Paths, APlaylistsEntryIsRelativeToItsFolder) {
    const std::string longest(4095 - 3, 'n');
    for (const auto &[entry, path] : {std::pair<std::string, std::string>("x.mp3", "/m/x.mp3"),
                                      {"../b/./x", "/b/x"},
                                      {"../../../x", "/x"},
                                      {"/v//a/../x", "/v/x"},
                                      {"", ""},
                                      {longest, "/m/" + longest},
                                      {longest + "n", ""}}) {
        EXPECT_EQ(AudioFile::GetAbsolutePath("/m", entry), path);
    }
}

TEST_F(Paths, TheMusicOfAHomeIsFoundThroughLinks) {
    const std::string alice = fs::canonical(Home("alice")).string();
    EXPECT_EQ(GetHomeMusicPath("alice"), alice + "/music");
    fs::rename(Home("bob"), scratch() / "moved");
    EXPECT_EQ(GetHomeMusicPath("bob"), Home("bob") + "/music") << "a home that is not there";
    fs::create_symlink(scratch() / "moved", Home("bob"));
    EXPECT_EQ(GetHomeMusicPath("bob"), fs::canonical(scratch() / "moved").string() + "/music");
    EXPECT_EQ(GetHomeMusicPath("nobody-here"), "");
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(GetHomeMusicPath(""), "");
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Bad parameters$"));
}

}  // namespace
