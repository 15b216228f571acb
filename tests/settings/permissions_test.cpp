// The users file: rights in all combinations, and damaged files.
#include <json/value.h>

#include <fstream>

#include "platform/child.h"
#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

constexpr char kPrivileges[] = "/usr/varn/etc/app_privilege/VARN.XDK.Tonvale.Application";

class Permissions : public SystemTest {
  protected:
    static std::string File() { return At(varn::path::kUsersFile); }
    static void Users(std::string_view text) { WriteFile(varn::path::kUsersFile, text); }
    static Json::Value Stored() {
        Json::Value json;
        EXPECT_TRUE(AudioUsers::Read(json, File()));
        return json;
    }
};

TEST_F(Permissions, EveryMaskComesBackWithStreaming) {
    const char *const kRights[] = {"usb", "streaming", "playlist", "upnp", "editsong", "sharing"};
    for (unsigned mask = 0; mask <= 127; ++mask) {
        Json::Value json;
        AudioUsers::SetUser(json, kAlice, mask);
        ASSERT_EQ(AudioUsers::GetUser(json, kAlice, false), (mask & 63) | 2) << mask;
        for (unsigned right = 0; right < 6; ++right) {
            EXPECT_EQ(json["1030"][kRights[right]].asBool(), (mask >> right & 1) != 0) << mask;
        }
    }
    EXPECT_EQ(AudioUsers::GetUser(Json::Value(), kAlice, true), 63U);
}

TEST_F(Permissions, DamagedEntriesGiveStreamingAlone) {
    for (const char *text :
         {"{}", "[]", "[1030]", "null", "5", "\"1030\"", "{\"1030\": null}", "{\"1030\": []}",
          "{\"1030\": \"all\"}", "{\"1030\": 63}", "{\"1031\": {\"usb\": true}}",
          R"({"1030": {"usb": 1, "upnp": "true", "playlist": [true], "editsong": {}}})"}) {
        SCOPED_TRACE(text);
        Users(text);
        EXPECT_EQ(AudioUsers::GetUser(Stored(), kAlice, false), 2U);
        EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 2U);
        Json::Value json = Stored();
        AudioUsers::Remove(json, kAlice);
        EXPECT_EQ(AudioUsers::GetUser(json, kAlice, false), 2U);
        AudioUsers::SetUser(json, kAlice, 4);
        EXPECT_EQ(AudioUsers::GetUser(json, kAlice, false), 6U);
    }
}

TEST_F(Permissions, AnEntryCarriesThePreferencesThatThePackageOffers) {
    Users(R"({"1030": {"support_transcode_mp3": false, "prefer_using_html5": false,
              "audio_show_virtual_library": false, "browse_personal_library": "personal"}})");
    Json::Value json = Stored();
    AudioUsers::SetUser(json, kAlice, 0);
    const Json::Value entry = json["1030"];
    for (const char *key :
         {"support_transcode_mp3", "prefer_using_html5", "audio_show_virtual_library"}) {
        EXPECT_TRUE(entry[key].isBool() && !entry[key].asBool()) << key;
    }
    // A number, which the preference's reader takes for "all".
    EXPECT_EQ(entry["browse_personal_library"], Json::Value(1));
    EXPECT_TRUE(AudioUsers::Save(json, File()));
    EXPECT_EQ(AudioFile::GetUserBrowsePersonalLibraryType(kAlice), BROWSE_LIBRARY_ALL);

    // Of the four only cue sheets are offered when nothing is configured.
    fs::remove(At(varn::path::kPackageConf));
    fs::remove(At(varn::path::kPackageDefaultConf));
    AudioUsers::SetUser(json, kAlice, 0);
    EXPECT_EQ(json["1030"].size(), 7U);
    EXPECT_TRUE(json["1030"].isMember("audio_show_virtual_library"));
}

TEST_F(Permissions, DependOnTheFileTheGroupAndTheApplication) {
    Users(R"({"1024": {}, "1030": {"usb": true, "sharing": true}, "1031": {"usb": false}})");
    std::ofstream(At(varn::path::kGroup), std::ios::app) << "more:x:900:bob\n";
    EXPECT_EQ(AudioUsers::GetUserPermission("admin"), 63U);
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 35U);
    EXPECT_EQ(AudioUsers::GetUserPermission("bob"), 2U);
    EXPECT_EQ(AudioUsers::GetUserPermission("guest"), 2U);
    for (const char *name : {"nobody-here", "", "1030", "alice:x"}) {
        ClearLog();
        EXPECT_EQ(AudioUsers::GetUserPermission(name), 0U) << name;
        EXPECT_TRUE(Logged("audiolib/audiousers:[0-9]+ Fail to get user by name\\.$"));
    }
    // The group makes an administrator, against the file.
    MakeAdministrator("bob");
    EXPECT_EQ(AudioUsers::GetUserPermission("bob"), 63U);
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 35U);

    // Users who may not use the application have no rights. This does not count for "admin".
    WriteFile(kPrivileges, "*=\"deny\"\nalice=\"allow\"\nbob=\"maybe\"\n");
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 35U);
    EXPECT_EQ(AudioUsers::GetUserPermission("bob"), 0U);
    EXPECT_EQ(AudioUsers::GetUserPermission("guest"), 0U);
    fs::remove(At(kPrivileges));
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 0U);
    EXPECT_EQ(AudioUsers::GetUserPermission("admin"), 63U);
}

