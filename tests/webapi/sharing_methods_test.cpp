// Share links and pins through the CGI environment.
#include <algorithm>

#include "sharing/shared_library.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

class WebMethods : public SharedLibraryTest, protected Api {
  protected:
    static Json::Value Alice(const std::string &asked, const Given &given = {}) {
        return Ask(asked, given, "alice", kHost);
    }

    // Links begin with this address.
    static inline const Variables kHost = {{"HTTP_HOST", "nas:8480"}};
};

TEST_F(WebMethods, KeepLinksToTheirOwner) {
    const Given list = {{"playlist_id", "playlist_shared_normal/12"}};
    const Json::Value made = Alice("Sharing/create", list)["sharing"];
    const std::string id = made["id"].asString();
    EXPECT_EQ(Told(made, "url name"), "http://nas:8480/as/sharing/" + id + " A \"list\"");
    const Json::Value dated = Alice(
        "Sharing/update",
        {list[0], {"date_available", "2020-01-01"}, {"date_expired", "2020-12-31"}})["sharing"];
    EXPECT_EQ(Told(dated, "id status"), id + " expired");
    EXPECT_EQ(Alice("Sharing/get", {{"id", id}})["sharing"], dated);
    Alice("Sharing/share_song", {{"id", Name(rock_)}});
    const Json::Value page = Alice("Sharing/list?offset=1&limit=1");
    EXPECT_EQ(Told(page, "total sharings[1]"), "2 -");
    // Alice may take back a song that she does not browse any more.
    Alice("Setting/set?browse_personal_library=personal");
    Alice("Sharing/unshare_song", {{"id", Name(rock_)}});
    Alice("Setting/set?browse_personal_library=all");
    EXPECT_EQ(CodeOf("Sharing/create", {{"playlist_id", kSongs}}), 409);
    WriteFile(varn::path::kUsersFile, R"({"1030": {"sharing": true}, "1031": {"sharing": true}})");
    for (const char *method : {"get", "update", "delete"}) {
        EXPECT_EQ(CodeOf("Sharing/" + std::string(method), {{"id", id}}, "bob"), 404) << method;
    }
    EXPECT_EQ(Alice("Sharing/delete", {{"id", id}}), Json::Value(Json::objectValue));
    EXPECT_EQ(CodeOf("Sharing/get", {{"id", id}}), 404);
}

TEST_F(WebMethods, PublishASmartPlaylist) {
    const std::string link =
        Alice("Sharing/create", {{"playlist_id", kSharedSmart}})["sharing"]["id"].asString();
    const Json::Value all = Ask("Sharing.Page/get", {{"sharing_id", link}}, "");
    EXPECT_EQ(all["name"], "Rock & Roll");
    Texts ids = Each(all["songs"]);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (Texts{Name(rock_), TrackName(track1_)}));
    const Json::Value page = Ask("Sharing.Page/get", {{"sharing_id", link}, {"offset", "7"}}, "");
    EXPECT_EQ(Told(page, "total songs[0]"), "2 -");
}

TEST_F(WebMethods, KeepPinsToTheirUser) {
    const std::string awkward = std::string(9999, '\'') + "\\";
    const auto pin = [](const std::string &type, const std::string &name,
                        const std::string &criteria) {
        const Given given = {{"type", type}, {"name", name}, {"criteria", criteria}};
        return Alice("Pin/pin", given)["pin"]["id"].asString();
    };
    const std::string first = pin("album", awkward, R"({"album": "It's \"\u00df\""})");
    const std::string second = pin("random_100", "x", "{}");
    const std::string third =
        pin("playlist", "<b>", R"({"playlist": "playlist_shared_normal/12"})");
    Alice("Pin/rename", {{"id", third}, {"name", "list"}});
    Alice("Pin/reorder", {{"ids", third + "," + second}, {"offset", "1"}});
    const Json::Value pins = Alice("Pin/list")["pins"];
    EXPECT_EQ(Each(pins), (Texts{first, third, second}));
    EXPECT_EQ(Each(pins, "name"), (Texts{awkward, "list", "x"}));
    EXPECT_EQ(Told(pins, "[0].criteria.album [1].criteria.name"), "It's \"\xC3\x9F\" A \"list\"");

    EXPECT_EQ(CodeOf("Pin/unpin", {{"id", first}}, "bob"), 5);
    EXPECT_EQ(CodeOf("Pin/rename", {{"id", first}, {"name", "stolen"}}, "bob"), 5);
    EXPECT_EQ(CodeOf("Pin/pin?type=random_100&name=n"), 4);
    EXPECT_EQ(Alice("Pin/list")["pins"], pins) << "a refused request changes nothing";
    Alice("Pin/unpin", {{"id", first}});
    EXPECT_EQ(Alice("Pin/list?offset=1")["pins"][0]["id"], second);
    EXPECT_EQ(Ask("Pin/list", {}, "bob")["total"], 0);
}

}  // namespace
