// Playlists as other programs write them.
#include "varn/playlistsvc.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "playlist/playlist_test.h"
#include "varn/descriptor.h"
#include "varn/systempath.h"

namespace {

using namespace std::string_literals;
using tonvale_test::Texts;

class PlaylistParser : public tonvale_test::SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        std::filesystem::create_directories(music() / "lists");
        WriteFile(varn::path::kIndexFolders, music().string() + "\n");
    }

    static std::filesystem::path music() { return scratch() / "music"; }

    static void Touch(const std::filesystem::path &path, std::string_view text = "") {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }

    // The entries of a playlist in the folder "lists", those below the folder of music without it.
    static Texts Entries(std::string_view text, const std::string &name = "list.m3u") {
        const std::filesystem::path path = music() / "lists" / name;
        Touch(path, text);
        PVLIBSZLIST list = nullptr;
        PLAYLIST_REC *remote = nullptr;
        const int count = GetCandidateListByPlaylistParse(path.c_str(), &list, &remote);
        VARNPlaylistRecFree(remote);
        Texts entries;
        for (int i = 0; i < count; ++i) {
            const std::string entry = VLIBCSzListGet(list, i);
            const std::string folder = music().string() + "/";
            entries.push_back(entry.starts_with(folder) ? entry.substr(folder.size()) : entry);
        }
        VLIBCSzListFree(list);
        return entries;
    }
};

TEST_F(PlaylistParser, FilesMadeByHandAndByOtherPrograms) {
    const Texts two = {"lists/a.mp3", "b.mp3"};
    struct Case {
        const char *what;
        std::string name, text;
        Texts entries;
    };
    const std::vector<Case> cases = {
        {"line feeds", "l.m3u", "a.mp3\n../b.mp3\n", two},
        {"no line end at the end", "l.m3u", "a.mp3\r\n../b.mp3", two},
        {"an old Macintosh", "l.m3u", "#EXTM3U\ra.mp3\r../b.mp3\r", two},
        {"a mark", "l.m3u8", "\xEF\xBB\xBF#EXTM3U\r\na.mp3\r\n../b.mp3\r\n", two},
        {"UTF-16", "l.m3u", "\xFF\xFE"s + "a\0.\0m\0p\0003\0\r\0\n\0.\0.\0/\0b\0.\0m\0p\0003\0"s,
         two},
        {"UTF-16 without a mark", "l.m3u", "\0a\0.\0m\0p\0003\0\n\0.\0.\0/\0b\0.\0m\0p\0003"s, two},
        {"capital extension", "L.M3U", "a.mp3\n../b.mp3\n", two},
        {"comments, blank lines, unknown tags", "l.m3u",
         "# mine\n\n#EXTM3U\n#EXTGRP:x\n  \n#EXTINF:1,T\na.mp3\n\t\n#\n../b.mp3\n#EXTINF:1,Z\n",
         two},
        {"a list in a list is an entry", "l.m3u", "other.m3u\n", {"lists/other.m3u"}},
        {"steps within a path", "l.m3u", "./x/../a.mp3\n.././b.mp3\n", two},
        {"steps above the root", "l.m3u", "../../../../../../../../../../../etc/x\n", {"/etc/x"}},
        {"streams",
         "l.m3u",
         "http://r/a b?c=%20\n  HTTPS://r/x\nmms://r/y\n",
         {"http://r/a b?c=%20", "https://r/x", "mms://r/y"}},
        {"a NUL", "l.m3u", "a\0b.mp3\n"s, {"lists/a\uFFFD"s + "b.mp3"}},
        {"pls by number", "l.pls",
         "[playlist]\nNumberOfEntries=2\nFile2=../b.mp3\nTitle1=x\nFile1=a.mp3\nVersion=2\n", two},
        {"pls, any case and blanks", "l.PLS", "[PLAYLIST]\r\nfile1 =a.mp3\r\nFILE7=../b.mp3\r\n",
         two},
        {"pls, enormous numbers come last", "l.pls",
         "File99999999999999999999999=../b.mp3\nFile18446744073709551614=a.mp3\n", two},
        {"pls, lines that say nothing",
         "l.pls",
         "File1=\nFileX=y\nFile-1=z\n=w\nFile2=a.mp3\n",
         {"lists/a.mp3"}},
        {"wpl with a title and attributes", "l.wpl",
         "<?wpl version=\"1.0\"?>\n<smil>\n <head><title>T</title></head>\n <body><seq>\n"
         "  <media tid=\"{1}\" src=\"a.mp3\" cid='{2}'/>\n  <MEDIA SRC = '../b.mp3' >\n"
         " </seq></body>\n</smil>",
         two},
        {"wpl with entities",
         "l.wpl",
         "<media src=\"a &amp; b &lt;&#99;&#x64;&gt; &quot;e&apos;.mp3\"/>",
         {"lists/a & b <cd> \"e'.mp3"}},
        {"wpl with what is no entity",
         "l.wpl",
         "<media src=\"R&B & C&amp &#0; &x;.mp3\"/>",
         {"lists/R&B & C&amp &#0; &x;.mp3"}},
        {"wpl with quotes inside",
         "l.wpl",
         "<media src=\"so \"it\" is.mp3\"/>",
         {"lists/so \"it\" is.mp3"}},
        {"wpl with comments", "l.wpl",
         "<!-- <media src=\"x\"/> --><media src=\"a.mp3\"/><mediafile src=\"y\"/>"
         "<!-- <media src=\"../b.mp3\"/>",
         two},
        {"broken wpl", "l.wpl", "<media src=\"a.mp3\n<media src=../b.mp3><media src=<media", two},
        {"only a header", "l.m3u", "#EXTM3U\r\n", {}},
        {"only a header", "l.pls", "[playlist]\r\n", {}},
        {"nothing", "l.wpl", "", {}},
        {"pictures", "l.wpl", "\x89PNG\r\n\x1A\n\0\0\0\rIHDR<<<>\"=&&;"s, {}},
    };
    for (const Case &file : cases) {
        EXPECT_EQ(Entries(file.text, file.name), file.entries) << file.what;
    }
}

