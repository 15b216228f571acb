// Ratings in the table and beside the files.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "musiclib/library_rows.h"
#include "platform/child.h"
#include "tonvale/webapi.h"
#include "varn/keyfile.h"
#include "varn/process.h"

namespace {

using namespace tonvale_test;

class SongRating : public LibraryRows {
  protected:
    // A rating ends with the process as the package's account.
    void TearDown() override {
        EXPECT_EQ(VLIBSetEffective(getuid(), getgid()), 0);
        LibraryRows::TearDown();
    }

    // A song whose folder exists.
    int AddSong(const std::string &name, bool isVirtual = false, int track = 0) {
        return Add({.path = (scratch() / name).string(),
                    .title = name,
                    .track = track,
                    .is_virtual = isVirtual});
    }
    static fs::path Record(const std::string &name) {
        return scratch() / "@eaDir" / name / "VARNAUDIO_SONG_RATING";
    }
    // One user's stars beside a file, "" for none.
    static std::string Kept(const std::string &name, unsigned uid = kAlice) {
        std::array<char, 16> star = {};
        VLIBCFileGetKeyValue(Record(name).c_str(), std::to_string(uid).c_str(), star.data(),
                             star.size());
        return star.data();
    }
    static bool IsFailedStatement(const std::string &line) {
        return line.find("Failed to exec [") != line.npos;
    }
    // The rows of the table: "track user star", in order.
    static Texts Table() {
        Texts rows;
        for (const auto &row :
             Query("SELECT track, userid, star FROM rating_track ORDER BY 1, 2")) {
            rows.push_back(row[0] + " " + row[1] + " " + row[2]);
        }
        return rows;
    }
};

TEST_F(SongRating, BothStoresAgree) {
    AddSong("a.mp3");
    AddSong("b.mp3");
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_1", "music_p_2"}, 4), 1);
    EXPECT_EQ(Table(), Texts({"1 1030 4", "2 1030 4"}));
    EXPECT_EQ(Kept("a.mp3") + Kept("b.mp3"), "44");
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_1", "music_1"}, 2), 1) << "again";
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kBob, {"music_1"}, 5), 1);
    EXPECT_EQ(Table(), Texts({"1 1030 2", "1 1031 5", "2 1030 4"}));
    EXPECT_EQ(ReadFile(Record("a.mp3")), "1030=\"2\"\n1031=\"5\"\n");

    // No stars: the row stays, the record goes with its last user.
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_1"}, 0), 1);
    EXPECT_EQ(Kept("a.mp3"), "");
    EXPECT_EQ(Kept("a.mp3", kBob), "5");
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kBob, {"music_1"}, 0), 1);
    EXPECT_FALSE(fs::exists(Record("a.mp3")));
    EXPECT_EQ(Table(), Texts({"1 1030 0", "1 1031 0", "2 1030 4"}));
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kBob, {"music_2"}, 0), 1) << "never rated by bob";
    EXPECT_EQ(Table().size(), 4U);
    EXPECT_TRUE(Log().empty());
    if (IsRoot()) {
        EXPECT_NE(geteuid(), 0U);
    }
}

TEST_F(SongRating, ATrackKeepsItsStarsUnderItsName) {
    AddSong("cue.flac", true, 3);
    AddSong("cue.flac", true, 12);
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_v_1", "music_p_v_2"}, 3), 1);
    EXPECT_EQ(Kept("cue.flac_3") + Kept("cue.flac_12"), "33");
    EXPECT_FALSE(fs::exists(Record("cue.flac")));
}

TEST_F(SongRating, WhatIsNoSongIsPassedOver) {
    AddSong("a.mp3");
    for (const char *hostile : {"music_/volume1/a.mp3", "remote_{} http://x/", "", "music_", "1",
                                "music_1;DROP TABLE rating_track", "music_-1"}) {
        EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {hostile}, 3), 1) << hostile;
    }
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_9", "music_99999999999999999999"}, 3), 1)
        << "songs that are not there";
    EXPECT_EQ(Table(), Texts());
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_/v/x.mp3", "music_1"}, 3), 1);
    EXPECT_EQ(Table(), Texts({"1 1030 3"}));
    EXPECT_TRUE(Log().empty());

    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {}, 3), 0);
    EXPECT_EQ(VARNAudioWebapiSetSongRating(4294967295U, {"music_1"}, 3), 0);
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_1"}, 6), 0);
    EXPECT_TRUE(Log().empty()) << "refused without a line";
    EXPECT_EQ(Table(), Texts({"1 1030 3"}));
}

