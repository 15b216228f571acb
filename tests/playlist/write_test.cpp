// The written formats, and what comes back from them.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "platform/child.h"
#include "playlist/playlist_test.h"
#include "varn/descriptor.h"

namespace {

using tonvale_test::EndedWell;
using tonvale_test::HoldsInChild;
using tonvale_test::Songs;
using tonvale_test::StartInChild;
using tonvale_test::Texts;

class PlaylistWrite : public tonvale_test::PlaylistTest {
  protected:
    static std::string Written(const std::vector<VARN_MEDIA_INFO> &records,
                               const std::string &path) {
        EXPECT_EQ(Write(MakeSongs(records).get(), path), 0);
        return ReadFile(path);
    }
};

TEST_F(PlaylistWrite, TheThreeFormatsByteForByte) {
    VARN_MEDIA_INFO radio = Record(0, "http://radio.example/x?a=1&b=2");
    std::strcpy(radio.title, "x");
    radio.duration = 5.9F;
    std::strcpy(radio.artist, "Ar");
    std::strcpy(radio.album, "Al");
    std::strcpy(radio.genre, "Ge");
    radio.year = 1999;
    radio.disc = 1;
    radio.track = 2;
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
    struct Case {
        std::string song;
        std::string written;  // "": left out
    };
    const std::string folder = music().string();
    for (const Case &entry :
         {Case{folder + "/a.mp3", "a.mp3"}, Case{folder + "/sub/a.mp3", "sub/a.mp3"},
          Case{(scratch() / "a.mp3").string(), "../a.mp3"},
          Case{(scratch() / "music2/a.mp3").string(), "../music2/a.mp3"},
          Case{"/volumeUSB1/usbshare/a.mp3", "/volumeUSB1/usbshare/a.mp3"},
          Case{"/volumeUSB/a.mp3", std::string()}, Case{"a.mp3", ""}, Case{"mms://r/a", ""},
          Case{folder, ""}, Case{"", ""}}) {
        const std::string text = Written({Record(1, entry.song)}, In("p.pls"));
        const std::string written = text.find("File1=") == std::string::npos
                                        ? ""
                                        : text.substr(18, text.find("\r\n", 18) - 18);
        if (entry.song == "/volumeUSB/a.mp3") {
            EXPECT_TRUE(written.starts_with("../")) << written;
        } else {
            EXPECT_EQ(written, entry.written) << entry.song;
        }
    }
    EXPECT_TRUE(
        Logged("Given path is not a absolute path\\. pls path \\[.*p\\.pls\\], song path "
               "\\[a\\.mp3\\]"));
    EXPECT_TRUE(Logged("Failed to converse from absolute path to relative path\\. pls path"));
}

TEST_F(PlaylistWrite, LinesAreCutBetweenCharacters) {
    std::string list = In("");
    for (int depth = 0; depth < 20; ++depth) {
        list += "d/";
    }
    std::filesystem::create_directories(list);
    for (const std::string song : {"/x/", "/xy/"}) {
        std::string path = song;
        while (path.size() < 4090) {
            path += "é";
        }
        const std::string text = Written({Record(1, path)}, list + "p.m3u");
        EXPECT_GE(text.size(), 9U + 4126U);
        EXPECT_TRUE(text.ends_with("é")) << text.substr(text.size() - 4);
    }
}

TEST_F(PlaylistWrite, LeftOutEntriesAreNotNumbered) {
    EXPECT_EQ(Written({Record(1, "bad"), Record(2, In("a.mp3")), Record(3, "bad")}, In("p.pls")),
              "[playlist]\r\nFile1=a.mp3\r\nNumberOfEntries=1\r\nVersion=2\r\n");
}

TEST_F(PlaylistWrite, ModeAndAccount) {
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
        EXPECT_EQ(geteuid(), GetUserIdFromName("Tonvale")) << "after a failure, too";
    }
}

