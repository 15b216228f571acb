// Rows of folders and playlists.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tonvale/pins.h"
#include "varnindex/scan_fixture.h"

namespace {

using namespace tonvale_test;

using ListsTest = ScanTest;

TEST_F(ListsTest, FoldersOfSongsAndListsAreStoredAndWrittenOnce) {
    Put("rock/one/1.mp3");
    Put("rock-live/3.mp3");
    Write("lists/Best of.M3U8", "#EXTM3U\n");
    Write("lists/empty/notes.txt", "no music");
    Index();
    EXPECT_EQ(Query("SELECT regexp_replace(path, '^.*/music', '') FROM directory ORDER BY path"),
              (Rows{{""}, {"/lists"}, {"/rock"}, {"/rock-live"}, {"/rock/one"}}));
    EXPECT_EQ(Query("SELECT title, album FROM playlist"), (Rows{{"Best of", "lists"}}));
    // A lock of a row is written into it: it changes "xmax".
    const std::string versions =
        "SELECT xmin, xmax FROM list_contents UNION ALL SELECT xmin, xmax FROM playlist"
        " UNION ALL SELECT xmin, xmax FROM directory";
    const Rows written = Query(versions);
    Index();
    EXPECT_EQ(Query(versions), written);
}

TEST_F(ListsTest, LinksAndPinsOfAMovedListStay) {
    EnableHomes(true);
    Put("1.mp3");
    Write("a/\xC3\xA9 'x\\.m3u", "1");
    Touch(Home("alice") / "music/mine.pls", "[playlist]\n");
    Index();
    const std::string lists =
        "(SELECT 'shared' AS library, id, date, path, title FROM playlist UNION ALL"
        " SELECT 'personal', id, date, path, title FROM personal_playlist) t";
    Query(
        "INSERT INTO playlist_sharing (id, user_id, playlist_id, path) SELECT library, 1030,"
        " 'playlist_' || library || '_normal/' || id, path FROM " +
        lists);
    const Rows before = Query("SELECT id, date FROM " + lists + " ORDER BY library");
    Json::Value view(Json::objectValue);
    view["playlist"] = "playlist_shared_normal/" + Value("SELECT id FROM playlist");
    Tonvale::PinManager pins(1030, "alice");
    Tonvale::PinData pin;
    ASSERT_TRUE(pins.Pin("playlist", view, "pinned", pin)) << pins.GetErrorCode();
    fs::create_directory(Music() / "b");
    fs::rename(Music() / "a/\xC3\xA9 'x\\.m3u", Music() / "b/\xC3\xA9 \"y.M3U8");
    fs::rename(Home("alice") / "music/mine.pls", Home("alice") / "music/yours.pls");
    Expect(Index(), "unchanged 1; playlists: moved 2");
    EXPECT_EQ(Query("SELECT id, date FROM " + lists + " ORDER BY library"), before);
    EXPECT_EQ(Query("SELECT title FROM " + lists +
                    " JOIN playlist_sharing s ON s.path = t.path"
                    " AND s.id = library ORDER BY title"),
              (Rows{{"yours"}, {"\xC3\xA9 \"y"}}));
    EXPECT_FALSE(pins.Pin("playlist", view, "again", pin));
    EXPECT_EQ(pins.GetErrorCode(), Tonvale::PIN_ERROR_EXISTS);
}

}  // namespace
