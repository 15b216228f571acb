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

TEST_F(MovesTest, EqualFilesArePairedByNameThenByOrder) {
    for (const char *name : {"x/a.mp3", "x/b.mp3", "x/c.mp3"}) {
        PutTagged(name, "Same", "Rock");
    }
    Index();
    Rate("path LIKE '%/a.mp3'", 1);
    Rate("path LIKE '%/b.mp3'", 2);
    Rate("path LIKE '%/c.mp3'", 3);
    // "1.mp3" comes first, but the row of "b.mp3" belongs to the file of that name.
    fs::create_directories(Music() / "y");
    fs::rename(Music() / "x/a.mp3", Music() / "y/1.mp3");
    fs::rename(Music() / "x/b.mp3", Music() / "y/b.mp3");
    fs::rename(Music() / "x/c.mp3", Music() / "y/2.mp3");
    PutTagged("x/keeps the folder.mp3", "Another", "Jazz");
    Expect(Index(), 0, "added 1, changed 0, moved 3, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(),
              (Rows{{"y/1.mp3", "0", "1"}, {"y/2.mp3", "0", "3"}, {"y/b.mp3", "0", "2"}}));
}

TEST_F(MovesTest, ADamagedFileAtTheOldNameKeepsNoRowOfTheRenamedSong) {
    PutTagged("1.mp3", "Song");
    Put("other.flac", "tone.flac");
    Index();
    const std::string id = Value("SELECT id FROM track WHERE title = 'Song'");
    fs::rename(Music() / "1.mp3", Music() / "2.mp3");
    std::ofstream(Music() / "1.mp3") << "no audio";
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 0, unchanged 1, failed 1");
    EXPECT_EQ(Value("SELECT id FROM track WHERE path LIKE '%/2.mp3'"), id);
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "2");
}

TEST_F(MovesTest, AMoveIsFoundBetweenGivenPaths) {
    PutTagged("a/1.mp3", "First");
    PutTagged("b/2.mp3", "Second");
    Index();
    Rate("title = 'First'", 5);
    fs::rename(Music() / "a/1.mp3", Music() / "b/1.mp3");
    fs::remove(Music() / "a");
    Expect(Index({(Music() / "a/1.mp3").string(), (Music() / "b/1.mp3").string()}), 0,
           "added 0, changed 0, moved 1, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"b/1.mp3", "0", "5"}}));
}

// A row tells its owner's taste, and is nobody else's; nor does it become everybody's.
TEST_F(MovesTest, NoRowGoesToAnotherOwner) {
    EnableHomes(true);
    const fs::path alice = Home("alice") / "music";
    const fs::path bob = Home("bob") / "music";
    for (const char *name : {"claimed.mp3", "late.mp3"}) {
        const fs::path path = PutTagged(name, name);
        std::ofstream(path, std::ios::app) << std::string(1000, *name);  // audio of its own
        fs::rename(path, alice / name);
    }
    Put("shared.mp3");
    fs::copy_file(Samples() / "plain.mp3", alice / "stays.mp3");
    fs::copy_file(Samples() / "plain.mp3", bob / "stays.mp3");
    Index();
    fs::copy_file(alice / "late.mp3", Music() / "late.mp3");
    fs::copy_file(Music() / "shared.mp3", bob / "shared.mp3");
    Index();
    const std::string owners = "SELECT id, userid FROM track ORDER BY id";
    Rows before = Query(owners);
    fs::rename(alice / "claimed.mp3", bob / "claimed.mp3");
    fs::remove(alice / "late.mp3");
    fs::remove(Music() / "shared.mp3");
    Expect(Index(), 0, "added 1, changed 0, moved 0, removed 3, unchanged 4, failed 0");
    EXPECT_EQ(Query("SELECT id, userid FROM track WHERE title <> 'claimed.mp3' ORDER BY id").size(),
              4U);
    const Rows after = Query(owners);
    for (const auto &row : after) {
        const bool isOld = std::stoi(row[0]) <= std::stoi(before.back()[0]);
        EXPECT_TRUE(!isOld || std::find(before.begin(), before.end(), row) != before.end())
            << "row " << row[0] << " has come to " << row[1];
    }
}

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

// The copy has been in the library for a while when its original goes.
TEST_F(MovesTest, ACopyThatOutlivesItsOriginalIsTheOriginal) {
    PutTagged("a/1.mp3", "First");
    PutTagged("a/2.mp3", "Second song");
    Put("a/disc/album.flac", "tone.flac");
    Write("a/disc/album.cue", Sheet("album.flac"));
    Index();
    Rate("title = 'First'", 5);
    Rate("is_virtual AND track = 2", 3);
    const Rows before = Query("SELECT id, date FROM track ORDER BY id");
    fs::copy(Music() / "a", Music() / "b", fs::copy_options::recursive);
    fs::copy_file(Music() / "b/1.mp3", Music() / "b/0.mp3");  // another copy, of another name
    PutTagged("keeps/3.mp3", "Third of another length");
    Expect(Index({(Music() / "b").string()}), 0,
           "added 4, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    Rate("path LIKE '%/b/2.mp3'", 1);  // somebody likes the copy: it stays what it is
    fs::remove_all(Music() / "a");
    const std::string summary = "added 1, changed 0, moved 2, removed 1, unchanged 4, failed 0";
    Expect(Index({"--dry-run"}), 0, summary);
    Expect(Index(), 0, summary);
    EXPECT_EQ(
        Ratings(),
        (Rows{{"b/1.mp3", "0", "5"}, {"b/2.mp3", "0", "1"}, {"b/disc/album.flac", "2", "3"}}));
    EXPECT_EQ(Query("SELECT id, date FROM track WHERE path NOT LIKE '%/b/_.mp3'"
                    " AND path NOT LIKE '%/keeps/%' OR path LIKE '%/b/1.mp3' ORDER BY id"),
              (Rows{before[0], before[2], before[3], before[4]}));
    EXPECT_EQ(SideRows(), "31");
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track JOIN track ON id ="
                    " virtual_info_track.track"),
              "2");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 5, failed 0");
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
        lost.Add(std::to_string(id));
    }
    lost.Flush();
    EXPECT_EQ(FindCopies(database, varnindex::Folders::Configured(), reporter), 2U);
    Rate("path LIKE '%/b/1.mp3'", 2);
    Query("INSERT INTO rating_track SELECT 1031, id, 3 FROM track WHERE path LIKE '%/b/2.mp3'");
    GiveRowsToCopies(database, nullptr);
    EXPECT_EQ(ids("b"), originals);
    EXPECT_EQ(Query("SELECT title, r.userid, star FROM (SELECT id, title FROM track) t"
                    " JOIN rating_track r ON r.track = id ORDER BY title, star"),
              (Rows{{"First", "0", "2"}, {"Second song", "1031", "3"}, {"Second song", "0", "5"}}));
}

