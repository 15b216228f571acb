// The web API's lists of the library, and its ratings.
#include <algorithm>
#include <filesystem>

#include "programs/command.h"
#include "tonvale/paths.h"
#include "varn/host.h"
#include "varn/sql.h"
#include "webapi/api.h"

namespace tonvale_test {

namespace {

const std::string kAwkward = "O'B \"100%_\" \\ \xC3\xA9";

class SongApi : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        const auto song = [](int id, unsigned userid, const std::string &title) {
            return TrackRow{.id = id,
                            .userid = userid,
                            .path = (scratch() / (std::to_string(id) + ".mp3")).string(),
                            .title = title};
        };
        TrackRow first = song(1, 0, "\xC3\xA9 one");
        first.album = kAwkward;
        first.artist = "A";
        first.genres = {"Rock", kAwkward};
        first.year = 2001;
        TrackRow second = song(2, 0, "F two");
        second.album_artist = "a";
        second.year = 1999;
        TrackRow third = song(3, 0, "E three");  // of the file 6, which a cue sheet splits
        third.is_virtual = true;
        TrackRow file = third;
        file.id = 6;
        file.is_virtual = false;
        file.has_virtual = true;
        third.composer = "rock";
        Query(InsertSql(first) + InsertSql(second) + InsertSql(third) + InsertSql(file) +
              InsertSql(song(4, kAlice, "mine")) + InsertSql(song(5, kBob, "his")));
    }
    static Texts List(const Given &parameters) {
        return Each(Ask("Song", "list", parameters)["songs"]);
    }
    static Texts Search(const Given &parameters) {
        return Each(Ask("Song", "search", parameters)["songs"]);
    }
    static std::string Stars() {
        return Value(
            "SELECT coalesce(string_agg(userid || '/' || track || ':' || star, ' ' "
            "ORDER BY userid, track), '') FROM rating_track");
    }
};

TEST_F(SongApi, IsOrderedByTheCollationAndFiltered) {
    const struct {
        Given parameters;
        Texts ids;
    } kCases[] = {
        {{}, {"music_1", "music_v_3", "music_2", "music_4"}},
        {{{"sort_direction", "DESC"}}, {"music_4", "music_2", "music_v_3", "music_1"}},
        {{{"sort_by", "year"}, {"library", "actual_shared"}, {"limit", "2"}},
         {"music_6", "music_2"}},
        {{{"library", "virtual"}}, {"music_v_3"}},
        {{{"library", "personal"}}, {"music_4"}},
        {{{"artist", "a"}}, {"music_1", "music_2"}},
        {{{"artist", ""}}, {"music_v_3", "music_4"}},
        {{{"album_artist", ""}, {"library", "shared"}}, {"music_1", "music_v_3"}},
        {{{"album", kAwkward}, {"genre", kAwkward}}, {"music_1"}},
        {{{"album", "O_B%"}}, {}},
        {{{"genre", "Rock' OR 'a'='a"}}, {}},
        {{{"composer", "rock"}}, {"music_v_3"}},
    };
    for (const auto &c : kCases) {
        EXPECT_EQ(List(c.parameters), c.ids) << QueryOf("", "", c.parameters);
    }
    const Json::Value page = Ask("Song", "list", {{"offset", "3"}, {"limit", "2"}});
    EXPECT_EQ(page["total"].asInt(), 4);
    EXPECT_EQ(page["offset"].asInt(), 3);
    EXPECT_EQ(Each(page["songs"]), Texts{"music_4"});
    const Json::Value sample = Ask("Song", "list", {{"sort_by", "random"}, {"limit", "2"}});
    EXPECT_EQ(sample["songs"].size(), 2U);
    EXPECT_EQ(CodeOf("Song", "list", {{"sort_by", "random"}, {"artist", "A"}}), 400);
}

TEST_F(SongApi, FindsTextsAsTheyAre) {
    const struct {
        Given parameters;
        Texts ids;
    } kCases[] = {
        {{{"keyword", "ROCK"}}, {"music_1", "music_v_3"}},
        {{{"keyword", "rock"}, {"field", "genre"}}, {"music_1"}},
        {{{"keyword", "rock"}, {"field", "composer"}}, {"music_v_3"}},
        {{{"keyword", "rock"}, {"field", "title"}}, {}},
        {{{"keyword", kAwkward}, {"field", "album"}}, {"music_1"}},
        {{{"keyword", "%"}}, {"music_1"}},
        {{{"keyword", "his"}}, {}},
        {{{"keyword", "e"}, {"field", "title"}, {"sort_by", "year"}, {"sort_direction", "DESC"}},
         {"music_1", "music_v_3", "music_4"}},
    };
    for (const auto &c : kCases) {
        EXPECT_EQ(Search(c.parameters), c.ids) << QueryOf("", "", c.parameters);
    }
    EXPECT_EQ(Ask("Song", "search", {{"keyword", "rock"}, {"limit", "1"}})["total"].asInt(), 2);
    for (const Given &bad :
         {Given{}, Given{{"keyword", ""}}, Given{{"keyword", "a"}, {"field", "path"}},
          Given{{"keyword", "a"}, {"sort_by", "random"}}}) {
        EXPECT_EQ(CodeOf("Song", "search", bad), 400) << QueryOf("", "", bad);
    }
}

