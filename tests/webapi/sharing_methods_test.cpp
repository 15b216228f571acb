// Share links and pins through the CGI environment.
#include <set>

#include "sharing/shared_library.h"
#include "webapi/api.h"

namespace tonvale_test {

namespace {

class WebMethods : public SharedLibraryTest, protected Api {
  protected:
    static Json::Value Alice(const std::string &api, const std::string &method,
                             const Given &form = {}) {
        return Ask(api, method, form, "alice", kHost);
    }

    // What a link's address is made of.
    static inline const Variables kHost = {{"HTTP_HOST", "nas:8480"}};
};

TEST_F(WebMethods, ShareAPlaylist) {
    const Json::Value made =
        Alice("Sharing", "create", {{"playlist_id", "playlist_shared_normal/12"}})["sharing"];
    const std::string id = made["id"].asString();
    EXPECT_EQ(made["url"], "http://nas:8480/as/sharing/" + id);
    EXPECT_EQ(made["name"], "A \"list\"");
    const Json::Value dated = Alice("Sharing", "update",
                                    {{"playlist_id", "playlist_shared_normal/12"},
                                     {"date_available", "2020-01-01"},
                                     {"date_expired", "2020-12-31"}})["sharing"];
    EXPECT_EQ(dated["id"], id);
    EXPECT_EQ(dated["status"], "expired");
    EXPECT_EQ(Alice("Sharing", "get", {{"id", id}})["sharing"], dated);
    const Json::Value song = Alice("Sharing", "share_song", {{"id", Name(rock_)}})["sharing"];
    EXPECT_TRUE(song["song_url"].asString().starts_with(song["url"].asString() + "/")) << song;
    EXPECT_EQ(Alice("Sharing", "list")["total"], 2);
    EXPECT_EQ(Alice("Sharing", "list", {{"offset", "1"}, {"limit", "1"}})["sharings"].size(), 1U);
    // Also when alice does not browse it any more.
    Alice("Setting", "set", {{"browse_personal_library", "personal"}});
    Alice("Sharing", "unshare_song", {{"id", Name(rock_)}});
    Alice("Setting", "set", {{"browse_personal_library", "all"}});
    EXPECT_EQ(Alice("Sharing", "delete", {{"id", id}}), Json::Value(Json::objectValue));

    const struct {
        const char *method;
        Given form;
        int code;
    } cases[] = {
        {"get", {}, 400},
        {"get", {{"id", id}, {"playlist_id", "playlist_shared_normal/12"}}, 400},
        {"get", {{"id", id}}, 404},
        {"get", {{"id", "' OR '1'='1"}}, 404},
        {"update", {{"id", id}, {"date_expired", "2020-02-30"}}, 400},
        {"delete", {{"id", id}}, 404},
        {"create", {}, 400},
        {"create", {{"playlist_id", "playlist_shared_normal/4711"}}, 404},
        {"create", {{"playlist_id", "playlist_shared_normal/" + std::string(10000, '\'')}}, 404},
        {"create", {{"playlist_id", kSongs}}, 409},
        {"create", {{"playlist_id", kSharedSmart}, {"date_expired", "never"}}, 400},
        {"create", {{"playlist_id", kSharedSmart}, {"date_available", "2030-01-01"}}, 400},
        {"share_song", {}, 400},
        {"share_song", {{"id", "music_1 OR 1=1"}}, 400},
        {"share_song", {{"id", Name(bobs_)}}, 404},
        {"list", {{"limit", "0"}}, 400},
        {"publish", {}, 405},
    };
    for (const auto &[method, form, code] : cases) {
        EXPECT_EQ(CodeOf("Sharing", method, form, "alice"), code) << method;
    }
}

TEST_F(WebMethods, PublishASmartPlaylist) {
    const std::string link =
        Alice("Sharing", "create", {{"playlist_id", kSharedSmart}})["sharing"]["id"].asString();
    const Json::Value all = Ask("Sharing.Page", "get", {{"sharing_id", link}}, "");
    EXPECT_EQ(all["name"], "Rock & Roll");
    EXPECT_EQ(all["total"], 2) << all;
    std::set<std::string> ids;
    for (const Json::Value &song : all["songs"]) {
        ids.insert(song["id"].asString());
    }
    EXPECT_EQ(ids, (std::set{Name(rock_), TrackName(track1_)}));
    const Json::Value behind =
        Ask("Sharing.Page", "get", {{"sharing_id", link}, {"offset", "7"}}, "");
    EXPECT_EQ(behind["total"], 2);
    EXPECT_TRUE(behind["songs"].empty());

    Touch(In("it's 100%_a\\b.mp3"));
    Touch(In("pop.mp3"));
    Touch(In("cue.flac"));
    Query("UPDATE track SET duration = 10");
    const std::pair<std::string, const char *> songs[] = {{Name(rock_), "200 OK"},
                                                          {TrackName(track1_), "200 OK"},
                                                          {Name(pop_), "404 Not Found"},
                                                          {TrackName(track2_), "404 Not Found"}};
    for (const auto &[id, status] : songs) {
        const std::string answer =
            RunCgi({{"REQUEST_METHOD", "HEAD"},
                    {"QUERY_STRING",
                     "version=1&api=VARN.Tonvale.Sharing.Page&method=stream&format=mp3"
                     "&sharing_id=" +
                         link + "&id=" + id}},
                   "");
        EXPECT_TRUE(answer.starts_with(std::string("Status: ") + status)) << id << answer;
    }
}

TEST_F(WebMethods, ShareForUsersWithTheRightAndFromTheirOwnPages) {
    const Given list = {{"playlist_id", "playlist_shared_normal/12"}};
    const std::string id = Alice("Sharing", "create", list)["sharing"]["id"].asString();
    for (const char *user : {"bob", "ghost", ""}) {
        for (const char *method :
             {"get", "list", "create", "update", "delete", "share_song", "unshare_song"}) {
            EXPECT_EQ(CodeOf("Sharing", method, {{"id", id}}, user), 403) << user << method;
        }
    }
    const Variables elsewhere = {{"HTTP_SEC_FETCH_SITE", "cross-site"}};
    for (const char *method : {"create", "update", "delete", "share_song", "unshare_song"}) {
        EXPECT_EQ(CodeOf("Sharing", method, {{"id", id}}, "alice", elsewhere), 403) << method;
    }
    for (const char *method : {"pin", "unpin", "rename", "reorder"}) {
        EXPECT_EQ(CodeOf("Pin", method, {{"id", "1"}}, "alice", elsewhere), 403) << method;
    }
    EXPECT_EQ(CodeOf("Sharing", "get", {{"id", id}}, "alice", elsewhere), 0);
    WriteFile(varn::path::kUsersFile, R"({"1030": {"sharing": true}, "1031": {"sharing": true}})");
    for (const char *method : {"get", "update", "delete"}) {
        EXPECT_EQ(CodeOf("Sharing", method, {{"id", id}}, "bob"), 404) << method;
    }
    EXPECT_EQ(Alice("Sharing", "get", {{"id", id}})["sharing"]["status"], "valid");
}

TEST_F(WebMethods, PinViews) {
    const std::string long_ = std::string(9999, '\'') + "\\";
    const std::string first = Alice("Pin", "pin",
                                    {{"type", "album"},
                                     {"name", long_},
                                     {"criteria", R"({"album": "It's \"\u00df\""})"}})["pin"]["id"]
                                  .asString();
    const std::string second =
        Alice("Pin", "pin", {{"type", "random_100"}, {"name", "x"}})["pin"]["id"].asString();
    const std::string third =
        Alice("Pin", "pin",
              {{"type", "playlist"},
               {"name", "<b>"},
               {"criteria", R"({"playlist": "playlist_shared_normal/12"})"}})["pin"]["id"]
            .asString();
    Alice("Pin", "rename", {{"id", third}, {"name", "list"}});
    Alice("Pin", "reorder", {{"ids", third + "," + second}, {"offset", "1"}});
    const Json::Value pins = Alice("Pin", "list")["pins"];
    ASSERT_EQ(pins.size(), 3U);
    EXPECT_EQ(pins[0]["name"], long_);
    EXPECT_EQ(pins[0]["criteria"]["album"], "It's \"\xC3\x9F\"");
    EXPECT_EQ(pins[1]["name"], "list");
    EXPECT_EQ(pins[1]["criteria"]["name"], "A \"list\"");
    const Json::Value page = Alice("Pin", "list", {{"offset", "2"}, {"limit", "5"}});
    EXPECT_EQ(page["total"], 3);
    EXPECT_EQ(page["pins"][0]["id"], second);

    const struct {
        const char *user, *method;
        Given form;
        int code;
    } cases[] = {
        {"bob", "unpin", {{"id", first}}, 5},
        {"bob", "rename", {{"id", first}, {"name", "stolen"}}, 5},
        {"bob", "reorder", {{"ids", first + "," + second}}, 1},
        {"alice", "rename", {{"id", first}}, 400},
        {"alice", "reorder", {{"ids", first + "," + first + "," + second}}, 1},
        {"alice", "reorder", {{"ids", first}, {"limit", "0"}}, 400},
        {"alice", "list", {{"offset", "-1"}}, 400},
        {"ghost", "list", {}, 403},
    };
    for (const auto &[user, method, form, code] : cases) {
        EXPECT_EQ(CodeOf("Pin", method, form, user), code)
            << method << " " << (form.empty() ? "" : form.back().second.substr(0, 50));
    }
    const struct {
        const char *type;
        std::string criteria;
        int code;
    } pinned[] = {
        {"year", "{}", 2},
        {"album", "[]", 3},
        {"album", "{", 400},
        {"album", std::string(100000, '['), 400},
        {"random_100", "{}", 4},
        {"folder", "{\"folder\":\"dir_99\"}", 6},
        {"playlist", "{\"playlist\":\"playlist_personal_normal/99\"}", 7},
    };
    for (const auto &[type, criteria, code] : pinned) {
        const Given form = {{"type", type}, {"name", "n"}, {"criteria", criteria}};
        EXPECT_EQ(CodeOf("Pin", "pin", form), code) << type << criteria.substr(0, 50);
    }
    EXPECT_EQ(CodeOf("Pin", "pin", {{"name", "n"}}), 2);
    EXPECT_EQ(CodeOf("Pin", "pin", {{"type", "album"}}), 400);
    EXPECT_EQ(Alice("Pin", "list")["pins"], pins) << "what is refused changes nothing";
    Alice("Pin", "unpin", {{"id", first}});
    EXPECT_EQ(Alice("Pin", "list")["total"], 2);
    EXPECT_EQ(Ask("Pin", "list", {}, "bob")["total"], 0);
}

// The host of a link is the request's up to a colon or a slash, where nothing better is configured.
TEST_F(WebMethods, AddressLinksByTheLibrarysRules) {
    const std::string id =
        Alice("Sharing", "create", {{"playlist_id", "playlist_shared_normal/12"}})["sharing"]["id"]
            .asString();
    const auto url = [&](const Variables &variables) {
        const std::string text =
            Ask("Sharing", "get", {{"id", id}}, "alice", variables)["sharing"]["url"].asString();
        EXPECT_TRUE(text.ends_with("/as/sharing/" + id)) << text;
        return text.substr(0, text.size() - id.size() - 12);
    };
    for (const auto &[host, address] :
         {std::pair("nas", "http://nas"), std::pair("nas:1/../x", "http://nas:1"),
          std::pair("[::1]:5", "http://[::1]:5"), std::pair("a\"b<script>", "http://a\"b<script>"),
          std::pair("evil/webapi", "http://evil"), std::pair("", "http://")}) {
        EXPECT_EQ(url({{"HTTP_HOST", host}}), address);
    }
    EXPECT_EQ(url({{"HTTPS", "on"}, {"HTTP_HOST", "nas:8480"}}), "https://nas:8480");
    WriteFile(varn::path::kVarnInfo,
              "external_host_ip=\"music.example.org\"\nexternal_port_kos_https=\"443\"\n");
    EXPECT_EQ(url({{"HTTPS", "on"}, {"HTTP_HOST", "nas:8480"}}), "https://music.example.org:443");
}

}  // namespace

}  // namespace tonvale_test