// So many files are new that they are not remembered between the two looks at the folders.
TEST_F(MovesTest, SwappedSongsKeepTheirRowsAmongManyNewFiles) {
    for (const int i : {1, 2}) {
        const fs::path path =
            PutTagged(std::to_string(i) + ".mp3", std::string(static_cast<std::size_t>(i), 'x'));
        std::ofstream(path, std::ios::app | std::ios::binary)
            << ReadFile(path).substr(3000, static_cast<std::size_t>(i) * 500);
    }
    Index();
    Rate("title = 'x'", 1);
    Rate("title = 'xx'", 2);
    const Rows ids = Query("SELECT title, id FROM track ORDER BY id");
    fs::rename(Music() / "1.mp3", Music() / "0");
    fs::rename(Music() / "2.mp3", Music() / "1.mp3");
    fs::rename(Music() / "0", Music() / "2.mp3");
    const fs::path one = Put("many/0.ogg", "tone.ogg");
    constexpr int kMany = 4100;
    for (int i = 1; i < kMany; ++i) {
        fs::create_hard_link(one, one.parent_path() / (std::to_string(i) + ".ogg"));
    }
    Index();
    EXPECT_EQ(Query("SELECT title, id FROM track WHERE title LIKE 'x%' ORDER BY id"), ids);
    EXPECT_EQ(Value("SELECT string_agg(star::text, ' ' ORDER BY path) FROM rating_track JOIN track"
                    " ON track.id = rating_track.track"),
              "2 1");
    EXPECT_EQ(Value("SELECT COUNT(*) FROM track"), std::to_string(kMany + 2));
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

TEST_F(MovesTest, SongsRenamedOverEachOtherKeepTheirRows) {
    const auto song = [](int i) { return std::string(static_cast<std::size_t>(i), 'x'); };
    for (int i = 1; i <= 4; ++i) {
        // Audio of its own: the tags are in front of it, and do not count.
        const fs::path path = PutTagged(std::to_string(i) + ".mp3", song(i));
        std::ofstream(path, std::ios::app | std::ios::binary)
            << ReadFile(path).substr(3000, i * 500);
    }
    Put("a/album.flac", "tone.flac");
    Put("b/album.ogg", "tone.ogg");
    Write("a/album.cue", Sheet("album.flac", "Flac"));
    Write("b/album.cue", Sheet("album.ogg", "Ogg"));
    Index();
    for (int i = 1; i <= 4; ++i) {
        Rate("title = '" + song(i) + "'", i);
    }
    Rate("is_virtual AND title = 'Ogg'", 5);
    const Rows ids = Query("SELECT title, id FROM track ORDER BY id");
    // An album is renumbered from its second song on, and the last one takes the first one's name.
    for (int i = 4; i >= 1; --i) {
        fs::rename(Music() / (std::to_string(i) + ".mp3"),
                   Music() / (std::to_string(i + 1) + ".mp3"));
    }
    fs::rename(Music() / "5.mp3", Music() / "1.mp3");
    fs::rename(Music() / "a", Music() / "c");
    fs::rename(Music() / "b", Music() / "a");
    fs::rename(Music() / "c", Music() / "b");
    const std::string summary = "added 0, changed 0, moved 6, removed 0, unchanged 0, failed 0";
    Expect(Index({"--dry-run"}), 0, summary);
    Expect(Index(), 0, summary);
    EXPECT_EQ(Query("SELECT title, id FROM track ORDER BY id"), ids);
    EXPECT_EQ(Ratings(), (Rows{{"1.mp3", "0", "4"},
                               {"2.mp3", "0", "1"},
                               {"3.mp3", "0", "2"},
                               {"4.mp3", "0", "3"},
                               {"a/album.ogg", "1", "5"}}));
    // Over a name whose own song is gone: one row moves, the other goes.
    fs::rename(Music() / "3.mp3", Music() / "4.mp3");
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 1, unchanged 4, failed 0");
    EXPECT_EQ(Value("SELECT star FROM rating_track r JOIN track ON id = r.track"
                    " WHERE path LIKE '%/4.mp3'"),
              "2");
    // Another sound that nobody knows, or that is a copy: the row stays with its path.
    std::ofstream(Music() / "4.mp3", std::ios::app | std::ios::binary) << song(700);
    fs::copy_file(Music() / "2.mp3", Music() / "1.mp3", fs::copy_options::overwrite_existing);
    Expect(Index(), 0, "added 0, changed 2, moved 0, removed 0, unchanged 3, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"1.mp3", "0", "4"},
                               {"2.mp3", "0", "1"},
                               {"4.mp3", "0", "2"},
                               {"a/album.ogg", "1", "5"}}));
}

