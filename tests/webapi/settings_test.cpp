// The web API's settings, and that nobody is let near more than theirs.
#include <algorithm>

#include "webapi/api.h"

namespace {

using namespace tonvale_test;

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
                                    {"audio_show_virtual_library", "false"},
                                    {"browse_personal_library", "personal"}});
    EXPECT_EQ(answer["preferences"], Preferences());
    EXPECT_EQ(Told(answer["preferences"],
                   "prefer_using_html5 audio_show_virtual_library "
                   "browse_personal_library"),
              "false false personal");
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
    const auto alice =
        std::find_if(answer["users"].begin(), answer["users"].end(),
                     [](const Json::Value &user) { return user["name"] == "alice"; });
    ASSERT_NE(alice, answer["users"].end());
    EXPECT_EQ(Told(*alice, "uid rights.playlist rights.usb"), "1030 true false");
    EXPECT_EQ(Each(answer["custom_keys"], "value"), (Texts{"", "", "", "O'B \"\xC3\xA9\""}));
    EXPECT_EQ(answer["custom_keys"][0]["title"].asString(), "");
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 22U);
    EXPECT_EQ(Preferences()["browse_personal_library"].asString(), "personal");
    Ask("Setting", "set", {{"user", "alice"}, {"permissions", ""}}, "admin");
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 2U);
}

TEST_F(SettingApi, AdministratorsMakeAndUnmakeEachOther) {
    const auto make = [](const std::string &by, const std::string &name, const char *is,
                         const Given &more = {}) {
        Given given = {{"name", name}, {"administrator", is}};
        given.insert(given.end(), more.begin(), more.end());
        return CodeOf("User", "change", given, by);
    };
    EXPECT_EQ(make("alice", "alice", "true"), 403);
    EXPECT_EQ(make("admin", "alice", "true", {{"password", "short"}}), 400);
    EXPECT_EQ(make("alice", "alice", "true"), 403) << "nothing was changed";
    EXPECT_EQ(make("admin", "alice", "true", {{"permissions", "sharing"}}), 0);
    EXPECT_EQ(make("alice", "bob", "true"), 0);
    EXPECT_EQ(make("bob", "bob", "false"), 403) << "by accident";
    EXPECT_EQ(make("bob", "admin", "false"), 403) << "the last one stays";
    EXPECT_EQ(make("bob", "alice", "false"), 0);
    EXPECT_EQ(make("alice", "bob", "false"), 403);
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 34U);
}

// A preference that the package does not offer keeps back what comes with it.
TEST_F(SettingApi, ChangesNothingInFilesThatItCannotRead) {
    Give("alice", kAlice, RIGHT_ALL);
    const std::string before = ReadFile(At(varn::path::kUsersFile));
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
