// Songs that are stored, changed, damaged or refused.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "varnindex/database.h"
#include "varnindex/index_fixture.h"

namespace {

using namespace tonvale_test;
using Words = IndexTest::Words;

TEST_F(IndexTest, EveryFieldOfASongIsStored) {
    const fs::path path = Put("band/tone.flac", "tone.flac");
    Expect(Index(), "added 1");
    EXPECT_EQ(
        Value("SELECT concat_ws('|', userid, path, title, title_sort, title_search, filesize, year,"
              " frequency, channel, round(duration::numeric), t.track, disc, container, codec,"
              " is_virtual, has_virtual, agg_genre, album, album_sort, album_artist, artist,"
              " has_album_artist, composer)"
              " FROM track t JOIN album_track a ON a.track = t.id"
              " JOIN artist_track r ON r.track = t.id JOIN composer_track c ON c.track = t.id"),
        "0|" + path.string() + "|The Tóne|Tóne|THE TÓNE|" + std::to_string(fs::file_size(path)) +
            "|2003|48000|2|1|3|2|flac|flac|f|f|Rock, Jazz|A Test|Test|The Band|O'Brien|t|Bach");
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "1");
    EXPECT_EQ(Query("SELECT genre, genre_search FROM genre_track ORDER BY genre"),
              (Rows{{"Jazz", "JAZZ"}, {"Rock", "ROCK"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM replaygain_track"), "0");
}

TEST_F(IndexTest, AChangedSongKeepsItsRow) {
    const fs::path path = PutTagged("1.mp3", "Old", "Rock;Pop");
    const fs::file_time_type before = fs::last_write_time(path);
    PutTagged("2.mp3", "Other", "Rock");
    Index();
    const std::string id = Value("SELECT id FROM track WHERE title = 'Old'");
    Query("INSERT INTO rating_track VALUES (0, " + id + ", 5)");
    Query("UPDATE track SET date = '2001-02-03' WHERE id = " + id);
    PutTagged("1.mp3", "New", "Jazz;Pop");  // of the same size
    fs::last_write_time(path, before + std::chrono::microseconds(1));
    Expect(Index(), "changed 1, unchanged 1");
    EXPECT_EQ(Query("SELECT id, title, title_sort, date::date, agg_genre, star"
                    " FROM track JOIN rating_track r ON r.track = id"),
              (Rows{{id, "New", "New", "2001-02-03", "Jazz, Pop", "5"}}));
    EXPECT_EQ(Query("SELECT genre FROM genre_track WHERE track = " + id + " ORDER BY genre"),
              (Rows{{"Jazz"}, {"Pop"}}));
    EXPECT_EQ(SideRows(), "9");
}

TEST_F(IndexTest, HostileTextAndNamesAreStoredAsTheyAre) {
    const Words titles = {
        "O'Brien", "back\\slash \\N \\.", "100 %s _%d", "tab\tand\r\nlines",
        "\\",      "夜 \U0001F3B5",       "@VARN:VAR",  "\"; DROP TABLE track; --"};
    for (std::size_t i = 0; i < titles.size(); ++i) {
        PutTagged(std::to_string(i) + ".mp3", titles[i], titles[i]);
    }
    const Words names = {"it's.mp3", "b\\N.mp3", "%_\t\r\n.mp3", "é夜.mp3", "\\..mp3"};
    for (const std::string &name : names) {
        Put(name, "plain.mp3");
    }
    std::string deep;
    while ((Music() / deep).string().size() + 201 + 5 < 4095) {
        deep += std::string(200, 'd') + "/";
    }
    deep += std::string(4095 - 4 - (Music() / deep).string().size(), 'f') + ".mp3";
    ASSERT_EQ((Music() / deep).string().size(), 4095U);
    Put(deep, "plain.mp3");
    const timespec odd[2] = {{0, 0}, {-1, 999'999'999}};
    ASSERT_EQ(utimensat(AT_FDCWD, (Music() / names[1]).c_str(), odd, 0), 0);
    Expect(Index(), "added 14");
    for (std::size_t i = 0; i < titles.size(); ++i) {
        const std::string clean = i == 3 ? "tab and  lines" : titles[i];
        const std::string name = (Music() / (std::to_string(i) + ".mp3")).string();
        const Rows rows = Query("SELECT title FROM track WHERE path = '" + name + "'");
        EXPECT_EQ(rows, (Rows{{clean}}));
    }
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE mdate = '1969-12-31 23:59:59.999999'"), "1");
    const Rows before = Everything();
    Expect(Index(), "unchanged 14");
    EXPECT_EQ(Everything(), before);
    Expect(Index({Music().string()}), "unchanged 14");
    fs::remove_all(Music() / std::string(200, 'd'));
    fs::remove(Music() / names[0]);
    Expect(Index(), "removed 2, unchanged 12");
}

TEST_F(IndexTest, DamagedFilesAreNamedAndTheRestIsIndexed) {
    Put("good.mp3");
    std::ofstream(Music() / "bad.mp3") << "Dear diary";
    Put("odd\xFF.mp3");
    for (int i = 0; i < 25; ++i) {
        std::ofstream(Music() / ("bad" + std::to_string(i) + ".ogg")) << i;
    }
    const Finished brief = Index();
    Expect(brief, "added 1, failed 27");
    ExpectSaid(brief, "bad.mp3: its contents are no audio format that is known\n");
    ExpectSaid(brief, "and 7 more warnings");
    const Finished verbose = Index({"--verbose", "--full"});
    Expect(verbose, "changed 1, failed 27");
    ExpectSaid(verbose, "odd\\xFF.mp3: skipped, the name is not UTF-8\n");
    // A song whose file was damaged stays: the file may be half written.
    std::ofstream(Music() / "good.mp3") << "half";
    Expect(Index(), "failed 28");
    EXPECT_EQ(Value("SELECT title FROM track"), "The Tóne");
}

TEST_F(IndexTest, ARefusedBatchLeavesNothingHalfWritten) {
    PutTagged("1.mp3", "Fine", "Rock");
    PutTagged("2.mp3", "Gone", "Rock");
    Index();
    const Rows before = Everything();
    Query("ALTER TABLE genre_track ADD CONSTRAINT no_polka CHECK (genre <> 'Polka')");
    PutTagged("1.mp3", "Changed title", "Jazz");
    fs::remove(Music() / "2.mp3");
    PutTagged("3.mp3", "New title", "Polka");
    const Finished refused = Index();
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "");
    ExpectSaid(refused, "no_polka");
    ExpectSaid(refused, "run varnindex again");
    EXPECT_EQ(Everything(), before);
    Query("ALTER TABLE genre_track DROP CONSTRAINT no_polka");
    Expect(Index(), "added 1, changed 1, removed 1");
    EXPECT_EQ(SideRows(), "8");
}

TEST_F(IndexTest, OneIndexerAtATime) {
    Put("1.mp3");
    {
        varnindex::Database other;
        ASSERT_TRUE(other.TakeIndexLock());
        const Finished second = Index();
        EXPECT_EQ(second.status, 1);
        EXPECT_EQ(second.out, "");
        ExpectSaid(second, "another indexer is at work");
        EXPECT_EQ(Value("SELECT count(*) FROM track"), "0");
    }
    Expect(Index(), "added 1");
}

TEST_F(IndexTest, WithoutADatabaseTheMessageNamesTheServer) {
    Put("1.mp3");
    const std::string nowhere = (scratch() / "nowhere").string();
    const Finished run =
        Index({Music().string()}, {"TONVALE_ROOT=" + nowhere, "PGHOST=" + nowhere});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    ExpectSaid(run, "varnindex: ");
    ExpectSaid(run, nowhere);
}

}  // namespace