TEST_F(SongApi, WritesLongListsWhole) {
    std::string sql;
    for (int id = 1001; id <= 1600; ++id) {  // more than are held at a time
        sql += InsertSql({.id = id, .path = "/m/" + std::to_string(id), .year = 3000 + id});
    }
    Query(sql + "INSERT INTO rating_track VALUES (1030, 1300, 4)");
    const Json::Value page = Ask("Song", "list",
                                 {{"sort_by", "year"},
                                  {"sort_direction", "DESC"},
                                  {"limit", "5000"},
                                  {"additional", "song_rating,song_tag"}});
    ASSERT_EQ(page["songs"].size(), 604U);
    EXPECT_EQ(page["total"].asInt(), 604);
    for (Json::ArrayIndex i = 0; i < 600; ++i) {
        const Json::Value &song = page["songs"][i];
        ASSERT_EQ(song["id"].asString(), "music_" + std::to_string(1600 - i));
        ASSERT_EQ(song["additional"]["song_rating"]["rating"].asInt(), i == 300 ? 4 : 0);
        ASSERT_EQ(song["additional"]["song_tag"]["year"].asInt(), static_cast<int>(4600 - i));
    }
    EXPECT_EQ(
        Each(Ask("Song", "get", {{"id", "music_2,music_v_3,music_3,music_p_5,music_2"}})["songs"]),
        (Texts{"music_2", "music_v_3", "music_2"}));
}

TEST_F(SongApi, RatesWhatTheUserMayRate) {
    EXPECT_EQ(CodeOf("Song", "rate", {{"id", "music_1"}, {"rating", "3"}}), 403);
    Give("alice", kAlice, RIGHT_EDITSONG);
    Give("bob", kBob, RIGHT_EDITSONG);
    EXPECT_EQ(Ask("Song", "rate", {{"id", "music_1,music_v_3,music_4"}, {"rating", "5"}}),
              Json::Value(Json::objectValue));
    Ask("Song", "rate", {{"id", "[\"music_1\"]"}, {"rating", "2"}}, "bob");
    const std::string rated = "1030/1:5 1030/3:5 1030/4:5 1031/1:2";
    EXPECT_EQ(Stars(), rated);
    EXPECT_EQ(CodeOf("Song", "rate", {{"id", "music_1"}}), 400);
    EXPECT_EQ(CodeOf("Song", "rate", {{"rating", "1"}}), 400);
    const struct {
        const char *id, *rating;
        int code;
    } kCases[] = {
        {"music_1", "6", 400},          {"music_1", "-1", 400},
        {"music_1", "1.5", 400},        {"music_1,music_1 OR true", "1", 400},
        {"music_/m/a_1", "1", 400},     {"remote_{} http://x/_1", "1", 400},
        {"music_1,music_5", "1", 404},  {"music_p_5", "1", 404},
        {"music_1,music_99", "1", 404}, {"music_v_1", "1", 404},
    };
    for (const auto &[id, rating, code] : kCases) {
        EXPECT_EQ(CodeOf("Song", "rate", {{"id", id}, {"rating", rating}}), code) << id << rating;
    }
    EXPECT_EQ(Stars(), rated) << "nothing is written when one of the songs is refused";

    // One row that cannot be written, whatever its kind and its owner.
    Query("DELETE FROM rating_track");
    Query(
        "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
        "IF NEW.star = 1 AND NEW.track = 3 THEN RAISE 'no'; END IF; RETURN NEW; END $$; "
        "CREATE TRIGGER refuse BEFORE INSERT ON rating_track FOR EACH ROW "
        "EXECUTE FUNCTION refuse()");
    WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
    const Given all = {{"id", "music_1,music_v_3,music_4,music_6"}, {"rating", "1"}};
    EXPECT_EQ(CodeOf("Song", "rate", all), 500);
    EXPECT_EQ(Stars(), "") << "all or nothing";
    EXPECT_FALSE(std::filesystem::exists(scratch() / "@eaDir"));
    Ask("Song", "rate", {all[0], {"rating", "2"}});
    EXPECT_EQ(Stars(), "1030/1:2 1030/3:2 1030/4:2 1030/6:2");
    Texts records;
    for (const auto &entry : std::filesystem::directory_iterator(scratch() / "@eaDir")) {
        records.push_back(entry.path().filename().string());
    }
    std::sort(records.begin(), records.end());
    EXPECT_EQ(records, (Texts{"1.mp3", "3.mp3", "3.mp3_0", "4.mp3"}));
}

