// Logins below /rest/, and the forms of requests and answers.
#include "webapi/rest.h"

namespace {

using namespace tonvale_test;

class RestLogin : public Rest {
  protected:
    void SetUp() override {
        Rest::SetUp();
        Serve();
    }

    static std::string Md5(const std::string &text) {
        char digest[33];
        EXPECT_EQ(VARNAudioGetMd5(text.c_str(), digest, false), 0);
        return digest;
    }
    static std::string Hex(const std::string &text) {
        std::string hex = Encoded(text);
        std::erase(hex, '%');
        return hex;
    }
    // The user of a login, or the code of its refusal.
    std::string Who(const std::string &login, const std::string &fields = "") const {
        const HttpAnswer answer = Get("/rest/tokenInfo?f=json&v=1.16.1&c=test&" + login, fields);
        const Json::Value json = StrictJson(answer.body)["subsonic-response"];
        return json.isMember("error") ? json["error"]["code"].asString()
                                      : json["tokenInfo"]["username"].asString();
    }
    std::string CodeOf(const std::string &query) const {
        const HttpAnswer answer = Get("/rest/" + query, "");
        return StrictJson(answer.body)["subsonic-response"]["error"]["code"].asString();
    }
};

TEST_F(RestLogin, TakesOnlyKeys) {
    const std::string &key = keys_["alice"];
    const std::string token = "&t=" + Md5(key + "salt") + "&s=salt";
    const std::pair<std::string, std::string> cases[] = {
        {"u=alice&p=" + key, "alice"},
        {"u=alice&p=enc:" + Hex(key), "alice"},
        {"u=alice" + token, "alice"},
        {"apiKey=" + key, "alice"},
        {"apiKey=" + keys_["bob"], "bob"},
        {"u=alice&p=pass+word", "40"},  // the account's password
        {"u=alice&t=" + Md5("pass wordsalt") + "&s=salt", "40"},
        {"u=bob&p=" + key, "40"},
        {"u=bob" + token, "40"},
        {"u=nobody&p=" + key, "40"},
        {"u=alice&p=enc:zz", "40"},
        {"u=alice&p=enc:1", "40"},
        {"u=alice&p=", "40"},
        {"apiKey=x", "44"},
        {"apiKey=", "44"},
        {"apiKey=" + key + "&u=alice", "43"},
        {"u=alice&p=" + key + token, "43"},
        {"", "10"},
        {"u=alice", "10"},
        {"p=" + key, "10"},
        {"u=alice&t=" + Md5(key + "salt"), "10"},
        {"u=alice&u=bob&p=" + key, "0"},
    };
    for (const auto &[login, who] : cases) {
        EXPECT_EQ(Who(login), who) << login;
    }
    EXPECT_EQ(Who("", Login("alice")), "42");
    EXPECT_EQ(Who("", "Authorization: Bearer " + key + "\r\n"), "42");
    EXPECT_EQ(CodeOf("ping?f=json&u=alice&c=x&p=" + key), "10");
    EXPECT_EQ(CodeOf("ping?f=json&u=alice&v=1.16.1&p=" + key), "10");
    for (const auto &[version, code] : {std::pair("1.8.0", ""),
                                        {"1.16", ""},
                                        {"1.17.0", "30"},
                                        {"2.0.0", "30"},
                                        {"0.9", "20"},
                                        {"x", "0"}}) {
        EXPECT_EQ(CodeOf("ping?f=json&c=x&apiKey=" + key + "&v=" + version), code) << version;
    }
    EXPECT_EQ(CodeOf("getOpenSubsonicExtensions?f=json"), "");
    const std::string log = ReadFile(At(varn::path::kWebLog));
    EXPECT_EQ(log.find(key), log.npos);
}

TEST_F(RestLogin, EndsWithTheKeyOrTheRight) {
    EXPECT_EQ(FaultOf("ping"), -1);
    tonvale_service::RemoveKey(kAlice, tonvale_service::KeysOf(kAlice, "alice").front().id);
    EXPECT_EQ(FaultOf("ping"), 40);
    EXPECT_EQ(Who("apiKey=" + keys_["alice"]), "44");
    EXPECT_EQ(FaultOf("ping", "bob"), -1);
    WriteFile("/usr/varn/etc/app_privilege/VARN.XDK.Tonvale.Application", "bob=\"deny\"\n");
    EXPECT_EQ(FaultOf("ping", "bob"), 50);
}

TEST_F(RestLogin, DelaysWrongKeys) {
    const auto begun = std::chrono::steady_clock::now();
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(Who("u=alice&p=wrong"), "40");
    }
    EXPECT_GT(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(1500));
    EXPECT_EQ(Who("u=alice&p=" + keys_["alice"]), "alice");
}

TEST_F(RestLogin, TakesFormsAndAnswersAsScripts) {
    EXPECT_NE(Post("/rest/ping", By()).body.find("status=\"ok\""), std::string::npos);
    EXPECT_NE(Post("/rest/ping?f=json", By()).body.find("\"status\":\"ok\""), std::string::npos);

    HttpAnswer answer = Get("/rest/ping?f=jsonp&callback=a.b_1&" + By(), "");
    EXPECT_TRUE(answer.Has("Content-Type: text/javascript; charset=utf-8")) << answer.header;
    EXPECT_TRUE(answer.body.starts_with("a.b_1({\"subsonic-response\":")) << answer.body;
    EXPECT_TRUE(answer.body.ends_with("});\n"));
    for (const char *form : {"f=jsonp", "f=jsonp&callback=alert(1)//", "f=yaml", "x=%"}) {
        answer = Get("/rest/ping?" + std::string(form) + "&" + By(), "");
        EXPECT_NE(answer.body.find("status=\"failed\""), std::string::npos) << form;
        EXPECT_EQ(answer.header.find("Access-Control"), std::string::npos);
    }
    HttpClient client(port_);
    client.Send("HEAD /rest/ping?" + By() + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(client.Answer().body, "");
}

}  // namespace
