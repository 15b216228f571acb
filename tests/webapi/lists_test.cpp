// The web API's lists of the library, and its ratings.
#include <filesystem>

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
    EXPECT_EQ(Search({{"keyword", std::string(100000, 'x')}}), Texts());
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
    const struct {
        Given parameters;
        int code;
    } kCases[] = {
        {{{"id", "music_1"}}, 400},
        {{{"rating", "1"}}, 400},
        {{{"id", "music_1"}, {"rating", "6"}}, 400},
        {{{"id", "music_1"}, {"rating", "-1"}}, 400},
        {{{"id", "music_1"}, {"rating", "1.5"}}, 400},
        {{{"id", "music_1,music_1 OR true"}, {"rating", "1"}}, 400},
        {{{"id", "music_/m/a_1"}, {"rating", "1"}}, 400},
        {{{"id", "remote_{} http://x/_1"}, {"rating", "1"}}, 400},
        {{{"id", "music_1,music_5"}, {"rating", "1"}}, 404},
        {{{"id", "music_p_5"}, {"rating", "1"}}, 404},
        {{{"id", "music_1,music_99"}, {"rating", "1"}}, 404},
        {{{"id", "music_v_1"}, {"rating", "1"}}, 404},
    };
    for (const auto &c : kCases) {
        EXPECT_EQ(CodeOf("Song", "rate", c.parameters), c.code) << QueryOf("", "", c.parameters);
    }
    EXPECT_EQ(Stars(), rated) << "nothing is written when one of the songs is refused";
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
}

}  // namespace

}  // namespace tonvale_test