TEST_F(PlaylistWrite, WhatCannotBeWritten) {
    std::filesystem::create_directory(In("folder.m3u"));
    ASSERT_EQ(mkfifo(In("fifo.m3u").c_str(), 0666), 0);
    std::filesystem::create_symlink(In("loop.m3u"), In("loop.m3u"));
    std::filesystem::create_symlink(In("nowhere.m3u"), In("dangling.m3u"));
    Touch(In("secret"), "kept");
    std::filesystem::create_symlink(In("secret"), In("link.m3u"));
    for (const std::string name :
         {"folder.m3u", "fifo.m3u", "loop.m3u", "dangling.m3u", "link.m3u", "none/x.m3u"}) {
        ClearLog();
        EXPECT_EQ(Write(nullptr, In(name)), -1) << name;
        EXPECT_TRUE(Logged("audiolib/playlist\\([0-9]+\\): Failed to open .*" + name + "\\."));
    }
    EXPECT_EQ(ReadFile(In("secret")), "kept") << "a link leads only to playlists of its kind";
    EXPECT_FALSE(std::filesystem::exists(In("nowhere.m3u")));
    EXPECT_EQ(VARNWriteMusicPlaylist(nullptr, nullptr), -1);
    EXPECT_EQ(VARNWriteMusicPlaylistWithMediaList(nullptr, In("x.m3u").c_str()), -1);
    EXPECT_TRUE(Logged("audiolib/playlist \\([0-9]+\\) Bad parameter\\."));
    Touch(In("held.m3u"), "http://old/\n");
    const varn::UniqueFd held(open(In("held.m3u").c_str(), O_RDONLY | O_CLOEXEC));
    std::filesystem::rename(In("held.m3u"), In("moved.m3u"));
    Touch(In("held.m3u"), "kept");
    const std::string open = varn::DescriptorPath(held.Get());
    EXPECT_EQ(Shown(Read(open)), Texts{"0 http://old/"});
    EXPECT_EQ(Write(MakeSongs({Record(1, In("a"))}).get(), open), 0);
    EXPECT_EQ(ReadFile(In("moved.m3u")), "#EXTM3U\r\na\r\n") << "what is held is written";
    EXPECT_EQ(ReadFile(In("held.m3u")), "kept");
    std::filesystem::remove(In("moved.m3u"));
    EXPECT_EQ(Write(nullptr, open), -1);
    Touch(In("target.m3u"));
    std::filesystem::create_symlink(In("target.m3u"), In("good.m3u"));
    EXPECT_EQ(Write(nullptr, In("good.m3u")), 0);
    EXPECT_EQ(ReadFile(In("target.m3u")), "#EXTM3U\r\n");
}

TEST_F(PlaylistWrite, ALockedPlaylistIsGivenUp) {
    Touch(In("list.m3u"), "old");
    const int fd = open(In("list.m3u").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    EXPECT_EQ(Write(MakeSongs({Record(1, In("a.mp3"))}).get(), In("list.m3u")), -1);
    EXPECT_TRUE(Logged("audiolib/playlist \\([0-9]+\\) Failed to lock file\\."));
    EXPECT_EQ(ReadFile(In("list.m3u")), "") << "it was emptied before";
    close(fd);
    EXPECT_EQ(Write(nullptr, In("list.m3u")), 0);
}

// Two processes write as fast as they can. Whoever comes second gives up, after it has emptied the
// file: what is left are whole lines of one of them, and the next writer finds no lock.
TEST_F(PlaylistWrite, TwoWritersAtOnce) {
    constexpr int kEnough = 30;
    const std::string path = In("list.pls");
    const Texts names = {In(std::string(20, 'a')), In(std::string(20, 'b'))};
    const auto writeMany = [&](const std::string &name) {
        return StartInChild([&] {
            const Songs songs = MakeSongs(std::vector<VARN_MEDIA_INFO>(50, Record(1, name)));
            int refused = 0;
            for (int written = 0; written < kEnough && refused < 100000;) {
                const bool done = Write(songs.get(), path) == 0;
                written += done ? 1 : 0;
                refused += done ? 0 : 1;
                usleep(done ? 0 : 100);
            }
            EXPECT_LT(refused, 100000);
        });
    };
    const pid_t first = writeMany(names[0]);
    const pid_t second = writeMany(names[1]);
    EXPECT_TRUE(EndedWell(first));
    EXPECT_TRUE(EndedWell(second));
    const Texts left = Shown(Read(path));
    for (const std::string &entry : left) {
        EXPECT_TRUE(entry == "0 " + names[0] || entry == "0 " + names[1]) << entry;
        EXPECT_EQ(entry, left.front()) << "the lock keeps the lists apart";
    }
    ASSERT_EQ(Write(MakeSongs({Record(1, In("c"))}).get(), path), 0) << "nobody holds the lock";
    EXPECT_EQ(ReadFile(path), "[playlist]\r\nFile1=c\r\nNumberOfEntries=1\r\nVersion=2\r\n");
}

TEST_F(PlaylistWrite, AFullDiskIsAFailure) {
    EXPECT_TRUE(HoldsInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100, 100};
        // The log of this process is a file, too.
        openlog("test", 0, LOG_USER);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        const std::vector<VARN_MEDIA_INFO> records(20, Record(1, In("song.mp3")));
        for (const char *name : {"f.m3u", "f.pls", "f.wpl"}) {
            EXPECT_EQ(Write(MakeSongs(records).get(), In(name)), -1) << name;
            EXPECT_EQ(std::filesystem::file_size(In(name)), 100U);
        }
    }));
    EXPECT_EQ(Write(nullptr, In("f.m3u")), 0);
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
    const Texts once = Shown(Read(list));
    EXPECT_EQ(once, Shown(songs));
    const std::string text = ReadFile(list);
    ASSERT_EQ(Write(Read(list).get(), list), 0);
    EXPECT_EQ(ReadFile(list), text) << "and so on, for ever";
}

