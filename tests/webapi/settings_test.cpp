// The web API's settings, and that nobody is let near more than theirs.
#include "webapi/api.h"

namespace tonvale_test {

namespace {

class SettingApi : public ApiTest {
  protected:
    static Json::Value Preferences(const std::string &user = "alice") {
        return Ask("Setting", "get", {}, user)["preferences"];
    }
};

TEST_F(SettingApi, KeepsEachUsersPreferences) {
    EXPECT_TRUE(Preferences()["prefer_using_html5"].asBool());
    const Json::Value answer = Ask("Setting", "set",
                                   {{"prefer_using_html5", "false"},
                                    {"audio_show_virtual_library", "no"},
                                    {"browse_personal_library", "personal"}});
    EXPECT_EQ(answer["preferences"], Preferences());
    EXPECT_FALSE(answer["preferences"]["prefer_using_html5"].asBool());
    EXPECT_FALSE(answer["preferences"]["audio_show_virtual_library"].asBool());
    EXPECT_EQ(answer["preferences"]["browse_personal_library"].asString(), "personal");
    EXPECT_EQ(answer.size(), 1U) << "only administrators are told of others";
    EXPECT_TRUE(Preferences("bob")["prefer_using_html5"].asBool());
    EXPECT_EQ(Ask("Info", "get")["library"]["default"].asString(), "personal");
}

TEST_F(SettingApi, GivesAdministratorsTheOthersRights) {
    Ask("Setting", "set", {{"browse_personal_library", "personal"}});
    const Json::Value answer = Ask("Setting", "set",
                                   {{"user", "alice"},
                                    {"permissions", "[\"playlist\",\"editsong\"]"},
                                    {"custom_key", "4"},
                                    {"type", "radio"},
                                    {"value", "O'B \"\xC3\xA9\""},
                                    {"title", "Four"}},
                                   "admin");
    bool isThere = false;
    for (const Json::Value &user : answer["users"]) {
        if (user["name"] == "alice") {
            isThere = true;
            EXPECT_EQ(user["uid"].asUInt(), kAlice);
            EXPECT_TRUE(user["rights"]["playlist"].asBool());
            EXPECT_TRUE(user["rights"]["streaming"].asBool());
            EXPECT_FALSE(user["rights"]["usb"].asBool());
        }
    }
    EXPECT_TRUE(isThere);
    ASSERT_EQ(answer["custom_keys"].size(), 4U);
    EXPECT_EQ(answer["custom_keys"][3]["value"].asString(), "O'B \"\xC3\xA9\"");
    EXPECT_EQ(answer["custom_keys"][0]["title"].asString(), "");
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 22U);
    EXPECT_EQ(Preferences()["browse_personal_library"].asString(), "personal");
    Ask("Setting", "set", {{"user", "alice"}, {"permissions", ""}}, "admin");
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 2U);
}

TEST_F(SettingApi, RefusesEverythingWhenOneThingIsBad) {
    Give("alice", kAlice, RIGHT_ALL);
    const std::string before = ReadFile(At(varn::path::kUsersFile));
    const Given::value_type kFirst = {"prefer_using_html5", "false"};  // which is good
    const struct {
        Given parameters;
        const char *user;
        int code;
    } kCases[] = {
        {{}, "alice", 400},
        {{{"colour", "red"}}, "alice", 400},
        {{{"prefer_using_html5", "perhaps"}}, "alice", 400},
        {{kFirst, {"browse_personal_library", "yes"}}, "alice", 400},
        {{kFirst, {"user", "alice"}, {"permissions", "usb"}}, "alice", 403},
        {{kFirst, {"custom_key", "1"}}, "alice", 403},
        {{{"user", "alice"}, {"permissions", "usb,everything"}}, "admin", 400},
        {{{"permissions", "usb"}}, "admin", 400},
        {{{"user", "alice"}, kFirst}, "admin", 400},
        {{{"title", "Four"}, kFirst}, "alice", 400},
        {{{"user", "alice"}, {"permissions", "usb"}, {"value", ""}}, "admin", 400},
        {{{"user", "nobody"}, {"permissions", "usb"}, kFirst}, "admin", 404},
        {{{"user", "../alice"}, {"permissions", "usb"}}, "admin", 404},
        {{{"custom_key", "0"}, kFirst}, "admin", 400},
        {{{"custom_key", "5"}}, "admin", 400},
        {{{"custom_key", "1"}, {"title", std::string(4097, 'x')}}, "admin", 400},
    };
    for (const auto &c : kCases) {
        EXPECT_EQ(CodeOf("Setting", "set", c.parameters, c.user), c.code)
            << QueryOf("", "", c.parameters).substr(0, 200);
        EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), before);
    }
    // A preference that the package does not offer keeps back what comes with it.
    WriteFile(varn::path::kPackageDefaultConf, "");
    EXPECT_EQ(CodeOf("Setting", "set",
                     {{"user", "alice"}, {"permissions", "usb"}, {"support_transcode_mp3", "no"}},
                     "admin"),
              500);
    EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), before);
    WriteFile(varn::path::kUsersFile, "nonsense");
    EXPECT_EQ(CodeOf("Setting", "set", {{"prefer_using_html5", "no"}}, "admin"), 500);
    EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), "nonsense");
}

}  // namespace

}  // namespace tonvale_test