TEST_F(SongRating, RowsAreWrittenAtOnce) {
    // Counts the statements that write the table.
    Query(
        "CREATE TABLE writes (kind text); CREATE FUNCTION note_write() RETURNS trigger LANGUAGE "
        "plpgsql AS $$ BEGIN INSERT INTO writes VALUES (TG_OP); RETURN NULL; END $$; "
        "CREATE TRIGGER note AFTER INSERT OR UPDATE ON rating_track FOR EACH STATEMENT EXECUTE "
        "FUNCTION note_write()");
    Query(
        "INSERT INTO track (path, title) SELECT '/m/' || n, n FROM generate_series(1, 1000) n; "
        "INSERT INTO rating_track SELECT 1030, id, 1 FROM track WHERE id <= 400");
    Query("DELETE FROM writes");
    Texts ids;
    for (int id = 1; id <= 100000; ++id) {
        ids.push_back(std::to_string(id));
    }
    MEDIA_DB_HANDLE database = {};
    database.conn = AudioInfoDBConnect();
    Texts paths;
    EXPECT_EQ(VARNAudioWebapiSaveDBStar(ids, paths, &database, kAlice, 4), 1);
    EXPECT_EQ(paths.size(), 1000U);
    EXPECT_EQ(Value("SELECT string_agg(kind, ' ' ORDER BY kind) FROM writes"), "INSERT UPDATE");
    EXPECT_EQ(Value("SELECT COUNT(*) FROM rating_track WHERE star = 4"), "1000");

    // A rating that the table refuses changes neither it nor the paths.
    for (const auto &[bad, star, statement] :
         {std::tuple(Texts{"1"}, 6,
                     "UPDATE rating_track SET star = 6 WHERE userid = 1030 AND "
                     "track IN \\( 1 \\)\\] \\(ERROR"),
          {Texts{}, 3, "SELECT id, path, star, .* WHERE id IN \\(  \\)\\] \\(ERROR"},
          {Texts{"1", "x"}, 3, "SELECT .* IN \\( 1, x \\)\\] \\(an id has more than digits\\)$"},
          {Texts{"1) OR (1=1"}, 3, "SELECT .* \\(an id has more than digits\\)$"}}) {
        ClearLog();
        EXPECT_EQ(VARNAudioWebapiSaveDBStar(bad, paths, &database, kAlice, star), 0);
        const Texts lines = Log();
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), IsFailedStatement), 1) << "once";
        EXPECT_TRUE(
            Logged(std::string("audiolib/webapi_utils:[0-9]+ Failed to exec \\[") + statement));
    }
    EXPECT_EQ(paths.size(), 1000U);
    EXPECT_EQ(Value("SELECT COUNT(*) FROM rating_track WHERE star = 4"), "1000");
    VARNDBClose(database.conn);
}

TEST_F(SongRating, WritersAtOnceLeaveTheStoresAlike) {
    AddSong("a.mp3");
    AddSong("b.mp3");
    const std::pair<const char *, Texts> kCases[] = {
        {"INSERT INTO rating_track VALUES (1030, 1, 2)", {"1 1030 5"}},
        {"DELETE FROM rating_track", {"1 1030 5"}},
        // What the indexer does with a song that moved.
        {"LOCK TABLE rating_track IN SHARE ROW EXCLUSIVE MODE; DELETE FROM rating_track; "
         "UPDATE track SET id = 9 WHERE id = 1",
         {}},
        {"UPDATE track SET id = 1 WHERE id = 9", {}}};
    for (const auto &[others, left] : kCases) {
        DBConnect_tag *other = AudioInfoDBConnect();
        ASSERT_EQ(VARNDBExecute(other, "BEGIN", nullptr), 0);
        ASSERT_NE(VARNDBExecute(other, others, nullptr), -1);
        std::thread later([&] {
            usleep(300000);
            EXPECT_NE(VARNDBExecute(other, "COMMIT", nullptr), -1);
        });
        EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_1"}, 5), 1) << others;
        later.join();
        VARNDBClose(other);
        EXPECT_EQ(Table(), left) << others;
        EXPECT_EQ(Kept("a.mp3"), "5");
    }
    Query("INSERT INTO rating_track VALUES (1030, 1, 5)");

    Query(
        "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE 'limit %', "
        "current_setting('lock_timeout'); END $$; "
        "CREATE TRIGGER refuse BEFORE INSERT ON rating_track EXECUTE FUNCTION refuse()");
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_1", "music_2"}, 3), 0);
    EXPECT_EQ(Table(), Texts({"1 1030 5"})) << "neither song";
    EXPECT_TRUE(Logged("limit 10s"));
    EXPECT_EQ(Kept("a.mp3"), "5");
}