// However a list is reached, its songs are the same: entries count from the folder that it is in.
TEST_P(PlaylistRoundTrip, ListsBehindLinks) {
    namespace fs = std::filesystem;
    const std::string name = std::string("list.") + GetParam();
    const std::string configured = (scratch() / "by/a/longer/way").string();
    fs::create_directories(In("real/deep"));
    fs::create_directories(fs::path(configured).parent_path());
    fs::create_directory_symlink(music(), configured);
    fs::create_directory_symlink(In("real/deep"), In("linked"));
    fs::create_directory_symlink("real", In("next"));
    Touch(In("real/deep/" + name));
    fs::create_symlink("real/deep/" + name, In(name));
    fs::create_symlink(name, In("second-" + name));
    for (const std::string &root : {music().string(), configured}) {
        WriteFile(varn::path::kIndexFolders, root + "\n");
        const Songs songs = MakeSongs({Record(0, root + "/a.mp3"), Record(0, root + "/real/b.mp3"),
                                       Record(0, root + "/real/deep/c.mp3"),
                                       Record(0, (scratch() / "d.mp3").string())});
        for (const std::string &list :
             {In(name), In("second-" + name), In("linked/" + name), In("next/deep/" + name),
              In("next/new-" + name), configured + "/" + name, configured + "/new-" + name}) {
            ASSERT_EQ(Write(songs.get(), list), 0) << list;
            EXPECT_EQ(Shown(Read(list)), Shown(songs)) << list;
        }
        EXPECT_EQ(Shown(Read(In("real/deep/" + name))), Shown(songs)) << "without any link, too";
        EXPECT_NE(ReadFile(In("real/deep/" + name)).find("../../a.mp3"), std::string::npos);
    }
}

TEST_P(PlaylistRoundTrip, TagsOfRemoteEntries) {
    const std::string list = In(std::string("list.") + GetParam());
    VARN_MEDIA_INFO radio = Record(0, "https://radio.example/live");
    std::strcpy(radio.title, "Größe, \"so\", 100%");
    std::strcpy(radio.artist, "A:B");
    radio.duration = 12;
    radio.year = 2001;
    ASSERT_EQ(Write(MakeSongs({Record(0, In("x.mp3")), radio}).get(), list), 0);
    const Songs back = Read(list);
    ASSERT_EQ(VARNPlaylistRecCount(back.get()), 2);
    const VARN_MEDIA_INFO &read = back->next->info;
    EXPECT_EQ(read.id, 0U) << "not the position";
    if (std::string_view(GetParam()) == "m3u") {
        EXPECT_STREQ(read.title, radio.title);
        EXPECT_STREQ(read.artist, "A:B");
        EXPECT_EQ(read.year, 2001);
        EXPECT_FLOAT_EQ(read.duration, 12);
    } else {
        EXPECT_STREQ(read.title, "") << "the format has no place for it";
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, PlaylistRoundTrip, testing::Values("m3u", "pls", "wpl"),
                         [](const auto &format) { return std::string(format.param); });

}  // namespace
