// What a scan makes of cue sheets.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "varnindex/scan_fixture.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::Finished;
using tonvale_test::Samples;
class SheetsTest : public tonvale_test::ScanTest {};

TEST_F(SheetsTest, ASheetSplitsItsFile) {
    Put("disc/album.flac", "tone.flac");
    Write("disc/album.cue", Sheet("album.wav"));
    Expect(Index(), 0, "added 1, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    const std::string tracks =
        "SELECT t.track, title, artist, album, album_artist, audio_offset,"
        " round(duration::numeric, 2), has_virtual, cue_sheet_path LIKE '%/album.cue'"
        " FROM track t JOIN artist_track a ON a.track = id JOIN album_track b ON b.track = id"
        " LEFT JOIN virtual_info_track v ON v.track = id ORDER BY is_virtual, t.track";
    EXPECT_EQ(Query(tracks),
              (Rows{{"3", "The Tóne", "O'Brien", "A Test", "The Band", "", "1.00", "t", ""},
                    {"1", "One", "Band", "Disc", "Band", "0", "0.67", "f", "t"},
                    {"2", "Two", "Guest", "Disc", "Band", "0", "0.33", "f", "t"}}));
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    // A changed sheet updates its tracks' rows, and a moved album takes them along.
    Rate("is_virtual", 3);
    const Rows ids = Query("SELECT id FROM track ORDER BY id");
    Write("disc/album.cue", Sheet("album.wav", "Another one"));
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Value("SELECT title FROM track WHERE is_virtual AND track = 1"), "Another one");
    fs::rename(Music() / "disc", Music() / "moved");
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"moved/album.flac", "1", "3"}, {"moved/album.flac", "2", "3"}}));
    EXPECT_EQ(Query("SELECT id FROM track ORDER BY id"), ids);
    fs::remove(Music() / "moved/album.cue");
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Query("SELECT title, has_virtual FROM track"), (Rows{{"The Tóne", "f"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track"), "0");
    EXPECT_EQ(SideRows(), "5");
}

TEST_F(SheetsTest, SheetsThatSplitNothing) {
    Put("split/01.mp3");
    Put("split/02.mp3", "plain.mp3");
    Write("split/album.cue", Sheet("album.wav"));
    Write("split/alb\xFFm.cue", Sheet("01.mp3"));
    Write("split/tracks.cue",
          "FILE \"01.mp3\" MP3\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
          "FILE \"02.mp3\" MP3\n  TRACK 02 AUDIO\n    INDEX 01 00:00:00\n");
    Put("bad/1.flac", "tone.flac");
    Write("bad/1.cue",
          "FILE \"1.flac\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:50\n"
          "  TRACK 02 AUDIO\n    INDEX 01 00:00:20\n");
    const Finished run = Index();
    Expect(run, 0, "added 3, changed 0, moved 0, removed 0, unchanged 0, failed 1");
    EXPECT_NE(run.err.find("m.cue: skipped, the name is not UTF-8"), run.err.npos) << run.err;
    EXPECT_NE(run.err.find("bad/1.cue: not used, "), run.err.npos) << run.err;
    EXPECT_NE(run.err.find("album.cue: no use for its file \"album.wav\""), run.err.npos);
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE is_virtual OR has_virtual"), "0");
    // A song beside a sheet that is not about it is not counted as changed.
    Put("split/03.mp3");
    Expect(Index(), 0, "added 1, changed 0, moved 0, removed 0, unchanged 3, failed 1");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 4, failed 1");
}

// Whatever has become of the sheet: the tracks and their ratings stay until somebody says
// otherwise.
TEST_F(SheetsTest, TracksStayWhileTheirSheetCannotBeUsed) {
    const std::string unchanged = "added 0, changed 0, moved 0, removed 0, unchanged 2, failed 0";
    Put("disc/album.flac", "tone.flac");
    Put("disc/other.mp3");
    Write("../disk/album.cue", Sheet("album.flac"));
    fs::create_symlink(scratch() / "disk/album.cue", Music() / "disc/album.cue");
    Index();
    Rate("is_virtual", 3);
    const auto tracks = [] { return Query("SELECT * FROM track WHERE is_virtual ORDER BY id"); };
    const Rows before = tracks();
    const auto stays = [&](const Finished &run, const std::string &reason) {
        EXPECT_NE(run.err.find("album.cue: " + reason), run.err.npos) << run.err;
        EXPECT_NE(run.err.find("album.flac: its tracks stay"), run.err.npos) << run.err;
        EXPECT_EQ(tracks(), before);
        EXPECT_EQ(Ratings().size(), 2U);
    };
    fs::rename(scratch() / "disk", scratch() / "unplugged");
    for (int i = 0; i < 2; ++i) {
        const Finished away = Index();
        Expect(away, 1, unchanged);
        stays(away, "not used, No such file");
    }
    fs::rename(scratch() / "unplugged", scratch() / "disk");
    Expect(Index(), 0, unchanged);
    Write("../disk/album.cue", "FILE album.flac WAVE\nTRACK 01 AUDIO\n  INDEX 01 rubbish\n");
    const Finished broken = Index();
    Expect(broken, 1, unchanged);
    stays(broken, "not used, ");
    Write("../disk/album.cue", Sheet("of another disc.flac"));
    Put("disc/album.mp3", "plain.mp3");  // the sheet's own name means two files now
    stays(Index(), "no use for its file");
    // The song goes on changing and moving with its tracks.
    fs::remove(Music() / "disc/album.mp3");
    fs::remove(scratch() / "disk/album.cue");
    EmbedSheet(Music() / "disc/album.flac", "");
    Expect(Index(), 1, "added 0, changed 1, moved 0, removed 1, unchanged 1, failed 0");
    fs::rename(Music() / "disc", Music() / "moved");
    Expect(Index(), 1, "added 0, changed 0, moved 2, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"moved/album.flac", "1", "3"}, {"moved/album.flac", "2", "3"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track WHERE cue_sheet_path = '" +
                    (Music() / "moved/album.cue").string() + "'"),
              "2");
    Expect(Index(), 1, unchanged);
    Write("../disk/album.cue", Sheet("album.flac", "Back"));
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Ratings().size(), 2U);
    EXPECT_EQ(Value("SELECT id FROM track WHERE title = 'Back'"), before.front().front());
    fs::remove(scratch() / "disk/album.cue");
    Expect(Index({"--purge"}), 0, "added 0, changed 1, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE is_virtual OR has_virtual"), "0");
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
    Expect(half, 1, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_NE(half.err.find("album.mp3: it ends before track 2 of its"), half.err.npos) << half.err;
    EXPECT_EQ(Query(tracks), before);
    Expect(Index(), 1, "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    Write("album.mp3", audio);
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Query("SELECT id, track FROM track WHERE is_virtual ORDER BY id").size(), 2U);
    EXPECT_EQ(Ratings(), (Rows{{"album.mp3", "1", "3"}, {"album.mp3", "2", "3"}}));
    EXPECT_EQ(Value("SELECT id FROM track WHERE is_virtual AND track = 2"), before[1][0]);
    // Only --purge removes the tracks of a file that stays short.
    Write("album.mp3", audio.substr(0, audio.size() / 2));
    Expect(Index({"--purge"}), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"album.mp3", "1", "3"}}));
    Expect(Index({"--full"}), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
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
        Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
        EXPECT_EQ(Value(first), title);
    }
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE is_virtual"), "2");
}

}  // namespace
