// Rows of playlists and cue sheets, and of the folders.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tonvale/pins.h"
#include "varnindex/scan_fixture.h"

namespace {

using namespace tonvale_test;

class ListsTest : public ScanTest {};

TEST_F(ListsTest, FoldersAndLists) {
    Put("rock/one/1.mp3");
    Put("rock/one/2.mp3");
    Put("rock-live/3.mp3");
    Write("lists/Best of.M3U8", "#EXTM3U\n");
    Write("lists/empty/notes.txt", "no music");
    const auto paths = [](const char *table) {
        Rows rows = Query(std::string("SELECT path FROM ") + table + " ORDER BY path");
        for (auto &row : rows) {
            row.front().erase(0, scratch().string().size() + 1);
        }
        return rows;
    };
    Index();
    EXPECT_EQ(
        paths("directory"),
        (Rows{
            {"music"}, {"music/lists"}, {"music/rock"}, {"music/rock-live"}, {"music/rock/one"}}));
    EXPECT_EQ(Query("SELECT title, album FROM playlist"), (Rows{{"Best of", "lists"}}));
    const Rows ids = Query("SELECT id FROM directory UNION ALL SELECT id FROM playlist");
    // A row that is locked, which writes it, too, has another "xmax".
    const std::string versions =
        "SELECT xmin, xmax FROM list_contents UNION ALL SELECT xmin, xmax FROM playlist"
        " UNION ALL SELECT xmin, xmax FROM directory";
    const Rows written = Query(versions);
    Index();
    EXPECT_EQ(Query(versions), written);
    EXPECT_EQ(Query("SELECT id FROM directory UNION ALL SELECT id FROM playlist"), ids);
    fs::remove_all(Music() / "rock-live");
    fs::remove(Music() / "lists/Best of.M3U8");
    Index({(Music() / "rock").string()});  // which is not where they were
    EXPECT_EQ(paths("directory").size(), 5U);
    Index();
    EXPECT_EQ(paths("directory"), (Rows{{"music"}, {"music/rock"}, {"music/rock/one"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM playlist"), "0");
    Put("4.mp3");
    Write("rock/one/cover.txt", "no music");
    Index();
    for (const char *song : {"1.mp3", "2.mp3"}) {
        fs::remove(Music() / "rock/one" / song);
    }
    Index({(Music() / "rock/one").string()});
    EXPECT_EQ(paths("directory"), Rows{{"music"}});
}

// With the links and pins that hang on them. Of equal lists each goes by its name or its time.
TEST_F(ListsTest, MovedListsKeepTheirRows) {
    EnableHomes(true);
    Put("1.mp3");
    for (const char *name : {"a/\xC3\xA9 'x\\.m3u", "a/two.m3u", "b/same.m3u", "c/same.m3u",
                             "emptied/3.m3u", "homes/4.m3u", "replaced/5.m3u"}) {
        Write(name, std::string(name).ends_with("same.m3u") ? "same" : name);
    }
    Write("a/stays.m3u", "same");
    std::ofstream(Home("alice") / "music/mine.pls") << "[playlist]\n";
    Index();
    const auto lists = [] {
        return Query(
            "SELECT id, date, regexp_replace(path, '^.*/music/', '') FROM (SELECT id, date,"
            " path FROM playlist UNION ALL SELECT id, date, path FROM personal_playlist) t"
            " ORDER BY id");
    };
    Rows wanted = lists();
    Query(
        "INSERT INTO playlist_sharing (id, user_id, playlist_id, path) SELECT 'link' || id, 1030,"
        " 'playlist_shared_normal/' || id, path FROM playlist UNION ALL SELECT 'link' || id, 1030,"
        " 'playlist_personal_normal/' || id, path FROM personal_playlist");
    Json::Value view(Json::objectValue);
    view["playlist"] =
        "playlist_shared_normal/" + Value("SELECT id FROM playlist WHERE title LIKE '_ _x%'");
    Tonvale::PinManager pins(1030, "alice");
    Tonvale::PinData pin;
    ASSERT_TRUE(pins.Pin("playlist", view, "pinned", pin)) << pins.GetErrorCode();
    const auto move = [&](const fs::path &from, const fs::path &to) {
        fs::create_directories((Music() / to).parent_path());
        fs::rename(Music() / from, Music() / to);
        for (auto &row : wanted) {
            row[2] = row[2] == from ? to.string() : row[2];
        }
    };
    move("a/\xC3\xA9 'x\\.m3u", "a/\xC3\xA9 \"y.M3U8");
    move("a/two.m3u", "z/other/two.m3u");
    move("b/same.m3u", "y/b/same.m3u");
    move("c/same.m3u", "y/c/same.m3u");
    move("emptied/3.m3u", "x/3.m3u");
    fs::rename(Home("alice") / "music/mine.pls", Home("alice") / "music/yours.pls");
    wanted.back()[2] = "yours.pls";
    const std::string counts = "unchanged 1; playlists: moved 6, unchanged 3";
    Expect(Index({"--dry-run"}), counts);
    EXPECT_NE(lists(), wanted);
    Expect(Index(), counts);
    EXPECT_EQ(lists(), wanted);
    EXPECT_EQ(Value("SELECT count(*) FROM playlist_sharing s JOIN (SELECT id, path FROM playlist"
                    " UNION ALL SELECT id, path FROM personal_playlist) t ON s.path = t.path"
                    " AND s.id = 'link' || t.id"),
              "9");
    EXPECT_FALSE(pins.Pin("playlist", view, "again", pin));
    EXPECT_EQ(pins.GetErrorCode(), Tonvale::PIN_ERROR_EXISTS);
    EXPECT_EQ(Value("SELECT count(*) FROM playlist WHERE title = '\xC3\xA9 \"y'"), "1");
    // Another owner's, or another list in its place, has a row of its own.
    fs::rename(Music() / "homes/4.m3u", Home("alice") / "music/4.m3u");
    fs::remove(Music() / "replaced/5.m3u");
    Write("replaced/6.m3u", "other");
    Expect(Index({"--purge"}), "unchanged 1; playlists: added 2, removed 2, unchanged 7");
}

}  // namespace