TEST_F(SongRating, ADatabaseThatCannotBeWrittenLeavesTheFilesAlone) {
    AddSong("a.mp3");
    Query("ALTER TABLE rating_track RENAME TO away");
    EXPECT_EQ(VARNAudioWebapiSetSongRating(kAlice, {"music_1"}, 3), 0);
    EXPECT_TRUE(Logged(
        "audiolib/webapi_utils:[0-9]+ Failed to exec \\[SELECT id, path, star.*\\] \\(ERROR"));
    EXPECT_TRUE(Logged("audiolib/webapi_utils:[0-9]+ Failed to save star of tracks$"));
    EXPECT_FALSE(fs::exists(scratch() / "@eaDir"));
}

TEST_F(SongRating, FilesThatCannotBeWritten) {
    const std::string song = (scratch() / "O'Brien 100%_ä.mp3").string();
    EXPECT_EQ(VARNSetSongRatingToEA(song.c_str(), kAlice, 5), 1) << "the song need not exist";
    EXPECT_EQ(Kept("O'Brien 100%_ä.mp3"), "5");
    EXPECT_TRUE(Log().empty());

    EXPECT_EQ(VARNSetSongRatingToEA(song.c_str(), 4294967295U, 5), 0);
    EXPECT_EQ(VARNSetSongRatingToEA(song.c_str(), kAlice, 6), 0);
    EXPECT_EQ(Log().size(), 2U);
    EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Bad parameter\\.$"));
    for (const std::string &path :
         {std::string("no folder"), std::string(""), "/" + std::string(4094, 'x')}) {
        ClearLog();
        EXPECT_EQ(VARNSetSongRatingToEA(path.c_str(), kAlice, 1), 0);
        EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Failed to get @eaDir \\[path=.*\\]$"));
    }
    EXPECT_EQ(VARNSetSongRatingToEA((scratch() / "gone" / "a.mp3").c_str(), kAlice, 1), 0);
    EXPECT_TRUE(Logged("Failed to create song ratting file under @eaDir \\[path=.*gone/a.mp3\\]$"));

    // A folder, or a link, in the record's place.
    const std::string other = (scratch() / "b.mp3").string();
    fs::create_directories(Record("b.mp3") / "x");
    EXPECT_EQ(VARNSetSongRatingToEA(other.c_str(), kAlice, 1), 0);
    EXPECT_TRUE(Logged("Failed to save song rating in file \\[uid=1030, star=1, path=.*b.mp3\\]$"));
    EXPECT_EQ(VARNSetSongRatingToEA(other.c_str(), kAlice, 0), 0);
    EXPECT_TRUE(
        Logged("Failed to remove song rating in file \\[uid=1030, star=0, path=.*b.mp3\\]$"));

    BackToRoot();
    const fs::path victim = scratch() / "victim";
    std::ofstream(victim) << "1030=5\n";
    fs::create_directories(Record("c.mp3").parent_path());
    fs::create_symlink(victim, Record("c.mp3"));
    const std::string third = (scratch() / "c.mp3").string();
    EXPECT_EQ(VARNSetSongRatingToEA(third.c_str(), kAlice, 1), 0);
    EXPECT_EQ(VARNSetSongRatingToEA(third.c_str(), kAlice, 0), 0);
    EXPECT_EQ(ReadFile(victim), "1030=5\n");
}

}  // namespace