TEST_F(SongApi, ChangesNothingForAnotherSite) {
    Give("alice", kAlice, RIGHT_EDITSONG);
    const std::string rate = QueryOf("Song", "rate", {{"id", "music_1"}, {"rating", "5"}});
    const struct {
        Variables variables;
        bool isRefused;
    } kCases[] = {
        {{}, false},
        {{{"HTTP_USER_AGENT", "curl/8"}}, false},
        {{{"HTTP_USER_AGENT", "Mozilla/5.0"}}, true},
        {{{"HTTP_SEC_FETCH_SITE", "cross-site"}}, true},
        {{{"HTTP_SEC_FETCH_SITE", "same-site"}}, true},
        {{{"HTTP_SEC_FETCH_SITE", "none"}}, true},
        {{{"HTTP_SEC_FETCH_SITE", "same-origin"}, {"HTTP_USER_AGENT", "Mozilla/5.0"}}, false},
        {{{"HTTP_SEC_FETCH_SITE", "cross-site"}, {"HTTP_ORIGIN", "http://nas:8480"}}, true},
        {{{"HTTP_ORIGIN", "http://nas:8480"}, {"HTTP_USER_AGENT", "Mozilla/5.0"}}, false},
        {{{"HTTP_ORIGIN", "https://NAS:8480"}}, false},
        {{{"HTTP_ORIGIN", "http://nas"}}, true},
        {{{"HTTP_ORIGIN", "http://nas:84800"}}, true},
        {{{"HTTP_ORIGIN", "http://evil.example"}}, true},
        {{{"HTTP_ORIGIN", "null"}}, true},
    };
    for (const auto &c : kCases) {
        Variables variables = c.variables;
        variables.insert({{"REQUEST_METHOD", "GET"},
                          {"QUERY_STRING", rate},
                          {"REMOTE_USER", "alice"},
                          {"HTTP_HOST", "nas:8480"}});
        const std::string answer = RunCgi(variables);
        EXPECT_EQ(answer.find("{\"code\":403}") != answer.npos, c.isRefused) << answer;
        EXPECT_EQ(Stars().empty(), c.isRefused) << answer;
        Query("DELETE FROM rating_track");
    }
    const std::string head =
        RunCgi({{"REQUEST_METHOD", "HEAD"}, {"QUERY_STRING", rate}, {"REMOTE_USER", "alice"}});
    EXPECT_NE(head.find("{\"code\":405}"), head.npos);
    EXPECT_EQ(Stars(), "");
    const std::string list = RunCgi({{"REQUEST_METHOD", "GET"},
                                     {"QUERY_STRING", QueryOf("Song", "list", {})},
                                     {"REMOTE_USER", "alice"},
                                     {"HTTP_SEC_FETCH_SITE", "cross-site"}});
    EXPECT_NE(list.find("\"success\":true"), list.npos) << "reading changes nothing";
    // Nor does it ask another machine.
    Give("alice", kAlice, RIGHT_STREAMING);
    for (const auto &[api, method] : {std::pair("MediaServer", "list"),
                                      {"MediaServer", "browse"},
                                      {"Cover", "get"},
                                      {"Stream", "remote"}}) {
        const std::string query = QueryOf(api, method, {{"url", "ftp://x/"}, {"address", "x"}});
        for (const auto &[site, code] : {std::pair("cross-site", 403), {"same-origin", 400}}) {
            const std::string answer = RunCgi({{"REQUEST_METHOD", "GET"},
                                               {"QUERY_STRING", query},
                                               {"REMOTE_USER", "alice"},
                                               {"HTTP_SEC_FETCH_SITE", site}});
            EXPECT_NE(answer.find("{\"code\":" + std::to_string(code) + "}"), answer.npos)
                << api << answer;
        }
    }
}

class GroupApi : public ApiTest {
  protected:
    static constexpr char kZoe[] = "Zo\u00EB";
    static constexpr char kAbel[] = "\u00E1bel";