// A list that this system wrote and another program added to.
TEST_F(PlaylistParser, OwnWplListsThatOthersEdited) {
    const std::string head =
        "<?wpl version=\"1.0\"?>\r\n<smil>\r\n<head></head>\r\n<body>\r\n<seq>\r\n";
    const std::string tail = "</seq>\r\n</body>\r\n</smil>\n\n";
    Touch(music() / "lists" / "say \"x\" y=\"z\".mp3");
    struct Case {
        std::string line;
        std::string means;  // "": nothing
    };
    for (const Case &edit :
         {Case{"<media src=\"R&amp;B.mp3\"/>", "R&amp;B.mp3"},
          Case{"<media src=\"so \"it\" &amp; is.mp3\"/>", "so \"it\" &amp; is.mp3"},
          Case{"<media src=\"a.mp3\" cid=\"{1}\" tid=\"\"/>", "a.mp3"},
          Case{"<media src=\"R&amp;B.mp3\" cid=\"{1}\"/>", "R&B.mp3"},
          Case{"<media src=\"say \"x\" y=\"z\".mp3\"/>", "say \"x\" y=\"z\".mp3"},
          Case{"<media src=\"say \"x\" y=\"no.mp3\"/>", "say \"x"},
          Case{"<media src=\"\" cid=\"1\"/>", "\" cid=\"1"},
          Case{"    <media src=\"a.mp3\"/>", "a.mp3"}, Case{"<media src=\"a.mp3\" />", "a.mp3"},
          Case{"<media cid='x' src='R&amp;B.mp3'>", "R&B.mp3"},
          Case{"<media\r\n src=\"a.mp3\"\r\n/>", "a.mp3"},
          Case{"<media src=\"a.mp3\"></media>", "a.mp3"}, Case{"<!-- <media src='x'> -->", ""}}) {
        Texts expected = {"lists/1.mp3", "lists/2.mp3"};
        if (!edit.means.empty()) {
            expected.insert(expected.begin() + 1, "lists/" + edit.means);
        }
        EXPECT_EQ(Entries(head + "<media src=\"1.mp3\"/>\r\n" + edit.line +
                              "\r\n<media src=\"2.mp3\"/>\r\n" + tail,
                          "l.wpl"),
                  expected)
            << edit.line;
    }
    EXPECT_EQ(Entries(head + "<media src=\"1.mp3\"/>\r\n<media src=\"2.m", "l.wpl"),
              Texts{"lists/1.mp3"})
        << "cut short";
}

