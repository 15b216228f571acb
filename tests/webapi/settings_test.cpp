// The web API's settings: each user's own, and those of administrators.
#include <algorithm>

#include "service/people/settings.h"
#include "tonvale/settings.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

class SettingApi : public ApiTest {
  protected:
    static Json::Value Preferences(const std::string &user = "alice") {
        return Ask("Setting/get", {}, user)["preferences"];
    }
};

TEST_F(SettingApi, KeepsEachUsersPreferences) {
    EXPECT_TRUE(Preferences()["prefer_using_html5"].asBool());
    const Json::Value answer =
        Ask("Setting/set?prefer_using_html5=false&audio_show_virtual_library=false",
            {{"browse_personal_library", "personal"}});
    EXPECT_EQ(answer["preferences"], Preferences());
    EXPECT_EQ(Told(answer["preferences"],
                   "prefer_using_html5 audio_show_virtual_library "
                   "browse_personal_library"),
              "false false personal");
    EXPECT_EQ(answer.size(), 1U) << "only administrators see other users";
    EXPECT_TRUE(Preferences("bob")["prefer_using_html5"].asBool());
    EXPECT_EQ(Ask("Info/get")["library"]["default"].asString(), "personal");
}

TEST_F(SettingApi, LetsAdministratorsSetOtherUsersRights) {
    Ask("Setting/set?browse_personal_library=personal");
    const std::string value = "O'B \"\xC3\xA9\"";
    const std::string asked = "Setting/set?user=alice&permissions=playlist,editsong&custom_key=4";
    const Json::Value answer = Ask(asked + "&type=radio&title=Four", {{"value", value}}, "admin");
    EXPECT_EQ(Told(answer["users"], "[0].name [0].uid [0].rights.playlist [0].rights.usb"),
              "alice 1030 true false");
    EXPECT_EQ(Each(answer["custom_keys"], "value"), (Texts{"", "", "", value}));
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 22U);
    EXPECT_EQ(Preferences()["browse_personal_library"].asString(), "personal");
    Ask("Setting/set?user=alice&permissions=", {}, "admin");
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 2U);
}

TEST_F(SettingApi, KeepsTheLastAdministrator) {
    const auto make = [](const std::string &by, const std::string &name, const std::string &is) {
        return CodeOf("User/change?name=" + name + "&administrator=" + is, {}, by);
    };
    EXPECT_EQ(make("alice", "alice", "true"), 403);
    EXPECT_EQ(make("admin", "alice", "true&password=short"), 400);
    EXPECT_EQ(make("alice", "alice", "true"), 403) << "nothing was changed";
    EXPECT_EQ(make("admin", "alice", "true&permissions=sharing"), 0);
    EXPECT_EQ(make("alice", "bob", "true"), 0);
    EXPECT_EQ(make("bob", "bob", "false"), 403) << "by accident";
    EXPECT_EQ(make("bob", "admin", "false"), 403) << "the last one stays";
    EXPECT_EQ(make("bob", "alice", "false"), 0);
    EXPECT_EQ(make("alice", "bob", "false"), 403);
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 34U);
}

// A preference that cannot be set refuses the whole request.
TEST_F(SettingApi, ChangesNothingInFilesThatItCannotRead) {
    tonvale_service::SetPermission("alice", RIGHT_ALL);
    const std::string before = ReadFile(At(varn::path::kUsersFile));
    WriteFile(varn::path::kPackageDefaultConf, "");
    EXPECT_EQ(
        CodeOf("Setting/set?user=alice&permissions=usb&support_transcode_mp3=no", {}, "admin"),
        500);
    EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), before);
    WriteFile(varn::path::kUsersFile, "nonsense");
    EXPECT_EQ(CodeOf("Setting/set?prefer_using_html5=no", {}, "admin"), 500);
    EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), "nonsense");
}

}  // namespace
