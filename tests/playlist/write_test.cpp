// The written formats, and what comes back from them.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>
#include <tuple>

#include "platform/child.h"
#include "playlist/playlist_test.h"
#include "varn/descriptor.h"

namespace {

using namespace tonvale_test;

class PlaylistWrite : public PlaylistTest {
  protected:
    static std::string Written(const std::vector<VARN_MEDIA_INFO> &records,
                               const std::string &path) {
        EXPECT_EQ(Write(MakeSongs(records).get(), path), 0);
        return ReadFile(path);
    }
};

TEST_F(PlaylistWrite, TheThreeFormatsByteForByte) {
    VARN_MEDIA_INFO radio = Record(0, "http://radio.example/x?a=1&b=2");
    for (const auto &[field, text] : {std::pair(radio.title, "x"),
                                      {radio.artist, "Ar"},
                                      {radio.album, "Al"},
                                      {radio.genre, "Ge"}}) {
        std::strcpy(field, text);
    }
    radio.duration = 5.9F;
    std::tie(radio.year, radio.disc, radio.track) = std::tuple(1999, 1, 2);
    const std::vector<VARN_MEDIA_INFO> records = {
        Record(7, In("a&b.mp3")), radio, Record(8, In("deep/cue.flac"), 3),
        Record(0, (scratch() / "other/\"q\".mp3").string())};
    EXPECT_EQ(Written(records, In("list.m3u")),
              "#EXTM3U\r\n"
              "a&b.mp3\r\n"
              "#EXTINF:5,x\r\n#EXTINFARTIST:Ar\r\n#EXTINFALBUM:Al\r\n#EXTINFGENRE:Ge\r\n"
              "#EXTINFYEAR:1999\r\n#EXTINFDISC:1\r\n#EXTINFTRACK:2\r\n"
              "http://radio.example/x?a=1&b=2\r\n"
              "deep/cue.flac_3\r\n"
              "../other/\"q\".mp3\r\n");
    EXPECT_EQ(Written(records, In("list.pls")),
              "[playlist]\r\n"
              "File1=a&b.mp3\r\n"
              "File2=http://radio.example/x?a=1&b=2\r\n"
              "File3=deep/cue.flac_3\r\n"
              "File4=../other/\"q\".mp3\r\n"
              "NumberOfEntries=4\r\nVersion=2\r\n");
    EXPECT_EQ(Written(records, In("list.wpl")),
              "<?wpl version=\"1.0\"?>\r\n<smil>\r\n<head></head>\r\n<body>\r\n<seq>\r\n"
              "<media src=\"a&b.mp3\"/>\r\n"
              "<media src=\"http://radio.example/x?a=1&b=2\"/>\r\n"
              "<media src=\"deep/cue.flac_3\"/>\r\n"
              "<media src=\"../other/\"q\".mp3\"/>\r\n"
              "</seq>\r\n</body>\r\n</smil>\n\n");
    EXPECT_EQ(Written(records, In("CAPITALS.M3U")).substr(0, 9), "#EXTM3U\r\n");
    EXPECT_EQ(Written(records, In("unknown.m3u8")), "");
    EXPECT_EQ(Written(records, In("no extension")), "");
    EXPECT_EQ(Written({}, In("empty.m3u")), "#EXTM3U\r\n");
    EXPECT_EQ(Written({}, In("empty.pls")), "[playlist]\r\nNumberOfEntries=0\r\nVersion=2\r\n");
}

TEST_F(PlaylistWrite, PathsAreRelativeToThePlaylist) {
    const std::string folder = music().string();
    const std::pair<std::string, std::string> kEntries[] = {
        {folder + "/a.mp3", "a.mp3"},
        {folder + "/sub/a.mp3", "sub/a.mp3"},
        {(scratch() / "a.mp3").string(), "../a.mp3"},
        {(scratch() / "music2/a.mp3").string(), "../music2/a.mp3"},
        {"/volumeUSB1/usbshare/a.mp3", "/volumeUSB1/usbshare/a.mp3"}};
    std::vector<VARN_MEDIA_INFO> records;
    std::string lines = "[playlist]\r\n";
    for (const auto &[song, written] : kEntries) {
        // Songs that are left out have no number.
        for (const std::string &none : {std::string("a.mp3"), std::string("mms://r/a"), folder}) {
            records.push_back(Record(1, none));
        }
        records.push_back(Record(1, song));
        lines += "File" + std::to_string(records.size() / 4) + "=" + written + "\r\n";
    }
    EXPECT_EQ(Written(records, In("p.pls")), lines + "NumberOfEntries=5\r\nVersion=2\r\n");
    EXPECT_TRUE(Written({Record(1, "/volumeUSB/a.mp3")}, In("p.pls")).find("File1=../") < 20);
    EXPECT_TRUE(
        Logged("Given path is not a absolute path\\. pls path \\[.*p\\.pls\\], song path "
               "\\[a\\.mp3\\]"));
    EXPECT_TRUE(Logged("Failed to converse from absolute path to relative path\\. pls path"));
}

TEST_F(PlaylistWrite, ThePackagesAccountWritesAFileForAll) {
    const mode_t before = umask(077);
    Written({}, In("list.m3u"));
    umask(before);
    struct stat info {};
    ASSERT_EQ(stat(In("list.m3u").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0777U);
    if (IsRoot()) {
        EXPECT_EQ(VARNWriteMusicPlaylist(nullptr, In("list.m3u").c_str()), 0);
        EXPECT_EQ(geteuid(), GetUserIdFromName("Tonvale"));
        EXPECT_EQ(VARNWriteMusicPlaylist(nullptr, (scratch() / "none/x.m3u").c_str()), -1);
        EXPECT_EQ(geteuid(), GetUserIdFromName("Tonvale")) << "after a failure";
    }
}

TEST_F(PlaylistWrite, OnlyAPlaylistOfItsKindIsWritten) {
    fs::create_directory(In("folder.m3u"));
    ASSERT_EQ(mkfifo(In("fifo.m3u").c_str(), 0666), 0);
    fs::create_symlink(In("loop.m3u"), In("loop.m3u"));
    fs::create_symlink(In("nowhere.m3u"), In("dangling.m3u"));
    Touch(In("secret"), "kept");
    fs::create_symlink(In("secret"), In("link.m3u"));
    for (const std::string name :
         {"folder.m3u", "fifo.m3u", "loop.m3u", "dangling.m3u", "link.m3u", "none/x.m3u"}) {
        ClearLog();
        EXPECT_EQ(Write(nullptr, In(name)), -1) << name;
        EXPECT_TRUE(Logged("audiolib/playlist\\([0-9]+\\): Failed to open .*" + name + "\\."));
    }
    EXPECT_EQ(ReadFile(In("secret")), "kept") << "a link leads only to playlists of its kind";
    EXPECT_FALSE(fs::exists(In("nowhere.m3u")));
    Touch(In("held.m3u"), "http://old/\n");
    const varn::UniqueFd held(open(In("held.m3u").c_str(), O_RDONLY | O_CLOEXEC));
    fs::rename(In("held.m3u"), In("moved.m3u"));
    Touch(In("held.m3u"), "kept");
    const std::string open = varn::DescriptorPath(held.Get());
    EXPECT_EQ(Shown(Read(open)), Texts{"0 http://old/"});
    EXPECT_EQ(Write(MakeSongs({Record(1, In("a"))}).get(), open), 0);
    EXPECT_EQ(ReadFile(In("moved.m3u")), "#EXTM3U\r\na\r\n") << "what is held is written";
    EXPECT_EQ(ReadFile(In("held.m3u")), "kept");
    fs::remove(In("moved.m3u"));
    EXPECT_EQ(Write(nullptr, open), -1);
    Touch(In("target.m3u"));
    fs::create_symlink(In("target.m3u"), In("good.m3u"));
    EXPECT_EQ(Write(nullptr, In("good.m3u")), 0);
    EXPECT_EQ(ReadFile(In("target.m3u")), "#EXTM3U\r\n");
}

TEST_F(PlaylistWrite, ALockedPlaylistIsGivenUp) {
    const std::string list = In("list.m3u");
    Touch(list, "old");
    const int fd = open(list.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    EXPECT_EQ(Write(MakeSongs({Record(1, In("a.mp3"))}).get(), list), -1);
    EXPECT_TRUE(Logged("audiolib/playlist \\([0-9]+\\) Failed to lock file\\."));
    EXPECT_EQ(ReadFile(list), "") << "it was emptied before";
    close(fd);
    EXPECT_EQ(Write(nullptr, list), 0);
    EXPECT_EQ(Write(nullptr, list), 0) << "a lock stayed";
}

// ---- what is written is read again --------------------------------------------------------------

class PlaylistRoundTrip : public PlaylistWrite, public testing::WithParamInterface<const char *> {};

TEST_P(PlaylistRoundTrip, EveryKindOfEntry) {
    const std::string list = In(std::string("list.") + GetParam());
    std::vector<VARN_MEDIA_INFO> records;
    for (const std::string &name : Texts{"b.mp3",
                                         "a.mp3",
                                         "Dvořák – Rusalka.mp3",
                                         "e\u0301.mp3",
                                         "\u00E9.mp3",
                                         "日本.ogg",
                                         "a_12",
                                         "x_12.mp3",
                                         "it's \"so\".mp3",
                                         "R&B &amp; <soul>.mp3",
                                         "100% %41.mp3",
                                         " blanks .mp3",
                                         "C:\\dir\\a.mp3",
                                         "back\\slash.mp3",
                                         "sub/deep/a.mp3",
                                         "#1.mp3",
                                         "[x].mp3",
                                         "file:x.mp3",
                                         "a=b;c.mp3",
                                         std::string(255, 'n')}) {
        records.push_back(Record(static_cast<unsigned>(AddSong({.path = In(name)})), In(name)));
    }
    records.push_back(records.front());
    AddSong({.path = In("cue_1.flac"), .has_virtual = true});
    for (const int track : {2, 12}) {
        const int id = AddSong({.path = In("cue_1.flac"), .track = track, .is_virtual = true});
        records.push_back(Record(static_cast<unsigned>(id), In("cue_1.flac"), track));
    }
    for (const std::string &path :
         {In("unknown.mp3"), In("unknown/cue.flac_3"), (scratch() / "up/a.mp3").string(),
          std::string("/volumeUSB1/usb share/a.mp3"),
          std::string("http://radio.example/a?b=%20&c=\"d\""),
          "/" + std::string(255, 'd') + "/" + std::string(200, 'e')}) {
        records.push_back(Record(0, path));
    }
    std::string longest = In("");
    while (longest.size() < 4000) {
        longest += std::string(200, 'l') + "/";
    }
    longest += std::string(4095 - longest.size(), 'm');
    records.push_back(Record(0, longest));
    const Songs songs = MakeSongs(records);
    ASSERT_EQ(Write(songs.get(), list), 0);
    EXPECT_EQ(Shown(Read(list)), Shown(songs));
    for (std::size_t i = 0; i < 20; ++i) {
        const char *path = records[i].path;
        EXPECT_EQ(VARNPlaylistCheckSong(kAlice, list.c_str(), path), 0) << path;
        VARN_MEDIA_INFO found = {};
        EXPECT_EQ(VARNPlaylistGetOneByPath(kAlice, path, &found), 0) << path;
        EXPECT_STREQ(found.path, path);
    }
    const std::string text = ReadFile(list);
    ASSERT_EQ(Write(Read(list).get(), list), 0);
    EXPECT_EQ(ReadFile(list), text) << "the second round changes it";
}

INSTANTIATE_TEST_SUITE_P(Formats, PlaylistRoundTrip, testing::Values("m3u", "pls", "wpl"),
                         [](const auto &format) { return std::string(format.param); });

}  // namespace