TEST_F(PlaylistParser, CodePages) {
    EXPECT_EQ(Entries("Beyonc\xE9/D\xE9j\xE0 vu.mp3\r\n"), Texts{"lists/Beyoncé/Déjà vu.mp3"});
    EXPECT_EQ(Entries("\xCA\xE8\xED\xEE/\xC7\xE2\xE5\xE7\xE4\xE0.mp3\r\n"),
              Texts{"lists/Кино/Звезда.mp3"});
}

// Several programs may have written one list: a line that is not UTF-8 says nothing of the others.
TEST_F(PlaylistParser, ABadLineLeavesTheOthersAlone) {
    const std::string ownWpl =
        "<?wpl version=\"1.0\"?>\r\n<smil>\r\n<head></head>\r\n<body>\r\n<seq>\r\n";
    const auto media = [](const std::string &path) { return "<media src=\"" + path + "\"/>\r\n"; };
    const std::string latin1 = "Caf\xE9.mp3";
    struct Case {
        const char *what;
        std::string name;
        std::string text;
        Texts entries;
    };
    const std::vector<Case> cases = {
        {"one of Latin-1",
         "l.m3u",
         "Dvořák.mp3\r\n" + latin1 + "\r\n日本.mp3\r\n",
         {"lists/Dvořák.mp3", "lists/Café.mp3", "lists/日本.mp3"}},
        {"more bad ones than good ones",
         "l.m3u",
         latin1 + "\n\xE9t\xE9.mp3\r\xE0.mp3\rDvořák.mp3",
         {"lists/Café.mp3", "lists/été.mp3", "lists/à.mp3", "lists/Dvořák.mp3"}},
        {"a tag cut inside a character",
         "l.m3u",
         "#EXTINF:1,Dvo\xC5\nDvořák.mp3\n",
         {"lists/Dvořák.mp3"}},
        {"pls",
         "l.pls",
         "File1=Dvořák.mp3\nFile2=" + latin1 + "\n",
         {"lists/Dvořák.mp3", "lists/Café.mp3"}},
        {"m3u8 has no code page",
         "l.m3u8",
         "Dvořák.mp3\n" + latin1,
         {"lists/Dvořák.mp3", "lists/Caf\uFFFD.mp3"}},
        {"nor has a list of this system's",
         "l.wpl",
         ownWpl + media("Dvořák.mp3") + media(latin1),
         {"lists/Dvořák.mp3", "lists/Caf\uFFFD.mp3"}},
        {"a wpl of another program's has",
         "l.wpl",
         media("Dvořák.mp3") + media(latin1),
         {"lists/Dvořák.mp3", "lists/Café.mp3"}},
    };
    for (const Case &file : cases) {
        EXPECT_EQ(Entries(file.text, file.name), file.entries) << file.what;
    }
}

TEST_F(PlaylistParser, TooManyEntriesAreAnError) {
    std::string text;
    for (int i = 0; i <= 4000000; ++i) {
        text += "File=x\n";
    }
    EXPECT_TRUE(Entries(text, "l.pls").empty());
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEM);
}

