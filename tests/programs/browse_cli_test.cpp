// The verbs that browse, search and rate: their options, wording and tables.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "musiclib/library_rows.h"
#include "programs/command.h"
#include "varn/systempath.h"

namespace tonvale_test {

namespace {

class BrowseCommand : public LibraryRows {
  protected:
    // One member of each folder that the words list.
    static Texts Folders(const std::string &words, const char *member = "id") {
        return Each(JsonOf(Words("folders --json " + words))["folders"], member);
    }
    static std::string Stars() {
        return Value(
            "SELECT string_agg(track || ':' || star, ' ' ORDER BY track) FROM rating_track "
            "WHERE userid = 1030");
    }
};

TEST_F(BrowseCommand, RefusalsNameTheMistake) {
    ExpectSayings({
        {{"albums", "--help"}, 0, "--album-artist"},
        {{"folders", "--in", "dir_p_12"}, 2, "there is no folder 12"},
        {{"rate", "6", "1"}, 2, "from 0 to 5"},
        {{"rate", "3"}, 2, "name the songs"},
        {{"rate", "3", "77"}, 2, "there is no song 77"},
    });
}

TEST_F(BrowseCommand, PrintsGroupsAsTables) {
    TrackRow row = {.album = "Gold", .artist = "Abba", .composer = "B", .year = 1992};
    Rate(kAlice, Add(row), 4);
    row.composer = "";
    row.album_artist = "Zoë";
    row.year = 2001;
    Rate(kAlice, Add(row), 5);
    Add({.userid = kAlice, .album = "Hers", .artist = "ábel", .composer = "Á"});
    EXPECT_EQ(Tonvale(Words("composers --user alice --sort-by star --sort-direction desc")).out,
              "NAME           STARS\n"
              "B                4.0\n"
              "Á\n"
              "(no composer)\n"
              "1-3 of 3 composers\n");
    EXPECT_EQ(Tonvale(Words("albums --user alice --offset 1 --limit 1")).out,
              "ALBUM  ALBUM ARTIST  YEAR  STARS\n"
              "Gold   Zoë           2001    5.0\n"
              "2-2 of 3 albums\n");
    EXPECT_EQ(Tonvale(Words("artists --name nobody --offset 7")).out, "0 of 0 artists\n");
}

TEST_F(BrowseCommand, FoldersBelowAFolder) {
    Query(
        "INSERT INTO directory (id, path, title) VALUES (1, '/m', 'm'), (2, '/m/a_b', 'a_b'), "
        "(3, '/m/a_b/c', 'c'), (4, '/m/axb', 'axb'), (5, '/m/axb/d', 'd');"
        "INSERT INTO personal_directory (userid, id, path, title) VALUES (1030, 6, '/h/a', 'a')");
    EXPECT_EQ(Folders(""), Words("dir_1 dir_2 dir_3 dir_4 dir_5"));
    EXPECT_EQ(Folders("--below dir_2", "name"), Texts{"c"});
    EXPECT_EQ(Folders("--user alice --name a --sort-by name"), Words("dir_p_6 dir_2 dir_4"));
    EXPECT_TRUE(Tonvale({"folders", "--limit", "2"}).out.ends_with("\n1-2 of 5 folders\n"));
}

TEST_F(BrowseCommand, RatesByIdsAndByFilters) {
    for (const char *album : {"A", "A", "B"}) {
        Add({.path = (scratch() / ("song" + std::to_string(last_ + 1))).string(), .album = album});
    }
    Add({.userid = kBob, .path = (scratch() / "his").string(), .album = "A"});
    EXPECT_EQ(Tonvale(Words("rate 4 3 1 --user alice")).out, "2 songs rated with 4 stars\n");
    EXPECT_EQ(Stars(), "1:4 3:4");
    EXPECT_EQ(Tonvale(Words("rate 1 --album A --user alice")).out, "2 songs rated with 1 star\n");
    EXPECT_EQ(Tonvale(Words("rate 1 4 --user alice")).status, 2);
    EXPECT_EQ(Tonvale(Words("rate 5 3 --album A --user alice")).status, 2);
    EXPECT_EQ(Stars(), "1:1 2:1 3:4") << "bob's song is not hers to rate";
    EXPECT_EQ(JsonOf(Words("rate 0 --album B --user alice --json"))["ids"].size(), 1U);
    EXPECT_EQ(Tonvale(Words("rate 3 --album none")).out, "0 songs rated with 3 stars\n");
    EXPECT_EQ(Stars(), "1:1 2:1 3:0");
}

TEST_F(BrowseCommand, LockedRecordsDelayARatingOnce) {
    WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
    std::vector<int> locked;
    std::vector<std::string> rate = Words("rate 5 --user alice");
    for (int song = 1; song <= 20; ++song) {
        const std::string name = std::to_string(song) + ".mp3";
        Add({.path = (scratch() / name).string()});
        rate.push_back(std::to_string(song));
        const auto record = scratch() / "@eaDir" / name / "VARNAUDIO_SONG_RATING";
        fs::create_directories(record.parent_path());
        std::ofstream(record) << "1030=1\n";
        locked.push_back(open(record.c_str(), O_RDONLY | O_CLOEXEC));
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        ASSERT_EQ(fcntl(locked.back(), F_OFD_SETLK, &lock), 0);
    }
    const auto start = std::chrono::steady_clock::now();
    const Finished run = Tonvale(rate);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(run.out, "20 songs rated with 5 stars\n") << run.err;
    ExpectSaid(
        run, "The rating of " + (scratch() / "20.mp3").string() + " is kept in the database alone");
    for (const int fd : locked) {
        close(fd);
    }
}

}  // namespace

}  // namespace tonvale_test
