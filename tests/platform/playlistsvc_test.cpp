// Playlists as other programs write them.
#include "varn/playlistsvc.h"

#include <fcntl.h>

#include <tuple>

#include "playlist/playlist_test.h"
#include "varn/descriptor.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using namespace std::string_literals;

class PlaylistParser : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        fs::create_directories(music() / "lists");
        WriteFile(varn::path::kIndexFolders, music().string() + "\n");
    }

    static fs::path music() { return scratch() / "music"; }

    // The entries of a playlist in the folder "lists"; those in the folder of music relative to it.
    static Texts Entries(std::string_view text, const std::string &name = "list.m3u") {
        const fs::path path = music() / "lists" / name;
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

TEST_F(PlaylistParser, ReadsFilesMadeByHandAndByOtherPrograms) {
    const Texts two = {"lists/a.mp3", "b.mp3"};
    using Case = std::tuple<std::string, std::string, Texts>;
    for (const auto &[name, text, entries] :
         {Case{"l.m3u", "a.mp3\n../b.mp3\n", two},
          Case{"l.m3u", "a.mp3\r\n../b.mp3", two},
          Case{"l.m3u", "#EXTM3U\ra.mp3\r../b.mp3\r", two},
          Case{"l.m3u8", "\xEF\xBB\xBF#EXTM3U\r\na.mp3\r\n../b.mp3\r\n", two},
          Case{"l.m3u", "\xFF\xFE"s + "a\0.\0m\0p\0003\0\r\0\n\0.\0.\0/\0b\0.\0m\0p\0003\0"s, two},
          Case{"l.m3u", "\0a\0.\0m\0p\0003\0\n\0.\0.\0/\0b\0.\0m\0p\0003"s, two},
          Case{"L.M3U", "a.mp3\n../b.mp3\n", two},
          Case{"l.m3u",
               "# mine\n\n#EXTM3U\n#EXTGRP:x\n  "
               "\n#EXTINF:1,T\na.mp3\n\t\n#\n../b.mp3\n#EXTINF:1,Z\n",
               two},
          Case{"l.m3u", "other.m3u\n", {"lists/other.m3u"}},
          Case{"l.m3u", "./x/../a.mp3\n.././b.mp3\n", two},
          Case{"l.m3u", "../../../../../../../../../../../etc/x\n", {"/etc/x"}},
          Case{"l.m3u",
               "http://r/a b?c=%20\n  HTTPS://r/x\nmms://r/y\n",
               {"http://r/a b?c=%20", "https://r/x", "mms://r/y"}},
          Case{"l.m3u", "a.mp3\nb\0.mp3\n"s, {}},
          Case{"l.m3u", "\xFF\xFE"s + "a\0\n\0b\0\0\0"s, {}},
          Case{"l.pls",
               "[playlist]\nNumberOfEntries=2\nFile2=../b.mp3\nTitle1=x\nFile1=a.mp3\nVersion=2\n",
               two},
          Case{"l.PLS", "[PLAYLIST]\r\nfile1 =a.mp3\r\nFILE7=../b.mp3\r\n", two},
          Case{"l.pls", "File99999999999999999999999=../b.mp3\nFile18446744073709551614=a.mp3\n",
               two},
          Case{"l.pls", "File1=\nFileX=y\nFile-1=z\n=w\nFile2=a.mp3\n", {"lists/a.mp3"}},
          Case{"l.wpl",
               "<?wpl version=\"1.0\"?>\n<smil>\n <head><title>T</title></head>\n <body><seq>\n"
               "  <media tid=\"{1}\" src=\"a.mp3\" cid='{2}'/>\n  <MEDIA SRC = '../b.mp3' >\n"
               " </seq></body>\n</smil>",
               two},
          Case{"l.wpl",
               "<media src=\"a &amp; b &lt;&#99;&#x64;&gt; &quot;e&apos;.mp3\"/>",
               {"lists/a & b <cd> \"e'.mp3"}},
          Case{"l.wpl",
               "<media src=\"R&B & C&amp &#0; &x;.mp3\"/>",
               {"lists/R&B & C&amp &#0; &x;.mp3"}},
          Case{"l.wpl", "<media src=\"so \"it\" is.mp3\"/>", {"lists/so \"it\" is.mp3"}},
          Case{"l.wpl",
               "<!-- <media src=\"x\"/> --><media src=\"a.mp3\"/><mediafile src=\"y\"/>"
               "<!-- <media src=\"../b.mp3\"/>",
               two},
          Case{"l.wpl", "<media src=\"a.mp3\n<media src=../b.mp3><media src=<media", two},
          Case{"l.m3u", "#EXTM3U\r\n", {}},
          Case{"l.pls", "[playlist]\r\n", {}},
          Case{"l.wpl", "", {}},
          Case{"l.wpl", "\x89PNG\r\n\x1A\n\0\0\0\rIHDR<<<>\"=&&;"s, {}}}) {
        EXPECT_EQ(Entries(text, name), entries) << text;
    }
}

// This system wrote the list, and another program added a line.
TEST_F(PlaylistParser, ReadsOwnWplListsThatOthersEdited) {
    const std::string head =
        "<?wpl version=\"1.0\"?>\r\n<smil>\r\n<head></head>\r\n<body>\r\n<seq>\r\n"
        "<media src=\"1.mp3\"/>\r\n";
    const std::string tail = "\r\n<media src=\"2.mp3\"/>\r\n</seq>\r\n</body>\r\n</smil>\n\n";
    Touch(music() / "lists" / "say \"x\" y=\"z\".mp3");
    using Case = std::pair<std::string, std::string>;
    for (const auto &[line, means] :
         {Case{"<media src=\"R&amp;B.mp3\"/>", "R&amp;B.mp3"},
          Case{"<media src=\"so \"it\" &amp; is.mp3\"/>", "so \"it\" &amp; is.mp3"},
          Case{"<media src=\"a.mp3\" cid=\"{1}\" tid=\"\"/>", "a.mp3"},
          Case{"<media src=\"R&amp;B.mp3\" cid=\"{1}\"/>", "R&B.mp3"},
          Case{"<media src=\"say \"x\" y=\"z\".mp3\"/>", "say \"x\" y=\"z\".mp3"},
          Case{"<media src=\"say \"x\" y=\"no.mp3\"/>", "say \"x"},
          Case{"    <media src=\"a.mp3\" />", "a.mp3"},
          Case{"<media cid='x' src='R&amp;B.mp3'>", "R&B.mp3"},
          Case{"<media\r\n src=\"a.mp3\"\r\n/>", "a.mp3"}}) {
        EXPECT_EQ(Entries(head + line + tail, "l.wpl"),
                  (Texts{"lists/1.mp3", "lists/" + means, "lists/2.mp3"}))
            << line;
    }
    EXPECT_EQ(Entries(head + "<media src=\"2.m", "l.wpl"), Texts{"lists/1.mp3"}) << "cut short";
}

TEST_F(PlaylistParser, GuessesTheCodePage) {
    EXPECT_EQ(Entries("Beyonc\xE9/D\xE9j\xE0 vu.mp3\r\n"), Texts{"lists/Beyoncé/Déjà vu.mp3"});
    EXPECT_EQ(Entries("\xCA\xE8\xED\xEE/\xC7\xE2\xE5\xE7\xE4\xE0.mp3\r\n"),
              Texts{"lists/Кино/Звезда.mp3"});
}

// Several programs may have written one list.
TEST_F(PlaylistParser, EachLineHasItsOwnEncoding) {
    const std::string ownWpl =
        "<?wpl version=\"1.0\"?>\r\n<smil>\r\n<head></head>\r\n<body>\r\n<seq>\r\n";
    const auto media = [](const std::string &path) { return "<media src=\"" + path + "\"/>\r\n"; };
    const std::string latin1 = "Caf\xE9.mp3";
    using Case = std::tuple<std::string, std::string, Texts>;
    for (const auto &[name, text, entries] :
         {Case{"l.m3u",
               "Dvořák.mp3\r\n" + latin1 + "\r\n日本.mp3\r\n",
               {"lists/Dvořák.mp3", "lists/Café.mp3", "lists/日本.mp3"}},
          Case{"l.m3u",
               latin1 + "\n\xE9t\xE9.mp3\r\xE0.mp3\rDvořák.mp3",
               {"lists/Café.mp3", "lists/été.mp3", "lists/à.mp3", "lists/Dvořák.mp3"}},
          Case{"l.m3u", "#EXTINF:1,Dvo\xC5\nDvořák.mp3\n", {"lists/Dvořák.mp3"}},
          Case{"l.pls",
               "File1=Dvořák.mp3\nFile2=" + latin1 + "\n",
               {"lists/Dvořák.mp3", "lists/Café.mp3"}},
          Case{"l.m3u8", "Dvořák.mp3\n" + latin1, {"lists/Dvořák.mp3", "lists/Caf\uFFFD.mp3"}},
          Case{"l.wpl",
               ownWpl + media("Dvořák.mp3") + media(latin1),
               {"lists/Dvořák.mp3", "lists/Caf\uFFFD.mp3"}},
          Case{"l.wpl",
               media("Dvořák.mp3") + media(latin1),
               {"lists/Dvořák.mp3", "lists/Café.mp3"}}}) {
        EXPECT_EQ(Entries(text, name), entries) << text;
    }
}

// An entry means its own path, unless only a similar one exists.
TEST_F(PlaylistParser, ExistingFilesDecideWhatAnEntryMeans) {
    for (const char *name :
         {"lists/100%.mp3", "lists/a b.mp3", "lists/sub/x.mp3", "Pop/Abba/1.mp3", "1.mp3",
          "lists/e\u0301/e\u0301.mp3", "lists/\u00E9-\u00E9.mp3", "lists/%41.mp3",
          "lists/back\\s.mp3", "lists/#1.mp3", "lists/cue b.flac", "Pop/\u00C5bba/2.mp3"}) {
        Touch(music() / name);
    }
    using Case = std::pair<const char *, std::string>;
    for (const auto &[entry, means] :
         {Case{"100%.mp3", "lists/100%.mp3"}, Case{"%41.mp3", "lists/%41.mp3"},
          Case{"a%20b.mp3", "lists/a b.mp3"}, Case{"  a b.mp3 ", "lists/a b.mp3"},
          Case{"  gone.mp3 ", "lists/  gone.mp3 "}, Case{"sub\\x.mp3", "lists/sub/x.mp3"},
          Case{"..\\Pop\\Abba\\1.mp3", "Pop/Abba/1.mp3"}, Case{"back\\s.mp3", "lists/back\\s.mp3"},
          Case{"D:\\My Music\\Pop\\Abba\\1.mp3", "Pop/Abba/1.mp3"},
          Case{"D:/Music/Abba/1.mp3", "1.mp3"},
          Case{"\\\\server\\share\\Pop\\Abba\\1.mp3", "Pop/Abba/1.mp3"},
          Case{"d:\\..\\..\\etc\\passwd", "lists/d:\\..\\..\\etc\\passwd"},
          Case{"D:\\x\\Pop\\A\u030Abba\\2.mp3", "Pop/\u00C5bba/2.mp3"},
          Case{"\u00E9/\u00E9.mp3", "lists/e\u0301/e\u0301.mp3"},
          Case{"e\u0301-\u00E9.mp3", "lists/\u00E9-\u00E9.mp3"},
          Case{"cue%20b.flac_12", "lists/cue b.flac_12"},
          Case{"file:///C:/x/Pop/Abba/1.mp3", "Pop/Abba/1.mp3"},
          Case{"file:///gone%20there.mp3", "/gone there.mp3"},
          Case{"file://localhost/gone.mp3", "/gone.mp3"}}) {
        EXPECT_EQ(Entries(entry + "\r\n"s), Texts{means}) << entry;
    }
    const std::string url = "file://" + music().string() + "/lists/a%20b.mp3";
    EXPECT_EQ(Entries(url), Texts{"lists/a b.mp3"});
}

TEST_F(PlaylistParser, RemoteEntriesHaveTheTagsBeforeThem) {
    const fs::path path = music() / "l.m3u";
    Touch(path,
          "#EXTINF:5,local\na.mp3\n"
          "#EXTINF:-1 logo=\"a,b\",Radio, \"live\"\n#extinfartist:Ä\n#EXTINFDISC:x\n"
          "#EXTINFTRACK:99999999999\n#EXTINFYEAR:1999\nhttp://r/1\n"
          "http://r/2\n#EXTINF:1,Camera\n  # a comment\nRTSP://r/3\n");
    PVLIBSZLIST list = nullptr;
    PLAYLIST_REC *remote = nullptr;
    ASSERT_EQ(GetCandidateListByPlaylistParse(path.c_str(), &list, &remote), 4);
    VLIBCSzListFree(list);
    const Songs owned(remote);
    std::string all;
    for (const PLAYLIST_REC *entry = remote; entry != nullptr; entry = entry->next) {
        const VARN_MEDIA_INFO &info = entry->info;
        all += std::to_string(info.id) + " " + info.path + " " + info.title + " " + info.artist +
               " " + std::to_string(info.disc + info.track) + " " + std::to_string(info.year) +
               "\n";
        EXPECT_EQ(info.duration, entry == remote ? 0 : info.duration);
    }
    EXPECT_EQ(all,
              "1 http://r/1 Radio, \"live\" Ä 0 1999\n2 http://r/2   0 0\n"
              "3 rtsp://r/3 Camera  0 0\n");
}

// A link that ends in ".m3u" does not show another account's file.
TEST_F(PlaylistParser, RootsRightsReadPlaylistsOnly) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs a second account";
    }
    const fs::path home = music() / "home";
    const fs::path others = scratch() / "private";
    fs::create_directory(home);
    fs::permissions(scratch(), fs::perms::all);
    Touch(home / "secret", "secret\n");
    Touch(home / "own.m3u",
          "a%20b.mp3\n#1 Hits.mp3\n#/../../../private/a b\nlink/a%20b\n../../private/a%20b\n"
          "../../a%20b\n");
    for (const fs::path &file :
         {home / "a b.mp3", home / "#1 Hits.mp3", others / "a b", scratch() / "a b"}) {
        Touch(file);
    }
    fs::permissions(others, fs::perms::owner_all);
    fs::create_symlink(others, home / "link");
    const varn::UniqueFd held(open((home / "own.m3u").c_str(), O_RDONLY | O_CLOEXEC));
    fs::permissions(home, fs::perms::owner_all);
    fs::create_symlink(home / "secret", scratch() / "link.m3u");
    PVLIBSZLIST list = nullptr;
    PLAYLIST_REC *remote = nullptr;
    ASSERT_EQ(ResetCredentialsByName("Tonvale", true), 0);
    EXPECT_EQ(GetCandidateListByPlaylistParse((scratch() / "link.m3u").c_str(), &list, &remote),
              -1);
    EXPECT_EQ(list, nullptr);
    // The entries are looked up with root's rights, also for a list that an edit holds open. These
    // rights find nothing outside of the music.
    for (const std::string &own : {(home / "own.m3u").string(), varn::DescriptorPath(held.Get())}) {
        ASSERT_EQ(GetCandidateListByPlaylistParse(own.c_str(), &list, &remote), 5);
        EXPECT_EQ(geteuid(), GetUserIdFromName("Tonvale"));
        int at = 0;
        for (const fs::path &path : {home / "a b.mp3", home / "#1 Hits.mp3", home / "link/a%20b",
                                     others / "a%20b", scratch() / "a b"}) {
            EXPECT_EQ(VLIBCSzListGet(list, at++), path.string());
        }
        VLIBCSzListFree(list);
    }
    EXPECT_EQ(ResetCredentialsByName("root", true), 0);
}