// An entry is what it says, unless only something like it is there.
TEST_F(PlaylistParser, WhatIsThereDecides) {
    for (const char *name :
         {"lists/100%.mp3", "lists/a b.mp3", "lists/sub/x.mp3", "Pop/Abba/1.mp3", "1.mp3",
          "lists/e\u0301/e\u0301.mp3", "lists/\u00E9-\u00E9.mp3", "lists/%41.mp3",
          "lists/back\\s.mp3", "lists/#1.mp3", "lists/cue b.flac", "Pop/\u00C5bba/2.mp3"}) {
        Touch(music() / name);
    }
    struct Case {
        const char *entry;
        std::string means;
    };
    for (const Case &line : {
             Case{"100%.mp3", "lists/100%.mp3"},
             Case{"100%25.mp3", "lists/100%.mp3"},
             Case{"%41.mp3", "lists/%41.mp3"},
             Case{"a%20b.mp3", "lists/a b.mp3"},
             Case{"gone%20b.mp3", "lists/gone%20b.mp3"},
             Case{"  a b.mp3 ", "lists/a b.mp3"},
             Case{"  gone.mp3 ", "lists/  gone.mp3 "},
             Case{"sub\\x.mp3", "lists/sub/x.mp3"},
             Case{"..\\Pop\\Abba\\1.mp3", "Pop/Abba/1.mp3"},
             Case{"sub\\gone.mp3", "lists/sub\\gone.mp3"},
             Case{"back\\s.mp3", "lists/back\\s.mp3"},
             Case{"D:\\My Music\\Pop\\Abba\\1.mp3", "Pop/Abba/1.mp3"},
             Case{"D:/Music/Abba/1.mp3", "1.mp3"},
             Case{"\\\\server\\share\\Pop\\Abba\\1.mp3", "Pop/Abba/1.mp3"},
             Case{"\\Pop\\Abba\\1.mp3", "Pop/Abba/1.mp3"},
             Case{"d:\\..\\..\\etc\\passwd", "lists/d:\\..\\..\\etc\\passwd"},
             Case{"D:\\gone\\gone.mp3", "lists/D:\\gone\\gone.mp3"},
             Case{"D:\\x\\Pop\\A\u030Abba\\2.mp3", "Pop/\u00C5bba/2.mp3"},
             Case{"\u00E9/\u00E9.mp3", "lists/e\u0301/e\u0301.mp3"},
             Case{"e\u0301-\u00E9.mp3", "lists/\u00E9-\u00E9.mp3"},
             Case{"\u00E9/gone.mp3", "lists/\u00E9/gone.mp3"},
             Case{"cue%20b.flac_12", "lists/cue b.flac_12"},
             Case{"#1.mp3", "lists/#1.mp3"},
             Case{"file:///C:/x/Pop/Abba/1.mp3", "Pop/Abba/1.mp3"},
             Case{"file:///gone%20there.mp3", "/gone there.mp3"},
             Case{"file://localhost/gone.mp3", "/gone.mp3"},
             Case{"FILE:/gone.mp3", "/gone.mp3"},
         }) {
        EXPECT_EQ(Entries(line.entry + "\r\n"s), Texts{line.means}) << line.entry;
    }
    const std::string url = "file://" + music().string() + "/lists/a%20b.mp3";
    EXPECT_EQ(Entries(url), Texts{"lists/a b.mp3"});
}

TEST_F(PlaylistParser, TagsOfRemoteEntries) {
    const std::filesystem::path path = music() / "l.m3u";
    Touch(path,
          "#EXTINF:5,local\na.mp3\n"
          "#EXTINF:-1 logo=\"a,b\",Radio, \"live\"\n#extinfartist:Ä\n#EXTINFDISC:x\n"
          "#EXTINFTRACK:99999999999\n#EXTINFYEAR:1999\nhttp://r/1\n"
          "http://r/2\n#EXTINF:1,Camera\n  # a comment\nRTSP://r/3\n");
    PVLIBSZLIST list = nullptr;
    PLAYLIST_REC *remote = nullptr;
    ASSERT_EQ(GetCandidateListByPlaylistParse(path.c_str(), &list, &remote), 4);
    VLIBCSzListFree(list);
    const tonvale_test::Songs owned(remote);
    ASSERT_EQ(VARNPlaylistRecCount(remote), 3);
    EXPECT_EQ(remote->info.id, 1U);
    EXPECT_STREQ(remote->info.path, "http://r/1");
    EXPECT_STREQ(remote->info.title, "Radio, \"live\"");
    EXPECT_STREQ(remote->info.artist, "Ä");
    EXPECT_EQ(remote->info.duration, 0);
    EXPECT_EQ(remote->info.disc, 0);
    EXPECT_EQ(remote->info.track, 0);
    EXPECT_EQ(remote->info.year, 1999);
    EXPECT_EQ(remote->next->info.id, 2U);
    EXPECT_STREQ(remote->next->info.title, "");
    EXPECT_STREQ(remote->next->next->info.path, "rtsp://r/3");
    EXPECT_STREQ(remote->next->next->info.title, "Camera");
}