    void SetUp() override {
        ApiTest::SetUp();
        TrackRow abba = {.id = 1, .album = "Gold", .artist = "Abba", .composer = "B", .year = 1992};
        abba.genres = {"Pop", "Rock"};
        TrackRow guest = {.id = 2, .album = "Gold", .artist = "Guest", .year = 2001};
        guest.album_artist = kZoe;
        guest.genres = {"Rock"};
        Query(InsertSql(abba) + InsertSql(guest) +
              InsertSql({.id = 3, .userid = kAlice, .album = "Hers", .artist = kAbel}) +
              InsertSql({.id = 4, .userid = kBob, .album = "His", .artist = "Bob"}) +
              "INSERT INTO rating_track VALUES (1030, 2, 4), (1031, 1, 5)");
    }
};

TEST_F(GroupApi, ListsNamesOfTheUsersSongs) {
    const Given kLastYear = {{"sort_by", "year"}, {"sort_direction", "DESC"}, {"limit", "1"}};
    const Given kMostStars = {{"sort_by", "star"}, {"sort_direction", "DESC"}, {"limit", "1"}};
    const struct {
        const char *api, *list;
        Given parameters;
        Texts names;
    } kCases[] = {
        {"Album", "albums", {}, {"Gold", "Gold", "Hers"}},
        {"Album", "albums", {{"library", "personal"}}, {"Hers"}},
        {"Album", "albums", kLastYear, {"Gold"}},
        {"Album", "albums", {{"keyword", "ER"}}, {"Hers"}},
        {"Album", "albums", {{"keyword", "%"}}, {}},
        {"Album", "albums", {{"artist", "guest"}}, {"Gold"}},
        {"Artist", "artists", {}, {"Abba", kAbel, kZoe}},
        {"Artist", "artists", kMostStars, {kZoe}},
        {"Artist", "artists", {{"keyword", "ues"}}, {"Guest"}},
        {"Artist", "artists", {{"genre", "Pop"}}, {"Abba"}},
        {"Artist", "artists", {{"keyword", ""}, {"genre", "Pop"}}, {"Abba"}},
        {"Artist", "artists", {{"keyword", ""}}, {"Abba", kAbel, kZoe}},
        {"Genre", "genres", {{"library", "shared"}}, {"Pop", "Rock"}},
        {"Genre", "genres", {{"album_artist", kZoe}, {"colour", "red"}}, {"Rock"}},
        {"Composer", "composers", {{"genre", "Pop"}}, {"B"}},
        {"Composer", "composers", {{"offset", "9"}}, {}},
    };
    for (const auto &c : kCases) {
        const Json::Value page = Ask(c.api, "list", c.parameters);
        EXPECT_EQ(Each(page[c.list], "name"), c.names) << c.api << QueryOf("", "", c.parameters);
    }
    WriteFile(varn::path::kSystemInfo, "codepage=\"12\"\n");  // which switches the collation off
    EXPECT_EQ(Each(Ask("Artist", "list")["artists"], "name"), (Texts{"Abba", kZoe, kAbel}));
    const Json::Value albums = Ask("Album", "list", kLastYear);
    EXPECT_EQ(albums["total"].asInt(), 3);
    const Json::Value &gold = albums["albums"][0];
    EXPECT_EQ(gold["album_artist"].asString(), kZoe);
    EXPECT_EQ(gold["year"].asInt(), 2001);
    EXPECT_EQ(gold["star"].asDouble(), 4.0) << "the user's own stars";
    EXPECT_EQ(Ask("Genre", "list", {{"offset", "9"}})["total"].asInt(), 3);
}

TEST_F(GroupApi, RefusesWhatItCannotList) {
    const struct {
        const char *api;
        Given parameters;
    } kCases[] = {
        {"Album", {{"sort_by", "album_sort; DROP TABLE track"}}},
        {"Artist", {{"sort_by", "year"}}},
        {"Artist", {{"keyword", "a"}, {"genre", "Pop"}}},
        {"Artist", {{"genre", std::string(2000, 'x')}}},
        {"Genre", {{"keyword", std::string(401, 'x')}}},
        {"Composer", {{"library", "nobody's"}}},
        {"Composer", {{"limit", "5001"}}},
        {"Folder", {{"sort_by", "name"}}},
    };
    for (const auto &c : kCases) {
        EXPECT_EQ(CodeOf(c.api, "list", c.parameters), 400) << QueryOf("", "", c.parameters);
    }
    for (const char *id : {"dir_", "dir_p_", "dir_p_0", "dir_p1", "dir_0", "dir_-1",
                           "dir_1 OR true", "dir_99999999999", "../../etc", "1"}) {
        EXPECT_EQ(CodeOf("Folder", "list", {{"id", id}}), 400) << id;
    }
}

using FolderApi = ApiTest;

