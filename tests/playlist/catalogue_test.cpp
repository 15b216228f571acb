// The catalogue of playlists, and what the indexer is told.
#include <array>
#include <cstring>
#include <tuple>

#include "playlist/playlist_test.h"

namespace {

using namespace tonvale_test;
using Playlists = Tonvale::OwnedPlaylists;

class PlaylistCatalogue : public PlaylistTest {
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
    // Takes the notices from the spool.
    static std::string Notices() {
        const std::string text = ReadFile(SystemTest::At(varn::path::kNotifySpool));
        fs::remove(SystemTest::At(varn::path::kNotifySpool));
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
    const std::tuple<const char *, int, Texts> kLists[] = {
        {"shared", 0, {"another playlists", "X A", "x b"}},
        {"personal", 0, {"own Playlists"}},
        {"all", 0, {"another playlists", "own Playlists", "X A", "x b"}},
        {"all", 1, {"another playlists", "own Playlists"}}};
    for (const char *feature : {"yes", "no"}) {  // the lists do not depend on it
        WriteFile(varn::path::kPackageConf,
                  "enable_personal_library=\"" + std::string(feature) + "\"\n");
        for (const auto &[library, folderOnly, titles] : kLists) {
            EXPECT_EQ(Listed(library, 0, 0, folderOnly), titles) << library;
            EXPECT_EQ(VARNPlaylistTotalGet(library, kAlice, folderOnly), std::ssize(titles));
        }
    }
    EXPECT_EQ(Listed("all", 1, 2), (Texts{"own Playlists", "X A"}));
    VARN_PLAYLIST *list = nullptr;
    ASSERT_EQ(VARNPlaylistListAll("shared", kAlice, &list, 0, 1, 0), 0);
    EXPECT_EQ(VARNPlaylistListAll("personal", kAlice, &list, 0, 0, 0), 0);
    EXPECT_EQ(Titles(list), (Texts{"another playlists", "own Playlists"}));
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(VARNPlaylistListAll("nonsense", kAlice, &list, 0, 0, 0), 0);
    EXPECT_EQ(Titles(list), (Texts{"own Playlists", "another playlists"})) << "reversed";
    EXPECT_EQ(VARNPlaylistListAll("shared", 4294967295U, &list, 0, 0, 0), -1);
    EXPECT_EQ(list, nullptr) << "freed";
}

TEST_F(PlaylistCatalogue, FindsPathIdAndTitleOfAPlaylist) {
    const std::string hostile = "/m/it's \\ 100%_\".m3u";
    const std::string shared = AddRow(hostile, "Größe", "m");
    const std::string own = AddRow("/h/own.m3u", "own", "h", kAlice);
    std::array<char, 4096> out{};
    const int size = static_cast<int>(out.size());
    const auto path = [&](const char *library, uid_t uid, const std::string &id, int room = 4096) {
        const int result = VARNPlaylistPathGet(library, uid, std::stoi(id), out.data(), room);
        return std::string(out.data()) + (result == 0 ? "" : "failed");
    };
    EXPECT_EQ(path("shared", kAlice, shared), hostile);
    EXPECT_EQ(path("personal", kAlice, own), "/h/own.m3u");
    EXPECT_EQ(path("personal", kBob, own), "failed");
    EXPECT_EQ(path("shared", kAlice, shared, 5), "failed");
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
    EXPECT_EQ(path("all", kAlice, "1"), "failed");
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Wrong library type\\."));
}

TEST_F(PlaylistCatalogue, BadParametersAreLogged) {
    char out[8];
    const std::string list = In("x.m3u");
    for (const int result :
         {VARNPlaylistPathGet("all", kAlice, 1, nullptr, 9),
          VARNPlaylistIDGet(nullptr, kAlice, out, 8),
          VARNPlaylistDBUpdate(nullptr, kAlice, nullptr, nullptr),
          VARNPlayListUnlink("shared", nullptr, "1"),
          VARNPlaylistRemoveMissing("shared", 4294967295U, "1"),
          VARNPlaylistRemoveSongs("shared", kAlice, "1", ""),
          VARNPlaylistRemoveSongs("shared", kAlice, "no id", "1"),
          VARNPlaylistCheckSong(kAlice, nullptr, "/a"), VARNWriteMusicPlaylist(nullptr, nullptr),
          VARNWriteMusicPlaylistWithMediaList(nullptr, list.c_str())}) {
        EXPECT_EQ(result, -1);
    }
    BackToRoot();
    EXPECT_EQ(LogTexts(Log()),
              "audiolib/playlist:# Bad parameter.\n"
              "audiolib/playlist (#) Bad parameters.\n"
              "audiolib/playlist:# Bad parameters.\n"
              "audiolib/playlist:# Bad parameters.\n"
              "audiolib/playlist:# Bad parameter.\n"
              "audiolib/playlist (#) There is no selected item.\n"
              "audiolib/playlist (#) Failed to get playlist path.\n"
              "audiolib/playlist:# Bad parameter.\n"
              "audiolib/playlist (#) Bad parameter.\n"
              "audiolib/playlist (#) Bad parameter.\n");
}

TEST_F(PlaylistCatalogue, EveryChangeOfARowIsNotified) {
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
    EXPECT_EQ(VARNPlaylistDBDelete("personal", own.c_str()), 0);
    EXPECT_EQ(VARNPlaylistDBDelete("shared", std::to_string(row.id).c_str()), 0);
    EXPECT_EQ(Notices(), "128\t" + own + "\t\n128\t" + std::to_string(row.id) + "\t\n");
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist"), "0");
    EXPECT_EQ(Value("SELECT COUNT(*) FROM personal_playlist"), "0");
}

TEST_F(PlaylistCatalogue, ARowThatIsGoneIsLeftToTheIndexer) {
    const auto install = [](const std::string &script) {
        fs::remove(SystemTest::At(varn::path::kIndexer));
        WriteFile(varn::path::kIndexer, "#!/bin/sh\n" + script + "\n");
        fs::permissions(SystemTest::At(varn::path::kIndexer), fs::perms::all);
    };
    install("echo \"$@\" >> \"$TONVALE_ROOT/seen\"; exit 3");
    EXPECT_EQ(VARNPlaylistDBDelete("shared", "4711"), -1);
    EXPECT_TRUE(Logged("Failed to remove playlist \\[4711\\]"));
    EXPECT_EQ(VARNPlaylistDBDelete("personal", "4711"), -1);
    for (const char *id : {"", "x", "--purge", "1;2", "-1"}) {
        EXPECT_EQ(VARNPlaylistDBDelete("shared", id), -1) << id;
    }
    EXPECT_EQ(ReadFile(root() / "seen"), "-d 4711\n");
    EXPECT_EQ(Notices(), "128\t4711\t\n128\t4711\t\n") << "notified all the same";
    install("exit 0");
    EXPECT_EQ(VARNPlaylistDBDelete("shared", "4711"), 0) << "the indexer did it";
    Touch(In("x.m3u"), "a\n");
    EXPECT_EQ(VARNPlayListUnlink("neither", In("x.m3u").c_str(), "4711"), -1);
    EXPECT_EQ(VARNPlayListUnlink("shared", In("x.m3u").c_str(), "1;2"), -1);
    EXPECT_TRUE(fs::exists(In("x.m3u")));
    // With its file, or without one.
    for (int i = 0; i < 2; ++i) {
        const std::string id = AddRow(In("x.m3u"), "x", "m");
        EXPECT_EQ(VARNPlayListUnlink("shared", In("x.m3u").c_str(), id.c_str()), 0);
        BackToRoot();
        EXPECT_FALSE(fs::exists(In("x.m3u")));
        EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist"), "0");
    }
}

TEST_F(PlaylistCatalogue, ListsAUsersOwnFolder) {
    const fs::path folder =
        SystemTest::At(std::string(varn::path::kPreferences) + "/alice/playlists");
    const auto listed = [] {
        VARN_PLAYLIST *list = nullptr;
        EXPECT_EQ(VARNPersonalPlaylistListAll("alice", &list), 0);
        return Titles(Playlists(list).get());
    };
    EXPECT_EQ(listed(), Texts()) << "there is no such folder yet";
    for (const char *name : {"b [1].m3u", "a.b.m3u", "c.pls", ".hidden.m3u"}) {
        Touch(folder / name);
    }
    fs::create_symlink(folder / "nowhere", folder / "dead.m3u");
    EXPECT_EQ(listed(), (Texts{"a.b ", "b [1] "}));
    EXPECT_EQ(VARNPersonalPlaylistTotalGet("alice"), 2);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ .*/dead\\.m3u is not a valid path"));
    EXPECT_EQ(VARNPersonalPlaylistTotalGet("../alice"), -1);
    EXPECT_EQ(VARNPersonalPlaylistTotalGet("*"), 0);
    fs::create_directory_symlink(folder, scratch() / "link");
    for (const fs::path &own :
         {folder / "a.m3u", scratch() / "link/a.m3u", folder / "../playlists/a.m3u"}) {
        EXPECT_TRUE(VARNPlaylistIsOriginalPersonalPlaylist(own.c_str(), "alice")) << own;
    }
    for (const fs::path &other : {folder / "sub/a.m3u", music() / "a.m3u", fs::path("a.m3u")}) {
        EXPECT_FALSE(VARNPlaylistIsOriginalPersonalPlaylist(other.c_str(), "alice")) << other;
    }
    EXPECT_FALSE(VARNPlaylistIsOriginalPersonalPlaylist((folder / "a.m3u").c_str(), "bob"));
}

TEST_F(PlaylistCatalogue, ASmartListHasPagesACountAndRatings) {
    AddSong({.path = In("3"), .title = "3", .album = "b", .track = 1});
    AddSong({.path = In("2"), .title = "2", .album = "A", .track = 2});
    AddSong({.path = In("1"), .title = "1", .album = "A", .track = 1});
    AddSong({.path = In("0"), .title = "no", .album = "A"});
    PVLIBSZHASH hash = VLIBCSzHashAlloc(0);
    PLAYLIST_REC *list = nullptr;
    int count = -1;
    const auto open = [&](const char *rules) {
        const int result =
            VARNPlaylistSmartListSongs(kAlice, &list, &hash, rules, &count, 0, 2, "all");
        return std::pair(result, Shown(Songs(list)));
    };
    EXPECT_EQ(open("title <> 'no'"), std::pair(2, Texts{"3 " + In("1"), "2 " + In("2")}));
    EXPECT_EQ(count, 3);
    std::string rating;
    PLAYLIST_REC third = {};
    third.info.id = 3;
    EXPECT_EQ(GetSongHashValue(&hash, &third, rating, nullptr), 0);
    EXPECT_EQ(open("title = '?'"), std::pair(0, Texts()));
    EXPECT_EQ(count, 0);
    EXPECT_EQ(open("no such column = 1"), std::pair(-1, Texts()));
    VLIBCSzHashFree(hash);
}

}  // namespace