// A file of the package's neighbours is not shown through a link that ends in ".m3u".
TEST_F(PlaylistParser, RootsRightsReachPlaylistsAlone) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs a second account";
    }
    namespace fs = std::filesystem;
    const fs::path home = scratch() / "home";
    fs::create_directory(home);
    fs::permissions(scratch(), fs::perms::all);
    Touch(home / "secret", "secret\n");
    Touch(home / "own.m3u", "a.mp3\n#1 Hits.mp3\n");
    Touch(home / "#1 Hits.mp3");
    const varn::UniqueFd held(open((home / "own.m3u").c_str(), O_RDONLY | O_CLOEXEC));
    fs::permissions(home, fs::perms::owner_all);
    fs::create_symlink(home / "secret", scratch() / "link.m3u");
    PVLIBSZLIST list = nullptr;
    PLAYLIST_REC *remote = nullptr;
    ASSERT_EQ(ResetCredentialsByName("Tonvale", true), 0);
    EXPECT_EQ(GetCandidateListByPlaylistParse((scratch() / "link.m3u").c_str(), &list, &remote),
              -1);
    EXPECT_EQ(list, nullptr);
    // Its entries are looked for with the same rights, and an edit keeps them.
    for (const std::string &own : {(home / "own.m3u").string(), varn::DescriptorPath(held.Get())}) {
        EXPECT_EQ(GetCandidateListByPlaylistParse(own.c_str(), &list, &remote), 2);
        EXPECT_EQ(geteuid(), GetUserIdFromName("Tonvale"));
        VLIBCSzListFree(list);
    }
    EXPECT_EQ(ResetCredentialsByName("root", true), 0);
}

TEST(VirtualNames, NumberBehindAFileWithAnExtension) {
    struct Case {
        const char *name;
        const char *file;  // null: no virtual song
        int track;
    };
    std::array<char, 32> file{};
    for (const Case &name :
         {Case{"/m/a.flac_3", "/m/a.flac", 3}, Case{"/m/a_1.ape_12", "/m/a_1.ape", 12},
          Case{"/m/track_01", nullptr, 0}, Case{"/m/song_7", nullptr, 0},
          Case{"/m/a.mp3", nullptr, 0}, Case{"/m.d/song_7", nullptr, 0},
          Case{"/m/a.flac_03", nullptr, 0}, Case{"/m/a.flac_0", nullptr, 0},
          Case{"/m/a.flac_", nullptr, 0}, Case{"/m/a.flac_-3", nullptr, 0},
          Case{"/m/a.flac_3x", nullptr, 0}, Case{"/m/.flac_3", nullptr, 0},
          Case{"/m/a.flac_99999999999", nullptr, 0}, Case{"", nullptr, 0},
          Case{"/m/a-name-that-does-not-fit.flac_3", nullptr, 0}}) {
        int track = -7;
        file.fill('x');
        const bool isVirtual = IsVirtualPath(name.name, file.data(), file.size(), &track);
        EXPECT_EQ(isVirtual, name.file != nullptr) << name.name;
        EXPECT_EQ(track, isVirtual ? name.track : -7) << name.name;
        EXPECT_EQ(
            std::string(file.data(), isVirtual ? std::char_traits<char>::length(file.data()) : 1),
            isVirtual ? name.file : "x");
    }
}

TEST(VirtualNames, FlagOrDescriptor) {
    VARN_MEDIA_INFO song = {};
    EXPECT_FALSE(IsVirtualMusic(&song));
    EXPECT_EQ(GetVirtualMusicStartPosition(&song), 0);
    song.is_virtual = 1;
    song.virtual_start = 61;
    EXPECT_TRUE(IsVirtualMusic(&song));
    EXPECT_EQ(GetVirtualMusicStartPosition(&song), 61);
    song = {};
    std::string("virtual_track:75").copy(song.comment, sizeof song.comment - 1);
    EXPECT_TRUE(IsVirtualMusic(&song));
    EXPECT_TRUE(IsVirtualMusic("virtual_track:0"));
    EXPECT_EQ(GetVirtualMusicStartPosition(&song), 75);
    for (const char *comment :
         {"virtual_track:", "virtual_track:-1", "virtual_track:1s", "virtual"}) {
        EXPECT_FALSE(IsVirtualMusic(comment)) << comment;
    }
}

}  // namespace