TEST(VirtualNames, AreAFileWithAnExtensionAndANumber) {
    std::array<char, 32> file{};
    int track = 0;
    const auto parts = [&](const char *name) {
        track = -7;
        file.fill('x');
        const bool isVirtual = IsVirtualPath(name, file.data(), file.size(), &track);
        EXPECT_TRUE(isVirtual || (track == -7 && file[0] == 'x')) << name;
        return isVirtual ? file.data() + (" " + std::to_string(track)) : "none";
    };
    EXPECT_EQ(parts("/m/a.flac_3"), "/m/a.flac 3");
    EXPECT_EQ(parts("/m/a_1.ape_12"), "/m/a_1.ape 12");
    for (const char *name :
         {"/m/track_01", "/m/song_7", "/m/a.mp3", "/m.d/song_7", "/m/a.flac_03", "/m/a.flac_0",
          "/m/a.flac_", "/m/a.flac_-3", "/m/a.flac_3x", "/m/.flac_3", "/m/a.flac_99999999999", "",
          "/m/a-name-that-does-not-fit.flac_3"}) {
        EXPECT_EQ(parts(name), "none");
    }
}

TEST(VirtualNames, AreKnownByTheFlagOrTheComment) {
    VARN_MEDIA_INFO song = {};
    EXPECT_FALSE(IsVirtualMusic(&song));
    song.is_virtual = 1;
    song.virtual_start = 61;
    EXPECT_TRUE(IsVirtualMusic(&song));
    EXPECT_EQ(GetVirtualMusicStartPosition(&song), 61);
    song = {};
    std::string("virtual_track:75").copy(song.comment, sizeof song.comment - 1);
    EXPECT_TRUE(IsVirtualMusic(&song));
    EXPECT_EQ(GetVirtualMusicStartPosition(&song), 75);
    for (const char *comment :
         {"virtual_track:", "virtual_track:-1", "virtual_track:1s", "virtual"}) {
        EXPECT_FALSE(IsVirtualMusic(comment)) << comment;
    }
}

}  // namespace
