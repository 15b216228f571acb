// What a scan makes of cue sheets.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "varnindex/scan_fixture.h"

namespace {

using namespace tonvale_test;

class SheetsTest : public ScanTest {};

TEST_F(SheetsTest, ASheetSplitsItsFile) {
    Put("disc/album.flac", "tone.flac");
    Write("disc/album.cue", Sheet("album.wav"));
    Expect(Index(), "added 1");
    const std::string tracks =
        "SELECT t.track, title, artist, album, album_artist, audio_offset,"
        " round(duration::numeric, 2), has_virtual, cue_sheet_path LIKE '%/album.cue'"
        " FROM track t JOIN artist_track a ON a.track = id JOIN album_track b ON b.track = id"
        " LEFT JOIN virtual_info_track v ON v.track = id ORDER BY is_virtual, t.track";
    EXPECT_EQ(Query(tracks),
              (Rows{{"3", "The Tóne", "O'Brien", "A Test", "The Band", "", "1.00", "t", ""},
                    {"1", "One", "Band", "Disc", "Band", "0", "0.67", "f", "t"},
                    {"2", "Two", "Guest", "Disc", "Band", "0", "0.33", "f", "t"}}));
    Expect(Index(), "unchanged 1");
    const Rows ids = Query("SELECT id FROM track ORDER BY id");
    Write("disc/album.cue", Sheet("album.wav", "Another one"));
    Expect(Index(), "changed 1");
    EXPECT_EQ(Value("SELECT title FROM track WHERE is_virtual AND track = 1"), "Another one");
    EXPECT_EQ(Query("SELECT id FROM track ORDER BY id"), ids);
    fs::remove(Music() / "disc/album.cue");
    Expect(Index(), "changed 1");
    EXPECT_EQ(Query("SELECT title, has_virtual FROM track"), (Rows{{"The Tóne", "f"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track"), "0");
    EXPECT_EQ(SideRows(), "5");
}

// A file that is copied over the old one ends early for a while.
TEST_F(SheetsTest, TracksStayWhileTheirFileIsTooShort) {
    std::string audio = ReadFile(Samples() / "plain.mp3");
    audio.erase(0, audio.find("\xFF\xFB", audio.find("Info")));  // the length is told there
    Write("album.mp3", audio);
    Write("album.cue", Sheet("album.mp3"));
    Index();
    Rate("is_virtual", 3);
    const std::string tracks =
        "SELECT t.*, v.* FROM track t JOIN virtual_info_track v"
        " ON v.track = id ORDER BY id";
    const Rows before = Query(tracks);
    ASSERT_EQ(before.size(), 2U);
    Write("album.mp3", audio.substr(0, audio.size() / 2));
    const Finished half = Index();
    Expect(half, "!changed 1");
    ExpectSaid(half, "album.mp3: it ends before track 2 of its");
    EXPECT_EQ(Query(tracks), before);
    Expect(Index(), "!unchanged 1");
    Write("album.mp3", audio);
    Expect(Index(), "changed 1");
    EXPECT_EQ(Query("SELECT id, track FROM track WHERE is_virtual ORDER BY id").size(), 2U);
    EXPECT_EQ(Ratings(), (Rows{{"album.mp3", "1", "3"}, {"album.mp3", "2", "3"}}));
    EXPECT_EQ(Value("SELECT id FROM track WHERE is_virtual AND track = 2"), before[1][0]);
    // Only --purge removes the tracks of a file that stays short.
    Write("album.mp3", audio.substr(0, audio.size() / 2));
    Expect(Index({"--purge"}), "changed 1");
    EXPECT_EQ(Ratings(), (Rows{{"album.mp3", "1", "3"}}));
    Expect(Index({"--full"}), "changed 1");
}

TEST_F(SheetsTest, OfSeveralSheetsTheNearestNameIsUsed) {
    const fs::path path = Put("album.flac", "tone.flac");
    EmbedSheet(path, Sheet("CDImage.wav", "Inside"));
    const std::string first = "SELECT title FROM track WHERE is_virtual AND track = 1";
    Index();
    EXPECT_EQ(Value(first), "Inside");
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track WHERE cue_sheet_path = '" +
                    path.string() + "'"),
              "2");
    for (const auto &[name, title] : {std::pair("b.cue", "Beside"),
                                      {"a.cue", "By name order"},
                                      {"album.flac.cue", "By its name"}}) {
        Write(name, Sheet("album.flac", title));
        Expect(Index(), "changed 1");
        EXPECT_EQ(Value(first), title);
    }
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE is_virtual"), "2");
}

}  // namespace