TEST_F(MovesTest, SplitFilesOfOneNameChangePlaces) {
    for (const char *name : {"a", "b"}) {
        Put(std::string(name) + "/album.wav", "tone.wav");
        Write(std::string(name) + "/album.cue", Sheet("album.wav", name));
    }
    std::ofstream(Music() / "b/album.wav", std::ios::app | std::ios::binary)
        << std::string(5000, 'x');
    Index();
    Rate("is_virtual AND path LIKE '%/a/%'", 5);
    const Rows tracks = Query("SELECT id, title, track FROM track ORDER BY id");
    fs::rename(Music() / "a", Music() / "c");
    fs::rename(Music() / "b", Music() / "a");
    fs::rename(Music() / "c", Music() / "b");
    Expect(Index(), 0, "added 0, changed 0, moved 2, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Query("SELECT id, title, track FROM track ORDER BY id"), tracks);
    EXPECT_EQ(Ratings(), (Rows{{"b/album.wav", "1", "5"}, {"b/album.wav", "2", "5"}}));
    fs::rename(Music() / "b/album.wav", Music() / "a/album.wav");
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 1, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"a/album.wav", "1", "5"}, {"a/album.wav", "2", "5"}}));
}

// What the old song's tracks have goes to its copy, and not what the new one's have, which are at
// the same path by then.
TEST_F(MovesTest, ASplitFileWhosePathIsTakenLivesOnInItsCopy) {
    for (const char *name : {"b", "a"}) {
        Put(std::string(name) + "/album.wav", "tone.wav");
        Write(std::string(name) + "/album.cue", Sheet("album.wav", name));
        Index();
        std::ofstream(Music() / name / "album.wav", std::ios::app) << std::string(5000, *name);
    }
    Index();
    Rate("is_virtual AND track = 1 AND path LIKE '%/a/%'", 5);
    Rate("is_virtual AND track = 2 AND path LIKE '%/b/%'", 3);
    const Rows ids = Query("SELECT id, track FROM track ORDER BY id");
    fs::copy(Music() / "a", Music() / "copy");
    Index();
    fs::rename(Music() / "b/album.wav", Music() / "a/album.wav");
    Expect(Index(), 0, "added 0, changed 0, moved 2, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Query("SELECT id, track FROM track ORDER BY id"), ids);
    EXPECT_EQ(Ratings(), (Rows{{"a/album.wav", "2", "3"}, {"copy/album.wav", "1", "5"}}));
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 2, failed 0");
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
