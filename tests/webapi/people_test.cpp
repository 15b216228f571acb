// Users over real HTTP: logins and keys that end, wrong passwords, and the status of refusals.
#include <deque>
#include <thread>

#include "webapi/served.h"

namespace tonvale_test {

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

class People : public Served {
  protected:
    void SetUp() override {
        Served::SetUp();
        AddSong();
        Serve();
    }
    // What curl gets for a POST of a form, or for a GET where there is none.
    Json::Value Curl(const Texts &login, const std::string &method, const std::string &form) const {
        Texts words = {
            "/usr/bin/curl", "-s",
            "http://127.0.0.1:" + std::to_string(port_) + "/webapi/VARN.Tonvale." + method};
        words.insert(words.end(), login.begin(), login.end());
        if (!form.empty()) {
            words.insert(words.end(), {"-d", form});
        }
        return StrictJson(Output(words));
    }
};

TEST_F(People, NewUsersWorkUntilTheirLoginEnds) {
    const std::string told = Tonvale({"user", "add", "carol"}).out;
    const std::size_t begin = told.find("carol:") + 6;
    const std::string password = told.substr(begin, told.find(' ', begin) - begin);
    const std::string jar = scratch() / "jar";
    const Texts cookie = {"-b", jar, "-c", jar};
    EXPECT_EQ(Curl(cookie, "Auth/login", "name=carol&password=" + password)["data"]["name"],
              "carol");
    const std::string key = Curl(cookie, "User/add_key", "for=curl")["data"]["key"].asString();
    const Texts bearer = {"-H", "Authorization: Bearer " + key};
    for (const auto &[login, name] : {std::pair(cookie, "Sunday"), {bearer, "Monday"}}) {
        const Json::Value list =
            Curl(login, "Playlist/create", std::string("songs=music_1&name=") + name)["data"];
        EXPECT_EQ(list["name"], name) << list;
        EXPECT_TRUE(Curl(login, "Song/rate", "id=music_1&rating=5")["success"].asBool());
        const Json::Value link =
            Curl(login, "Sharing/create", "playlist_id=" + list["id"].asString())["data"];
        EXPECT_TRUE(Contains(link["sharing"]["url"].asString(), "/as/sharing/")) << link;
    }
    EXPECT_EQ(Value("SELECT (SELECT count(*) FROM playlist_sharing) || ' ' || star FROM "
                    "rating_track"),
              "2 5");
    const std::string old = scratch() / "old";
    fs::copy_file(jar, old);
    EXPECT_TRUE(Curl(cookie, "Auth/logout", "x=")["success"].asBool());
    EXPECT_EQ(Tonvale({"user", "key", "remove", "carol", "1"}).status, 0);
    for (const Texts &login : {cookie, {"-b", old}, bearer}) {
        EXPECT_EQ(Curl(login, "Info/get", "")["error"]["code"], 401) << login[1];
    }
}

// Ten a second; TONVALE_ATTACK_SECONDS tells for how long.
TEST_F(People, WrongPasswordsDelayNoOtherUser) {
    const char *const given = std::getenv("TONVALE_ATTACK_SECONDS");
    const int attempts = 10 * (given != nullptr ? std::atoi(given) : 3);
    std::deque<HttpClient> attacks;
    const std::string asked = Request(Path("Info", "get"), Login("bob", "wrong"));
    for (int count = 0; count < attempts; ++count) {
        const auto next = std::chrono::steady_clock::now() + 100ms;
        attacks.emplace_back(port_).Send(asked);
        do {
            EXPECT_EQ(Get(Path("Song", "list")).Status(), 200);
        } while (std::chrono::steady_clock::now() < next);
    }
    for (HttpClient &attack : attacks) {
        const int status = attack.Status(0ms);
        EXPECT_TRUE(status == 401 || status == 429 || status == 0) << status;  // 0: it still waits
    }
    Query("UPDATE failed_login SET next = now()");
    EXPECT_TRUE(Eventually([&] { return Get(Path("Info", "get"), Login("bob")).Status() == 200; }))
        << "the owner is shut out";
}

TEST_F(People, RefusalsHaveAnHttpStatusOnRequest) {
    MakeAdministrator("alice");
    const auto ask = [&](const std::string &query, const std::string &login,
                         const std::string &more = "") {
        return Get("/webapi/VARN.Tonvale." + query, login + more);
    };
    const std::string alice = Login("alice");
    EXPECT_EQ(ask("Playlist/create?name=Sunday", alice).Status(), 200);
    EXPECT_EQ(ask("Info/get", Login("ghost", "wrong")).Status(), 401);
    Query("UPDATE failed_login SET next = now() + interval '1 hour'");
    const struct {
        std::string query, login;
        int status, plain = 200;
    } cases[] = {
        {"Song/get?", alice, 400},
        {"Info/get?", "", 401, 401},
        {"User/list?", Login("bob"), 403},
        {"Song/get?id=music_99", alice, 404},
        {"Nothing/get?", alice, 404},
        {"Song/nothing?", alice, 405},
        {"Playlist/create?name=Sunday", alice, 409},
        {"Pin/pin?name=x&type=x", alice, 400},
        {"Pin/unpin?id=99", alice, 404},
        {"Info/get?", Login("ghost", "wrong"), 429, 429},
        {"Index/start?", alice, 503, 503},  // --no-watch
        {"Setting/set?prefer_using_html5=false", alice, 500},
    };
    WriteFile(varn::path::kUsersFile, "[]");  // JSON without users
    for (const auto &[query, login, status, plain] : cases) {
        EXPECT_EQ(ask(query, login).Status(), plain) << query;
        EXPECT_EQ(ask(query + "&status=http", login).Status(), status) << query;
        const HttpAnswer told = ask(query, login, "Accept: application/json;status=http\r\n");
        EXPECT_EQ(told.Status(), status) << query;
        EXPECT_FALSE(StrictJson(told.body)["error"]["message"].asString().empty()) << told.body;
    }
}

}  // namespace

}  // namespace tonvale_test