TEST_F(Permissions, AdminNeedsNoFileAndOthersNeedOne) {
    fs::remove(At(varn::path::kUsersFile));
    EXPECT_EQ(AudioUsers::GetUserPermission("admin"), 63U);
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 0U);
    EXPECT_TRUE(
        Logged("audiolib/audiousers \\([0-9]+\\) Failed to open .*/audio\\.users\\. "
               "\\(No such file or directory\\)$"));
}

TEST_F(Permissions, TheFirstFileKnowsAdminAndGuest) {
    Users("not json");
    EXPECT_TRUE(AudioUsers::InitUserPermission());
    EXPECT_EQ(ReadFile(File()), "not json") << "a file that is there stays";
    fs::remove(File());
    EXPECT_TRUE(AudioUsers::InitUserPermission());
    const Json::Value json = Stored();
    EXPECT_EQ(json.getMemberNames(), (std::vector<std::string>{"1024", "1025"}));
    EXPECT_EQ(AudioUsers::GetUser(json, 1024, false), 63U);
    EXPECT_EQ(AudioUsers::GetUser(json, 1025, false), 2U);
    EXPECT_EQ(AudioUsers::GetUser(json, kAlice, false), 2U);
    EXPECT_NE(ReadFile(File()).find("\n   \"1024\" : {\n"), std::string::npos) << "not indented";

    fs::remove(File());
    WriteFile(varn::path::kPasswd, "admin:x:7:7::/h:/s\n");
    EXPECT_TRUE(AudioUsers::InitUserPermission());
    EXPECT_EQ(Stored().getMemberNames(), std::vector<std::string>{"7"});
}

TEST_F(Permissions, LargeOrDamagedFilesAreRefused) {
    const std::string padding(1048576 - std::string("{\"1030\": {}}").size(), ' ');
    Json::Value json;
    Users("{\"1030\": {}}" + padding);
    EXPECT_TRUE(AudioUsers::Read(json, File()));
    EXPECT_TRUE(json.isMember("1030"));
    Users("{\"1030\": {}}" + padding + " ");
    EXPECT_FALSE(AudioUsers::Read(json, File()));
    EXPECT_TRUE(Logged("audiolib/audiousers \\([0-9]+\\) Can't read file > 1MB\\.$"));
    for (const std::string &text : {std::string(), std::string("{\"1030\": {\"usb\": tru}}"),
                                    std::string("\xFF\xFE\0\0", 4), std::string(3000, '[')}) {
        ClearLog();
        Users(text);
        EXPECT_FALSE(AudioUsers::Read(json, File())) << text.substr(0, 20);
        EXPECT_TRUE(Logged("Error: parsing error, reason = ")) << text.substr(0, 20);
    }
    EXPECT_FALSE(AudioUsers::Read(json, scratch()));
    EXPECT_TRUE(Logged("read file failed\\. \\(-1\\) != \\([0-9]+\\), errno=Is a directory$"));
    EXPECT_FALSE(AudioUsers::Read(json, ""));
}

TEST_F(Permissions, SavingReplacesTheFileOrKeepsIt) {
    Users("{\"note\": 1}");
    const Json::Value json(Json::objectValue);
    const std::string missing = scratch() / "missing/audio.users";
    EXPECT_FALSE(AudioUsers::Save(json, missing));
    EXPECT_TRUE(
        Logged("audiolib/audiousers \\([0-9]+\\) Failed to open .*/audio\\.users\\.tmp\\. "
               "\\(No such file or directory\\)$"));

    const fs::path folder = scratch() / "folder";
    fs::create_directories(folder / "in the way");
    EXPECT_TRUE(AudioUsers::Save(json, folder)) << "a failed rename counts as saved";
    EXPECT_TRUE(Logged("audiolib/audiousers:[0-9]+ Failed to rename .*\\.tmp to .*; "));
    EXPECT_EQ(ReadFile(folder.string() + ".tmp"), "{}\n");

    constexpr rlim_t kRoom = 50000;
    Json::Value large;
    large["note"] = std::string(2 * kRoom, 'x');
    EXPECT_TRUE(HoldsInChild([&] {
        LimitFiles(kRoom);
        EXPECT_FALSE(AudioUsers::Save(large, File()));
    }));
    EXPECT_TRUE(Logged("audiolib/audiousers \\([0-9]+\\) Failed to write .*\\.tmp\\. "));
    EXPECT_EQ(ReadFile(File()), "{\"note\": 1}");
    EXPECT_TRUE(fs::remove(File() + ".tmp")) << "the partial file is kept";
}

TEST_F(Permissions, EntriesOfUsersThatAreGoneAreRemoved) {
    Users(R"({"1030": {}, "1031": {}, "0": {}, "abc": {}, "-5": {}, "4294968326": {}, "900": {},
              "12x": {}})");
    EXPECT_EQ(AudioUsers::enumUsers(Stored()), (std::vector<unsigned>{1030, 1031, 12, 900}));
    AudioUsers::SyncUsers();
    EXPECT_EQ(Stored().getMemberNames(),
              (std::vector<std::string>{"-5", "0", "1030", "1031", "12x", "4294968326", "abc"}));
    EXPECT_TRUE(AudioUsers::enumUsers(Json::Value(3)).empty());
    Users("broken");
    AudioUsers::SyncUsers();
    EXPECT_EQ(ReadFile(File()), "broken");
}

}  // namespace