TEST_F(FolderApi, ShowsFoldersAndThenSongs) {
    const std::filesystem::path music = scratch() / "a_b%";
    std::filesystem::create_directory(music);
    ASSERT_TRUE(varn::host::AddMusicFolders({music}));
    const auto folder = [](int id, const std::string &path) {
        return *varn::Sql(
            "INSERT INTO directory (id, path, title) VALUES (@VARN:INT, '@VARN:VAR', "
            "'@VARN:VAR');",
            id, path, path.substr(path.rfind('/') + 1));
    };
    Query(
        folder(1, music) + folder(2, music / "Z") + folder(3, music / "a'") +
        folder(4, music / "Z/deep") + folder(5, scratch() / "aXb%") +
        folder(6, scratch() / "aXb%/no") +
        "INSERT INTO personal_directory (userid, id, path, title) VALUES (1031, 7, '/h/b', 'b');" +
        InsertSql({.id = 1, .path = music / "2.mp3"}) +
        InsertSql({.id = 2, .path = music / "1.mp3"}) +
        InsertSql({.id = 3, .path = music / "Z/3.mp3"}) +
        InsertSql({.id = 4, .userid = kBob, .path = music / "his.mp3"}));
    const Json::Value roots = Ask("Folder", "list");
    EXPECT_EQ(Each(roots["folders"]), Texts{"dir_1"});
    EXPECT_EQ(roots["folders"][0]["path"].asString(), "/a_b%");
    EXPECT_TRUE(roots["songs"].isArray() && roots["songs"].empty());
    EXPECT_EQ(roots["total"].asInt(), 1);

    const struct {
        Given page;
        Texts folders;
        Texts songs;
    } kCases[] = {
        {{}, {"dir_3", "dir_2"}, {"music_2", "music_1"}},
        {{{"limit", "1"}}, {"dir_3"}, {}},
        {{{"limit", "2"}}, {"dir_3", "dir_2"}, {}},
        {{{"limit", "3"}}, {"dir_3", "dir_2"}, {"music_2"}},
        {{{"offset", "1"}, {"limit", "2"}}, {"dir_2"}, {"music_2"}},
        {{{"offset", "3"}}, {}, {"music_1"}},
        {{{"offset", "4"}}, {}, {}},
    };
    for (const auto &c : kCases) {
        Given parameters = c.page;
        parameters.emplace_back("id", "dir_1");
        const Json::Value inside = Ask("Folder", "list", parameters);
        EXPECT_EQ(Each(inside["folders"]), c.folders) << QueryOf("", "", c.page);
        EXPECT_EQ(Each(inside["songs"]), c.songs) << QueryOf("", "", c.page);
        EXPECT_EQ(inside["total"].asInt(), 4);
    }
    EXPECT_EQ(CodeOf("Folder", "list", {{"id", "dir_7"}}), 404) << "bob's";
    EXPECT_EQ(Each(Ask("Folder", "list", {{"id", "dir_7"}}, "bob")["folders"]), Texts());
    EXPECT_EQ(CodeOf("Folder", "list", {{"id", "dir_99"}}), 404);
    for (const char *user : {"alice", "bob"}) {
        EXPECT_EQ(CodeOf("Folder", "list", {{"id", "dir_p_7"}, {"library", "shared"}}, user), 404);
    }

    const std::filesystem::path own = AudioFile::GetHomeMusicPath("alice");
    Query("INSERT INTO personal_directory (userid, id, path, title) VALUES (1030, 8, '" +
          own.string() + "', 'music'), (1030, 9, '" + (own / "x").string() + "', 'x')");
    for (const char *library : {"all", "personal"}) {
        const Json::Value all = Ask("Folder", "list", {{"library", library}});
        EXPECT_EQ(Each(all["folders"]).back(), "dir_p_8") << library;
        const Json::Value pin =
            Ask("Pin", "pin",
                {{"type", "folder"}, {"name", library}, {"criteria", R"({"folder":"dir_p_9"})"}});
        const Json::Value pins = Ask("Pin", "list");
        const std::string pinned = pins["pins"][0]["criteria"]["folder"].asString();
        EXPECT_EQ(pinned, "dir_p_9");
        Ask("Folder", "list", {{"id", pinned}, {"library", library}});
        Ask("Pin", "unpin", {{"id", pin["pin"]["id"].asString()}});
    }

    const Finished table = Tonvale({"folders", "--in", "1", "--user", "alice", "--limit", "3"});
    EXPECT_TRUE(table.out.ends_with("\n1-3 of 4 folders and songs\n")) << table.out << table.err;
}

}  // namespace

}  // namespace tonvale_test
