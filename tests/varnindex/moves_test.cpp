// Songs that were moved, copied and renamed keep their rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "varnindex/match/copies.h"
#include "varnindex/match/matching.h"
#include "varnindex/scan_fixture.h"
#include "varnindex/temp_table.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::Ended;
using tonvale_test::Samples;
using MovesTest = tonvale_test::ScanTest;

// Of thousands of files with the same audio each is looked at once.
TEST_F(MovesTest, ThousandsOfEqualFilesAreNoTrap) {
    constexpr int kMany = 20'000;
    Query(
        "INSERT INTO track (path, filesize, fingerprint) SELECT '/m/' || n || '.mp3', 7, 9"
        " FROM generate_series(1, " +
        std::to_string(kMany) + ") n");
    varnindex::Database database;
    varnindex::Matching matching(database);
    for (const auto &row : Query("SELECT id, path FROM track ORDER BY id")) {
        varnindex::KnownRow known;
        known.id = std::stoi(row[0]);
        known.path = row[1];
        known.size = 7;
        matching.AddLost(known, varnindex::Matching::Loss::kFile);
    }
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= kMany; ++i) {
        varnindex::ReadWork read;
        read.work.size = 7;
        read.work.path = (i % 2 == 0 ? "/a/copy " : "/b/") + std::to_string(i) + ".mp3";
        varnindex::Song &song = read.result.song.emplace();
        song.path = read.work.path;
        song.size = 7;
        song.fingerprint = 9;
        ASSERT_FALSE(matching.ChangeFor(std::move(read)));
    }
    std::set<int> ids;
    matching.Settle([&](const varnindex::Change &change) {
        const std::string &path = change.read.work.path;
        const std::string own = "/b/" + std::to_string(change.id) + ".mp3";
        EXPECT_TRUE(path.starts_with("/a/") || path == own) << change.id << " is " << path;
        ids.insert(change.id);
    });
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(kMany));
    EXPECT_FALSE(matching.HasLeft());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// Somebody rates the copies while the scan is at work that has found their originals gone.
TEST_F(MovesTest, AStarThatACopyGetsAtTheLastMomentIsKept) {
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

// More than wait in memory for what becomes of their rows.
TEST_F(MovesTest, ThousandsOfSongsRenamedOverEachOtherKeepTheirRows) {
    constexpr int kMany = 4200;
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
    const Ended run = Index();
    Expect(run, 0, "added 0, changed 0, moved 4200, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(run.err.find("0.cue"), run.err.rfind("0.cue")) << "told twice: " << run.err;
    EXPECT_EQ(Query("SELECT id, title FROM track ORDER BY id"), ids);
    EXPECT_EQ(Value("SELECT path LIKE '%/2.mp3' FROM track WHERE title = '10001'"), "t");
}

// Stopped wherever between its batches: which tracks belong to which of two songs at one path is
// in the library.
TEST_F(MovesTest, SplitFilesThatChangePlacesSurviveAStop) {
    constexpr int kPairs = 10;
    const std::string comment(4000, 'x');  // a batch holds some songs alone
    const auto path = [](const char *folder, int i, const char *extension) {
        return std::string(folder) + "/" + std::to_string(i) + extension;
    };
    for (int i = 0; i < kPairs; ++i) {
        for (const char *folder : {"a", "b"}) {
            std::string sheet = "REM COMMENT \"" + comment + "\"\nFILE \"" +
                                path("", i, ".wav").substr(1) + "\" WAVE\n";
            for (int track = 10; track < 74; ++track) {
                sheet += "TRACK " + std::to_string(track) + " AUDIO\nTITLE \"" + folder +
                         std::to_string(i) + "\"\nINDEX 01 00:00:" + std::to_string(track) + "\n";
            }
            Write(path(folder, i, ".cue"), sheet);
            Put(path(folder, i, ".wav"), "tone.wav");
            std::ofstream(Music() / path(folder, i, ".wav"), std::ios::app)
                << std::string(static_cast<std::size_t>(1000 + i), *folder);
        }
    }
    Index();
    Rate("is_virtual", 5);
    Query(
        "UPDATE rating_track SET star = 3 FROM track WHERE id = rating_track.track"
        " AND path LIKE '%/b/%'");
    const Rows tracks = Query("SELECT id, title, track FROM track ORDER BY id");
    ForEveryTable("CREATE TABLE saved_%1$s AS SELECT %2$s FROM %1$s");
    fs::rename(Music() / "a", Music() / "c");
    fs::rename(Music() / "b", Music() / "a");
    fs::rename(Music() / "c", Music() / "b");
    static int questions;
    int betweenBatches = 0;
    questions = 0;
    varnindex::ScanOptions options;
    options.isStopped = [] { return --questions == 0; };
    ASSERT_TRUE(ScanInProcess(options));
    const int asked = -questions;
    for (int stopAt = asked - 15; stopAt < asked; stopAt += 3) {
        WaitForItsServerProcess();
        ForEveryTable("DELETE FROM %1$s");
        ForEveryTable("INSERT INTO %1$s (%2$s) SELECT %2$s FROM saved_%1$s");
        questions = stopAt;
        ScanInProcess(options);
        const std::string moved = Value(
            "SELECT count(*) FROM track f JOIN virtual_info_track ON file_track = f.id"
            " JOIN track v ON v.id = virtual_info_track.track AND v.track = 10"
            " WHERE (f.path LIKE '%/b/%') = (v.title LIKE 'a%')");
        betweenBatches += moved != "0" && moved != "20" ? 1 : 0;
        WaitForItsServerProcess();
        ASSERT_EQ(Index().status, 0) << stopAt;
        ASSERT_EQ(Query("SELECT id, title, track FROM track ORDER BY id"), tracks) << stopAt;
        ASSERT_EQ(Value("SELECT count(*) FROM rating_track JOIN track ON id = rating_track.track"
                        " WHERE (star = 5) = (title LIKE 'a%')"),
                  Value("SELECT count(*) FROM track WHERE is_virtual"))
            << stopAt;
    }
    EXPECT_GT(betweenBatches, 0);
}

}  // namespace
