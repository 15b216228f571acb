// Songs that were moved, copied and renamed keep their rows.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "varnindex/match/copies.h"
#include "varnindex/scan_fixture.h"
#include "varnindex/temp_table.h"

namespace {

using namespace tonvale_test;
using MovesTest = ScanTest;

// A user rates the copies during the scan that finds their originals gone.
TEST_F(MovesTest, StarsThatACopyGetsDuringTheScanAreKept) {
    PutTagged("a/1.mp3", "First");
    PutTagged("a/2.mp3", "Second song");
    Index();
    Rate("true", 5);
    fs::copy(Music() / "a", Music() / "b");
    Index();
    const auto ids = [](const std::string &folder) {
        std::vector<int> found;
        for (const auto &row :
             Query("SELECT id FROM track WHERE path LIKE '%/" + folder + "/%' ORDER BY path")) {
            found.push_back(std::stoi(row[0]));
        }
        return found;
    };
    const std::vector<int> originals = ids("a");
    varnindex::Database database;
    std::ostringstream warnings;
    varnindex::Reporter reporter(warnings, false, varnindex::Reporter::Detail::kAll);
    varnindex::TempTable lost(database, "lost", "id integer");
    for (const int id : originals) {
        lost.Add(id);
    }
    lost.Flush();
    EXPECT_EQ(FindCopies(database, varnindex::Folders::Configured(), reporter), 2U);
    Rate("path LIKE '%/b/1.mp3'", 2);
    Query("INSERT INTO rating_track SELECT 1031, id, 3 FROM track WHERE path LIKE '%/b/2.mp3'");
    const std::string first = std::to_string(originals[0]);
    const std::string copy = Value("SELECT id FROM track WHERE path LIKE '%/b/1.mp3'");
    Query("INSERT INTO song_play VALUES (7, " + first + ", 2), (7, " + copy + ", 3), (8, " + first +
          ", 1); INSERT INTO favourite_song VALUES (7, " + first +
          "); INSERT INTO bookmark (userid, track, position, changed) VALUES (7, " + first +
          ", 1, '2001-01-01'), (7, " + copy +
          ", 2, '2002-01-01');"
          " INSERT INTO play_queue VALUES (7, ARRAY[" +
          copy + ", 0, " + first + "], 0, 0, 1, '')");
    GiveRowsToCopies(database, nullptr);
    EXPECT_EQ(ids("b"), originals);
    EXPECT_EQ(Query("SELECT p.userid, p.track, plays, f.track, b.position, songs FROM song_play p"
                    " LEFT JOIN favourite_song f USING (userid) LEFT JOIN bookmark b USING (userid)"
                    " LEFT JOIN play_queue USING (userid) ORDER BY 1"),
              (Rows{{"7", first, "5", first, "2", "{" + first + ",0," + first + "}"},
                    {"8", first, "1", "", "", ""}}));
    EXPECT_EQ(
        Query("SELECT title, r.userid, star FROM (SELECT id, title FROM track) t"
              " FULL JOIN song_text s ON s.track = id LEFT JOIN rating_track r ON r.track = id"
              " ORDER BY title, star"),
        (Rows{{"First", "0", "2"}, {"Second song", "1031", "3"}, {"Second song", "0", "5"}}));
}

// More songs than a scan keeps in memory at a time.
TEST_F(MovesTest, ThousandsOfSongsRenamedOverEachOtherKeepTheirRows) {
    constexpr int kMany = 5200;  // and more known rows than one block holds
    const auto path = [](int i) { return Music() / (std::to_string(i) + ".mp3"); };
    for (int i = 1; i <= kMany; ++i) {
        PutTagged(path(i).filename(), std::to_string(10'000 + i));
        // Audio of its own, and another size than the next one's, which may have the same time.
        std::ofstream(path(i), std::ios::app) << 10'000 + i << (i % 2 == 0 ? "even" : "");
    }
    Write("0.cue", "no sheet");
    Index();
    const Rows ids = Query("SELECT id, title FROM track ORDER BY id");
    for (int i = kMany; i >= 1; --i) {
        fs::rename(path(i), path(i + 1));
    }
    fs::rename(path(kMany + 1), path(1));
    const Finished run = Index();
    Expect(run, "moved 5200");
    EXPECT_EQ(run.err.find("0.cue"), run.err.rfind("0.cue")) << "told twice: " << run.err;
    EXPECT_EQ(Query("SELECT id, title FROM track ORDER BY id"), ids);
    EXPECT_EQ(Value("SELECT path LIKE '%/2.mp3' FROM track WHERE title = '10001'"), "t");
}

}  // namespace
