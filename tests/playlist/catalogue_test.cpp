// The catalogue of playlists, and what the indexer is told.
#include <array>
#include <cstring>

#include "playlist/playlist_test.h"
#include "tonvale/media.h"

namespace {

using tonvale_test::Songs;
using tonvale_test::Texts;

using Playlists = Tonvale::OwnedPlaylists;

class PlaylistCatalogue : public tonvale_test::PlaylistTest {
  protected:
    static Texts Titles(const VARN_PLAYLIST *list) {
        Texts titles;
        for (; list != nullptr; list = list->next) {
            titles.push_back(std::string(list->title) + " " + list->album);
        }
        return titles;
    }
    static Texts Listed(const char *library, int offset = 0, int limit = 0, int folderOnly = 0) {
        VARN_PLAYLIST *list = nullptr;
        EXPECT_EQ(VARNPlaylistListAll(library, kAlice, &list, offset, limit, folderOnly), 0);
        return Titles(Playlists(list).get());
    }
    static VARN_MEDIA_INFO Row(unsigned id, const std::string &path, const std::string &title) {
        VARN_MEDIA_INFO row = Record(id, path);
        title.copy(row.title, sizeof row.title - 1);
        return row;
    }
    // The notices that nobody has fetched, and the spool without them.
    static std::string Notices() {
        const std::string text = ReadFile(SystemTest::At(varn::path::kNotifySpool));
        std::filesystem::remove(SystemTest::At(varn::path::kNotifySpool));
        return text;
    }
};

TEST_F(PlaylistCatalogue, ListsByTitleThenFolder) {
    AddRow("/m/b/x.m3u", "x", "b");
    AddRow("/m/a/X.m3u", "X", "A");
    AddRow("/m/c.m3u", "another", "playlists");
    AddRow("/m/sheet.CUE", "sheet", "playlists");
    AddRow("/h/own.m3u", "own", "Playlists", kAlice);
    AddRow("/h/his.m3u", "his", "playlists", kBob);
    EXPECT_EQ(Listed("shared"), (Texts{"another playlists", "X A", "x b"}));
    EXPECT_EQ(Listed("all"), (Texts{"another playlists", "own Playlists", "X A", "x b"}));
    EXPECT_EQ(Listed("all", 1, 2), (Texts{"own Playlists", "X A"}));
    EXPECT_EQ(Listed("all", 0, 0, 1), (Texts{"another playlists", "own Playlists"}));
    for (const char *feature : {"yes", "no"}) {  // the lists ask nobody whether there are libraries
        WriteFile(varn::path::kPackageConf,
                  "enable_personal_library=\"" + std::string(feature) + "\"\n");
        for (const auto &[library, folderOnly, total] :
             {std::tuple("shared", 0, 3), {"personal", 0, 1}, {"all", 0, 4}, {"all", 1, 2}}) {
            EXPECT_EQ(VARNPlaylistTotalGet(library, kAlice, folderOnly), total) << library;
            EXPECT_EQ(Listed(library, 0, 0, folderOnly).size(), static_cast<std::size_t>(total));
        }
    }
    VARN_PLAYLIST *list = nullptr;
    ASSERT_EQ(VARNPlaylistListAll("shared", kAlice, &list, 0, 1, 0), 0);
    EXPECT_EQ(VARNPlaylistListAll("personal", kAlice, &list, 0, 0, 0), 0);
    EXPECT_EQ(Titles(list), (Texts{"another playlists", "own Playlists"}));
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(VARNPlaylistListAll("nonsense", kAlice, &list, 0, 0, 0), 0);
    EXPECT_EQ(Titles(list), (Texts{"own Playlists", "another playlists"})) << "turned round";
    EXPECT_EQ(VARNPlaylistListAll("shared", 4294967295U, &list, 0, 0, 0), -1);
    EXPECT_EQ(list, nullptr) << "freed";
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Bad parameter\\."));
}

TEST_F(PlaylistCatalogue, PathIdAndTitle) {
    const std::string hostile = "/m/it's \\ 100%_\".m3u";
    const std::string shared = AddRow(hostile, "Größe", "m");
    const std::string own = AddRow("/h/own.m3u", "own", "h", kAlice);
    std::array<char, 4096> out{};
    const int size = static_cast<int>(out.size());
    EXPECT_EQ(VARNPlaylistPathGet("shared", kAlice, std::stoi(shared), out.data(), size), 0);
    EXPECT_EQ(out.data(), hostile);
    EXPECT_EQ(VARNPlaylistPathGet("personal", kAlice, std::stoi(own), out.data(), size), 0);
    EXPECT_STREQ(out.data(), "/h/own.m3u");
    EXPECT_EQ(VARNPlaylistPathGet("personal", kBob, std::stoi(own), out.data(), size), -1);
    EXPECT_STREQ(out.data(), "");
    EXPECT_EQ(VARNPlaylistPathGet("shared", kAlice, std::stoi(shared), out.data(), 5), -1);
    EXPECT_EQ(VARNPlaylistIDGet(hostile.c_str(), kAlice, out.data(), size), 0);
    EXPECT_EQ(out.data(), shared);
    EXPECT_EQ(VARNPlaylistIDGet("/h/own.m3u", kAlice, out.data(), size), 0);
    EXPECT_EQ(out.data(), own);
    EXPECT_EQ(VARNPlaylistIDGet("/h/own.m3u", kBob, out.data(), size), -1);
    EXPECT_EQ(VARNPlaylistTitleGetByPath(hostile.c_str(), out.data(), size, kAlice), 0);
    EXPECT_STREQ(out.data(), "Größe");
    EXPECT_EQ(VARNPlaylistTitleGet((shared + "junk").c_str(), out.data(), size), 0);
    BackToRoot();
    EXPECT_STREQ(out.data(), "Größe");
    EXPECT_TRUE(Log().empty());
    for (const char *id : {"", "x", "0", "-1", "99999999999999999999", "4294967297"}) {
        EXPECT_EQ(VARNPlaylistTitleGet(id, out.data(), size), -1) << id;
        BackToRoot();
    }
    ClearLog();
    EXPECT_EQ(VARNPlaylistPathGet("all", kAlice, 1, out.data(), size), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Wrong library type\\."));
    EXPECT_EQ(VARNPlaylistPathGet("all", kAlice, 1, nullptr, size), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Bad parameter\\."));
    EXPECT_EQ(VARNPlaylistIDGet(nullptr, kAlice, out.data(), size), -1);
    EXPECT_TRUE(Logged("audiolib/playlist \\([0-9]+\\) Bad parameters\\."));
}

TEST_F(PlaylistCatalogue, RowsAndNotices) {
    VARN_MEDIA_INFO row = Row(0, "/m/it's.m3u", "it's");
    EXPECT_EQ(VARNPlaylistDBSave(&row), 0);
    BackToRoot();
    EXPECT_EQ(Notices(), "64\t/m/it's.m3u\t\n");
    row.id = static_cast<unsigned>(
        std::stoi(Value("SELECT id FROM playlist WHERE path = '/m/it''s.m3u'")));
    std::strcpy(row.title, "new");
    EXPECT_EQ(VARNPlaylistDBUpdate("shared", kAlice, &row, nullptr), 0);
    EXPECT_EQ(Notices(), "2\t/m/it's.m3u\t\n");
    std::strcpy(row.path, "/m/new.m3u");
    EXPECT_EQ(VARNPlaylistDBUpdate("shared", kAlice, &row, "/m/it's.m3u"), 0);
    EXPECT_EQ(Notices(), "256\t/m/new.m3u\t/m/it's.m3u\n");
    EXPECT_EQ(Query("SELECT path, title FROM playlist"), (Rows{{"/m/new.m3u", "new"}}));
    const std::string own = AddRow("/h/own.m3u", "own", "h", kAlice);
    VARN_MEDIA_INFO his = Row(static_cast<unsigned>(std::stoi(own)), "/h/x.m3u", "x");
    EXPECT_EQ(VARNPlaylistDBUpdate("personal", kBob, &his, nullptr), -1) << "it is hers";
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Failed to update playlist in DB\\."));
    EXPECT_EQ(Notices(), "");
    EXPECT_EQ(VARNPlaylistDBUpdate("personal", kAlice, &his, ""), 0);
    EXPECT_EQ(Notices(), "2\t/h/x.m3u\t\n");
    EXPECT_EQ(VARNPlaylistDBUpdate(nullptr, kAlice, &his, nullptr), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Bad parameters\\."));
    EXPECT_EQ(VARNPlaylistDBDelete("personal", own.c_str()), 0);
    EXPECT_EQ(VARNPlaylistDBDelete("shared", std::to_string(row.id).c_str()), 0);
    EXPECT_EQ(Notices(), "128\t" + own + "\t\n128\t" + std::to_string(row.id) + "\t\n");
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist"), "0");
    EXPECT_EQ(Value("SELECT COUNT(*) FROM personal_playlist"), "0");
}

TEST_F(PlaylistCatalogue, ARowThatIsGoneIsLeftToTheIndexer) {
    std::filesystem::remove(SystemTest::At(varn::path::kIndexer));
    WriteFile(varn::path::kIndexer, "#!/bin/sh\necho \"$@\" > \"$TONVALE_ROOT/seen\"\nexit 3\n");
    std::filesystem::permissions(SystemTest::At(varn::path::kIndexer), std::filesystem::perms::all);
    EXPECT_EQ(VARNPlaylistDBDelete("shared", "4711"), -1);
    EXPECT_EQ(ReadFile(root() / "seen"), "-d 4711\n");
    EXPECT_EQ(Notices(), "128\t4711\t\n") << "notified all the same";
    EXPECT_TRUE(Logged("Failed to remove playlist \\[4711\\]"));
    std::filesystem::remove(root() / "seen");
    EXPECT_EQ(VARNPlaylistDBDelete("personal", "4711"), -1);
    for (const char *id : {"", "x", "--purge", "1;2", "-1"}) {
        EXPECT_EQ(VARNPlaylistDBDelete("shared", id), -1) << id;
    }
    EXPECT_FALSE(std::filesystem::exists(root() / "seen"));
    EXPECT_EQ(Notices(), "128\t4711\t\n");
    WriteFile(varn::path::kIndexer, "#!/bin/sh\nexit 0\n");
    EXPECT_EQ(VARNPlaylistDBDelete("shared", "4711"), 0) << "the indexer has seen to it";
    Touch(In("kept.m3u"), "a\n");
    EXPECT_EQ(VARNPlayListUnlink("neither", In("kept.m3u").c_str(), "4711"), -1);
    EXPECT_EQ(VARNPlayListUnlink("shared", In("kept.m3u").c_str(), "1;2"), -1);
    EXPECT_TRUE(std::filesystem::exists(In("kept.m3u")));
}

TEST_F(PlaylistCatalogue, UnlinkTakesFileAndRow) {
    Touch(In("x.m3u"), "a\n");
    const std::string id = AddRow(In("x.m3u"), "x", "m");
    const std::string gone = AddRow(In("gone.m3u"), "x", "m");
    EXPECT_EQ(VARNPlayListUnlink("shared", In("x.m3u").c_str(), id.c_str()), 0);
    EXPECT_EQ(VARNPlayListUnlink("shared", In("gone.m3u").c_str(), gone.c_str()), 0);
    BackToRoot();
    EXPECT_FALSE(std::filesystem::exists(In("x.m3u")));
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist"), "0");
    EXPECT_EQ(VARNPlayListUnlink("shared", nullptr, "1"), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Bad parameters\\."));
}

TEST_F(PlaylistCatalogue, OwnFolder) {
    namespace fs = std::filesystem;
    const fs::path folder =
        SystemTest::At(std::string(varn::path::kPreferences) + "/alice/playlists");
    VARN_PLAYLIST *list = nullptr;
    EXPECT_EQ(VARNPersonalPlaylistListAll("alice", &list), 0);
    EXPECT_EQ(list, nullptr) << "there is no such folder yet";
    Touch(folder / "b [1].m3u");
    Touch(folder / "a.b.m3u");
    Touch(folder / "c.pls");
    Touch(folder / ".hidden.m3u");
    fs::create_symlink(folder / "nowhere", folder / "dead.m3u");
    EXPECT_EQ(VARNPersonalPlaylistListAll("alice", &list), 0);
    EXPECT_EQ(Titles(Playlists(list).get()), (Texts{"a.b ", "b [1] "}));
    EXPECT_EQ(VARNPersonalPlaylistTotalGet("alice"), 2);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ .*/dead\\.m3u is not a valid path"));
    EXPECT_EQ(VARNPersonalPlaylistTotalGet("../alice"), -1);
    EXPECT_EQ(VARNPersonalPlaylistTotalGet("*"), 0);
    fs::create_directory_symlink(folder, scratch() / "link");
    struct Case {
        std::string path;
        bool own;
    };
    for (const Case &file :
         {Case{(folder / "a.m3u").string(), true}, Case{(scratch() / "link/a.m3u").string(), true},
          Case{(folder / "../playlists/a.m3u").string(), true},
          Case{(folder / "sub/a.m3u").string(), false}, Case{In("a.m3u"), false},
          Case{"a.m3u", false}, Case{"", false}}) {
        EXPECT_EQ(VARNPlaylistIsOriginalPersonalPlaylist(file.path.c_str(), "alice"), file.own)
            << file.path;
    }
    EXPECT_FALSE(VARNPlaylistIsOriginalPersonalPlaylist((folder / "a.m3u").c_str(), "bob"));
}

TEST_F(PlaylistCatalogue, SmartLists) {
    AddSong({.path = In("3"), .title = "3", .album = "b", .track = 1});
    AddSong({.path = In("2"), .title = "2", .album = "A", .track = 2});
    AddSong({.path = In("1"), .title = "1", .album = "A", .track = 1});
    AddSong({.path = In("0"), .title = "no", .album = "A"});
    PLAYLIST_REC *list = nullptr;
    int count = -1;
    PVLIBSZHASH hash = VLIBCSzHashAlloc(0);
    EXPECT_EQ(
        VARNPlaylistSmartListSongs(kAlice, &list, &hash, "title <> 'no'", &count, 0, 2, "all"), 2);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(Shown(Songs(list)), (Texts{"3 " + In("1"), "2 " + In("2")}));
    std::string rating;
    PLAYLIST_REC third = {};
    third.info.id = 3;
    EXPECT_EQ(GetSongHashValue(&hash, &third, rating, nullptr), 0);
    VLIBCSzHashFree(hash);
    EXPECT_EQ(
        VARNPlaylistSmartListSongs(kAlice, &list, nullptr, "title = '?'", &count, 0, 0, "all"), 0);
    EXPECT_EQ(count, 0);
    for (const char *rules : {"", "no such column = 1"}) {
        EXPECT_EQ(VARNPlaylistSmartListSongs(kAlice, &list, nullptr, rules, &count, 0, 0, "all"),
                  -1);
        EXPECT_EQ(list, nullptr);
    }
}

// ---- places -------------------------------------------------------------------------------------

TEST(UsbVolumes, ByMountOrDevice) {
    struct Case {
        const char *path;
        int result;
    };
    for (const Case &place :
         {Case{"/volumeUSB1/usbshare/a.mp3", 1}, Case{"/volumeUSB12", 1}, Case{"/volumeUSB/a", 0},
          Case{"/volumeUSBx/a", 0}, Case{"/volumeUSB1x/a", 0}, Case{"/", 0}, Case{"/no/such", 0},
          Case{"/proc/self/stat", 0}, Case{"a.mp3", -1}, Case{"", -1}, Case{nullptr, -1}}) {
        EXPECT_EQ(VARNAudioIsUSBVolume(place.path), place.result)
            << (place.path != nullptr ? place.path : "null");
    }
}

}  // namespace
