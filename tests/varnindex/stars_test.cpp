// Ratings outlive the library in the record of each song.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <string>

#include "varn/keyfile.h"
#include "varn/share.h"
#include "varnindex/index_fixture.h"
#include "varnindex/settle/stars.h"

namespace {

using namespace tonvale_test;

class StarsTest : public IndexTest {
  protected:
    // The record of a name below the music folder; its folder is made.
    static fs::path Record(const std::string &name) {
        char folder[PATH_MAX];
        EXPECT_EQ(VARNEADirPath((Music() / name).c_str(), folder, sizeof folder), 0);
        fs::create_directories(folder);
        return fs::path(folder) / "VARNAUDIO_SONG_RATING";
    }

    static void Rate(const std::string &name, const std::string &user, const std::string &stars) {
        EXPECT_EQ(VLIBCFileSetKeyValue(Record(name).c_str(), user.c_str(), stars.c_str()), 0);
    }

    static std::string StarsOf(const std::string &name, const std::string &text) {
        std::ofstream(Record(name), std::ios::binary) << text;
        std::string stars;
        for (const auto &[user, count] : varnindex::ReadStars((Music() / name).string())) {
            stars += std::to_string(user) + ":" + std::to_string(count) + " ";
        }
        return stars;
    }

    static Rows Ratings() {
        return Query(
            "SELECT title, userid, star FROM (SELECT id AS track, title FROM track) t"
            " JOIN rating_track USING (track) ORDER BY title, userid");
    }
};

TEST_F(StarsTest, ALibraryRebuiltFromNothingHasAllStars) {
    PutTagged("it's 100%_\\ \xC3\xA9.mp3", "Liked");
    PutTagged("plain/2.mp3", "Unknown");
    Put("disc/album.flac", "tone.flac");
    std::ofstream(Music() / "disc/album.cue")
        << "FILE \"album.flac\" WAVE\n  TRACK 01 AUDIO\n    TITLE \"One\"\n    INDEX 01 00:00:00\n"
           "  TRACK 12 AUDIO\n    TITLE \"Twelve\"\n    INDEX 01 00:00:50\n";
    Rate("it's 100%_\\ \xC3\xA9.mp3", "1030", "4");
    Rate("it's 100%_\\ \xC3\xA9.mp3", "1031", "1");
    Rate("disc/album.flac", "1030", "2");
    Rate("disc/album.flac_12", "1031", "5");
    Index();
    const Rows all = {{"Liked", "1030", "4"},
                      {"Liked", "1031", "1"},
                      {"The T\xC3\xB3ne", "1030", "2"},
                      {"Twelve", "1031", "5"}};
    EXPECT_EQ(Ratings(), all);
    // The library's stars count more than the record's.
    Query("UPDATE rating_track SET star = 3");
    Query("DELETE FROM rating_track WHERE userid = 1031");
    const Rows changed = Ratings();
    Expect(Index({"--full"}), "changed 3");
    EXPECT_EQ(Ratings(), changed);
    Query("DELETE FROM track");
    Expect(Index(), "added 3");
    EXPECT_EQ(Ratings(), all);
    // A sheet that comes later makes new tracks of a known song.
    fs::rename(Music() / "disc/album.cue", scratch() / "album.cue");
    Index();
    fs::rename(scratch() / "album.cue", Music() / "disc/album.cue");
    Index();
    EXPECT_EQ(Ratings(), all);
}

// A scan that is killed after its commit leaves work to the next one. A scan whose rows are refused
// changes no record.
TEST_F(StarsTest, RecordsFollowTheCommit) {
    PutTagged("1.mp3", "First");
    PutTagged("2.mp3", "Second song");
    PutTagged("3.mp3", "A third song");
    Rate("1.mp3", "1030", "4");
    Rate("2.mp3", "1030", "2");
    Index();
    const auto stars = [] {
        std::string all;
        for (const char *name : {"1.mp3", "2.mp3", "3.mp3", "4.mp3"}) {
            const auto read = varnindex::ReadStars((Music() / name).string());
            all += read.empty() ? "-" : std::to_string(read.front().stars);
        }
        return all;
    };
    fs::rename(Music() / "1.mp3", Music() / "4.mp3");
    fs::remove(Music() / "2.mp3");
    Query("ALTER TABLE track ADD CONSTRAINT never CHECK (path NOT LIKE '%/4.mp3')");
    EXPECT_EQ(Index().status, 1);
    EXPECT_EQ(stars(), "42--");
    Query("ALTER TABLE track DROP CONSTRAINT never");
    // As if it had been killed as soon as the rows were written.
    Query("CREATE RULE killed AS ON DELETE TO outbox DO INSTEAD NOTHING");
    Index();
    Query("DROP RULE killed ON outbox");
    fs::remove_all(Record("4.mp3").parent_path());
    Rate("1.mp3", "1030", "4");
    Rate("2.mp3", "1030", "2");
    Rate("3.mp3", "1030", "1");
    EXPECT_EQ(Value("SELECT count(*) FROM outbox"), "2");
    EXPECT_EQ(Index({"--dry-run"}).status, 0);
    EXPECT_EQ(stars(), "421-");
    Expect(Index(), "unchanged 2");
    EXPECT_EQ(stars(), "--14") << "the third song did not move";
    EXPECT_EQ(Value("SELECT count(*) FROM outbox"), "0");
}

TEST_F(StarsTest, ARecordThatCannotBeKeptIsNamedAndStopsNothing) {
    PutTagged("1.mp3", "First");
    Rate("1.mp3", "1030", "4");
    Index();
    fs::create_directories(Music() / "to");
    fs::create_directory_symlink(scratch(), Music() / "to/@eaDir");
    fs::rename(Music() / "1.mp3", Music() / "to/1.mp3");
    const Finished run = Index();
    Expect(run, "moved 1");
    ExpectSaid(run, "its rating record cannot be kept");
    EXPECT_FALSE(fs::exists(scratch() / "1.mp3"));
    EXPECT_EQ(Ratings(), (Rows{{"First", "1030", "4"}}));
}

TEST_F(StarsTest, LinesThatTellNoStarsAreIgnored) {
    EXPECT_EQ(StarsOf("1.mp3", "1030=\"4\"\n 1031 = 5 \r\n0=1\n"), "1030:4 1031:5 0:1 ");
    EXPECT_EQ(StarsOf("1.mp3",
                      "1030=0\n1031=6\n1032=-1\n-5=3\n+6=3\nbob=3\n=3\n1033\n1034=\n"
                      "1035=3x\n1036=\"3\n4294967295=3\n99999999999999999999=3\n#7=3\n"
                      "8=\"3\"junk\n\n9 9=3"),
              "1036:3 ");
    EXPECT_EQ(StarsOf("1.mp3", "7=1\n7=2\n"), "7:1 ");
    EXPECT_EQ(StarsOf("1.mp3", std::string(70'000, '\n') + "7=1\n"), "");
    EXPECT_EQ(StarsOf("1.mp3", std::string("\0\xFF=3\n7=2", 8)), "7:2 ");
    // Only a plain file that no link leads to is read.
    const fs::path record = Record("2.mp3");
    ASSERT_EQ(mkfifo(record.c_str(), 0600), 0);
    EXPECT_TRUE(varnindex::ReadStars((Music() / "2.mp3").string()).empty());
    fs::remove(record);
    fs::create_symlink(Record("1.mp3"), record);
    EXPECT_TRUE(varnindex::ReadStars((Music() / "2.mp3").string()).empty());
    EXPECT_TRUE(varnindex::ReadStars((Music() / "none.mp3").string()).empty());
    fs::remove_all(record.parent_path());
    fs::create_directory_symlink(Record("1.mp3").parent_path(), record.parent_path());
    EXPECT_TRUE(varnindex::ReadStars((Music() / "2.mp3").string()).empty());
    fs::create_directory_symlink(Music() / "@eaDir", scratch() / "@eaDir");
    EXPECT_TRUE(varnindex::ReadStars((scratch() / "1.mp3").string()).empty());
}

}  // namespace
