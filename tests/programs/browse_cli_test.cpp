// The verbs that browse, search and rate.
#include <fcntl.h>
#include <json/json.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>

#include "musiclib/library_rows.h"
#include "programs/command.h"
#include "varn/systempath.h"

namespace tonvale_test {

namespace {

using Arguments = std::vector<std::string>;

class BrowseCommand : public LibraryRows {
  protected:
    static Json::Value Ask(Arguments arguments) {
        arguments.emplace_back("--json");
        const Finished run = Tonvale(arguments);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(run.out.ends_with("}\n")) << run.out;
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        Json::Value root;
        std::string error;
        EXPECT_TRUE(reader->parse(run.out.data(), run.out.data() + run.out.size(), &root, &error))
            << error;
        return root;
    }
    // One member of each entry of the list that a verb prints.
    static Texts Names(const Arguments &arguments, const char *member = "name",
                       const char *list = nullptr) {
        const Json::Value page = Ask(arguments);
        Texts names;
        for (const Json::Value &entry : page[list != nullptr ? list : arguments[0]]) {
            names.push_back(entry[member].asString());
        }
        return names;
    }
};

TEST_F(BrowseCommand, Refuses) {
    const struct {
        Arguments arguments;
        int status;
        const char *message;
    } kCases[] = {
        {{"albums", "--help"}, 0, "--album-artist"},
        {{"albums", "--sort-by", "album_sort; DROP TABLE track"}, 2, "star"},
        {{"artists", "--sort-by", "year"}, 2, "name"},
        {{"composers", "--genre", "\xFF"}, 2, "UTF-8"},
        {{"artists", "--name", "a", "--genre", "b"}, 2, "takes no filter"},
        {{"folders", "--below", "0"}, 2, "from 1"},
        {{"folders", "--below", "12"}, 2, "there is no folder 12"},
        {{"folders", "--in", "dir_p_12"}, 2, "there is no folder 12"},
        {{"folders", "--in", "dir_x"}, 2, "'dir_x' is no folder's identifier"},
        {{"search"}, 2, "keyword"},
        {{"search", ""}, 2, "empty"},
        {{"rate"}, 2, "stars"},
        {{"rate", "6", "1"}, 2, "not in range 0 to 5"},
        {{"rate", "-1", "1"}, 2, "-1"},
        {{"rate", "3"}, 2, "name the songs"},
        {{"rate", "3", "1 OR 1=1"}, 2, "no song's id"},
        {{"rate", "3", "1", "4294967296"}, 2, "no song's id"},
        {{"rate", "3", "77"}, 2, "there is no song 77"},
        {{"cover", "77"}, 2, "there is no song 77"},
    };
    for (const auto &[arguments, status, message] : kCases) {
        const Finished run = Tonvale(arguments);
        EXPECT_EQ(run.status, status) << message << "\n" << run.err;
        EXPECT_TRUE(Contains(status == 0 ? run.out : run.err, message)) << run.out << run.err;
        EXPECT_TRUE(status == 0 || run.out.empty()) << run.out;
    }
}

TEST_F(BrowseCommand, PrintsGroupsAsTables) {
    Rate(kAlice,
         Add({.album = "Gold",
              .artist = "Abba",
              .composer = "B",
              .genres = {"Pop", "Rock"},
              .year = 1992}),
         4);
    Rate(kAlice,
         Add({.album = "Gold",
              .artist = "Zoë",
              .album_artist = "Zoë",
              .genres = {"Rock"},
              .year = 2001}),
         5);
    Add({.userid = kAlice, .album = "Hers", .artist = "ábel", .composer = "Á"});
    const Arguments alice = {"--user", "alice"};
    const auto ask = [&](Arguments arguments) {
        arguments.insert(arguments.end(), alice.begin(), alice.end());
        return arguments;
    };
    EXPECT_EQ(Names(ask({"artists", "--name", "B", "--sort-by", "star"})), Texts({"ábel", "Abba"}));
    EXPECT_EQ(Tonvale(ask({"composers", "--sort-by", "star", "--sort-direction", "desc"})).out,
              "NAME           STARS\n"
              "B                4.0\n"
              "Á\n"
              "(no composer)\n"
              "1-3 of 3 composers\n");
    EXPECT_EQ(Tonvale(ask({"albums", "--offset", "1", "--limit", "1"})).out,
              "ALBUM  ALBUM ARTIST  YEAR  STARS\n"
              "Gold   Zoë           2001    5.0\n"
              "2-2 of 3 albums\n");
    EXPECT_EQ(Tonvale(ask({"artists", "--name", "nobody", "--offset", "7"})).out,
              "0 of 0 artists\n");
}

TEST_F(BrowseCommand, FoldersBelowAFolder) {
    Query(
        "INSERT INTO directory (id, path, title) VALUES (1, '/m', 'm'), (2, '/m/a_b', 'a_b'), "
        "(3, '/m/a_b/c', 'c'), (4, '/m/axb', 'axb'), (5, '/m/axb/d', 'd')");
    Query("INSERT INTO personal_directory (userid, id, path, title) VALUES (1030, 6, '/h/a', 'a')");
    EXPECT_EQ(Names({"folders"}, "id"), Texts({"dir_1", "dir_2", "dir_3", "dir_4", "dir_5"}));
    EXPECT_EQ(Names({"folders", "--below", "2"}), Texts({"c"}));
    EXPECT_EQ(Names({"folders", "--name", "X"}), Texts({"axb"}));
    EXPECT_EQ(Names({"folders", "--user", "alice", "--library", "personal"}), Texts({"a"}));
    EXPECT_EQ(Names({"folders", "--user", "alice", "--name", "a", "--sort-by", "name"}, "id"),
              Texts({"dir_p_6", "dir_2", "dir_4"}));
    EXPECT_EQ(Names({"folders", "--below", "dir_2"}), Texts({"c"}));
    EXPECT_TRUE(Tonvale({"folders", "--limit", "2"}).out.ends_with("\n1-2 of 5 folders\n"));
    EXPECT_EQ(Ask({"folders", "--offset", "9"})["total"].asInt(), 5);
}

TEST_F(BrowseCommand, RatesByIdsAndByFilters) {
    for (const char *album : {"A", "A", "B"}) {
        Add({.path = (scratch() / ("song" + std::to_string(last_ + 1))).string(), .album = album});
    }
    Add({.userid = kBob, .path = (scratch() / "his").string(), .album = "A"});
    const auto stars = [] {
        return Value(
            "SELECT string_agg(track || ':' || star, ' ' ORDER BY track) FROM rating_track "
            "WHERE userid = 1030");
    };
    EXPECT_EQ(Tonvale({"rate", "4", "3", "1", "--user", "alice"}).out,
              "2 songs rated with 4 stars\n");
    EXPECT_EQ(stars(), "1:4 3:4");
    EXPECT_EQ(Tonvale({"rate", "1", "--album", "A", "--user", "alice"}).out,
              "2 songs rated with 1 star\n");
    EXPECT_EQ(stars(), "1:1 2:1 3:4") << "bob's song is not hers to rate";
    EXPECT_EQ(Tonvale({"rate", "1", "4", "--user", "alice"}).status, 2);
    EXPECT_EQ(Tonvale({"rate", "5", "3", "--album", "A", "--user", "alice"}).status, 2);
    EXPECT_EQ(stars(), "1:1 2:1 3:4");
    const Json::Value rated = Ask({"rate", "0", "--album", "B", "--user", "alice"});
    EXPECT_EQ(rated["ids"].size(), 1U);
    EXPECT_EQ(rated["star"].asInt(), 0);
    EXPECT_EQ(Tonvale({"rate", "3", "--album", "none"}).out, "0 songs rated with 3 stars\n");
    EXPECT_EQ(stars(), "1:1 2:1 3:0");
}

TEST_F(BrowseCommand, LocksHoldARatingUpOnce) {
    WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
    std::vector<int> locked;
    for (const char *name : {"a.mp3", "b.mp3", "c.mp3"}) {
        Add({.path = (scratch() / name).string()});
        const auto record = scratch() / "@eaDir" / name / "VARNAUDIO_SONG_RATING";
        std::filesystem::create_directories(record.parent_path());
        std::ofstream(record) << "1030=1\n";
        locked.push_back(open(record.c_str(), O_RDONLY | O_CLOEXEC));
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        ASSERT_EQ(fcntl(locked.back(), F_OFD_SETLK, &lock), 0);
    }
    const auto start = std::chrono::steady_clock::now();
    const Finished run = Tonvale({"rate", "5", "1", "2", "3", "--user", "alice"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(run.out, "3 songs rated with 5 stars\n") << run.err;
    EXPECT_NE(run.err.find("The rating of " + (scratch() / "b.mp3").string() +
                           " is kept in the database alone"),
              run.err.npos)
        << run.err;
    for (const int fd : locked) {
        close(fd);
    }
}

}  // namespace

}  // namespace tonvale_test
