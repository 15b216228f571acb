#include <json/value.h>

#include "platform/child.h"
#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using namespace AudioFile;

class Preferences : public SystemTest {
  protected:
    static void Users(std::string_view json) { WriteFile(varn::path::kUsersFile, json); }
    static void Build(std::string_view number) {
        WriteFile(varn::path::kVersion, "buildnumber=\"" + std::string(number) + "\"\n");
    }
    static void Transcoding(const char *value) {
        WriteFile(varn::path::kPackageDefaultConf,
                  "support_transcode_mp3=\"" + std::string(value) + "\"\n");
    }
    static Json::Value Stored() {
        Json::Value users;
        EXPECT_EQ(VARNAudioJsonLoad(At(varn::path::kUsersFile).c_str(), users), 0);
        return users;
    }
    static void ExpectDefaults(unsigned uid) {
        EXPECT_TRUE(GetUserTranscodeMp3(uid));
        EXPECT_TRUE(GetPreferHtml5(uid));
        EXPECT_TRUE(GetUserShowVirtualLib(uid));
        EXPECT_TRUE(AudioFileGetUserShowVirtualLib(uid));
        EXPECT_EQ(GetUserBrowsePersonalLibraryType(uid), BROWSE_LIBRARY_ALL);
    }
};

TEST_F(Preferences, DamagedEntriesGiveTheDefaults) {
    for (const char *users :
         {"{}", "[]", "7", "\"text\"", "null", "{\"1030\": 5}", "{\"1030\": []}", "{\"1031\": {}}",
          "{\"1030\": {\"prefer_using_html5\": \"false\", \"support_transcode_mp3\": 0,"
          " \"audio_show_virtual_library\": null, \"browse_personal_library\": 1}}",
          "{\"1030\": {\"browse_personal_library\": \"\"}}",
          "{\"1030\": {\"browse_personal_library\": \"Personal\"}}", "not json"}) {
        SCOPED_TRACE(users);
        Users(users);
        ExpectDefaults(kAlice);
    }
    fs::remove(At(varn::path::kUsersFile));
    ExpectDefaults(kAlice);
}

TEST_F(Preferences, AreStoredForEachUser) {
    Users("{\"1030\": {\"usb\": true}, \"1031\": 5}");
    EXPECT_TRUE(SetUserTranscodeMp3(kAlice, false));
    EXPECT_TRUE(SetPreferHtml5(kAlice, false));
    EXPECT_TRUE(SetUserShowVirtualLib(kAlice, false));
    EXPECT_TRUE(SetUserBrowsePersonalLibraryType(kAlice, BROWSE_LIBRARY_PERSONAL));
    EXPECT_TRUE(SetPreferHtml5(4294967294U, false));

    EXPECT_FALSE(GetUserTranscodeMp3(kAlice));
    EXPECT_FALSE(GetPreferHtml5(kAlice));
    EXPECT_FALSE(GetUserShowVirtualLib(kAlice));
    EXPECT_EQ(GetUserBrowsePersonalLibraryType(kAlice), BROWSE_LIBRARY_PERSONAL);
    ExpectDefaults(kBob);
    EXPECT_TRUE(SetPreferHtml5(kBob, false)) << "an entry that is no object gives way";
    EXPECT_FALSE(GetPreferHtml5(kBob));

    const Json::Value users = Stored();
    EXPECT_TRUE(users["1030"]["usb"].asBool()) << "a permission was lost";
    EXPECT_EQ(users["1030"]["browse_personal_library"].asString(), "personal");
    EXPECT_FALSE(users["-2"]["prefer_using_html5"].asBool());
}

TEST_F(Preferences, OtherBrowseTypesAreStoredEmpty) {
    Users("{}");
    EXPECT_TRUE(SetUserBrowsePersonalLibraryType(kAlice, static_cast<_tag_BROWSE_LIBRARY_TYPE>(2)));
    EXPECT_EQ(Stored()["1030"]["browse_personal_library"].asString(), "");
    EXPECT_EQ(GetUserBrowsePersonalLibraryType(kAlice), BROWSE_LIBRARY_ALL);
    EXPECT_TRUE(SetUserBrowsePersonalLibraryType(kAlice, BROWSE_LIBRARY_ALL));
    EXPECT_EQ(Stored()["1030"]["browse_personal_library"].asString(), "all");
}

TEST_F(Preferences, NothingIsWrittenOverAFileThatCannotBeLoaded) {
    for (const char *users : {"{\"1030\": ", "[1, 2]", ""}) {
        Users(users);
        EXPECT_FALSE(SetPreferHtml5(kAlice, false)) << users;
        EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), users);
    }
    fs::remove(At(varn::path::kUsersFile));
    EXPECT_FALSE(SetUserShowVirtualLib(kAlice, false));
    EXPECT_FALSE(fs::exists(At(varn::path::kUsersFile)));
}

TEST_F(Preferences, AFailedSaveIsReported) {
    constexpr rlim_t kRoom = 50000;
    Users("{\"note\": \"" + std::string(2 * kRoom, 'x') + "\"}");
    EXPECT_TRUE(HoldsInChild([&] {
        LimitFiles(kRoom);
        EXPECT_FALSE(SetPreferHtml5(kAlice, false));
    }));
    EXPECT_TRUE(Logged("audiolib/json_util:[0-9]+ Failed to fwrite, \\[File too large\\]$"));
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Save json file .*/audio\\.users failed$"));
}

TEST_F(Preferences, TranscodingCountsOnlyWhereThePackageOffersIt) {
    Users("{\"1030\": {\"support_transcode_mp3\": false}}");
    Transcoding("yes");
    EXPECT_FALSE(GetUserTranscodeMp3(kAlice));
    for (const char *value : {"no", "YES", ""}) {
        Transcoding(value);
        EXPECT_TRUE(GetUserTranscodeMp3(kAlice)) << value;
        EXPECT_FALSE(SetUserTranscodeMp3(kAlice, true)) << value;
    }
    fs::remove(At(varn::path::kPackageDefaultConf));
    EXPECT_TRUE(GetUserTranscodeMp3(kAlice));
    EXPECT_FALSE(SetUserTranscodeMp3(kAlice, true));
    EXPECT_FALSE(Stored()["1030"]["support_transcode_mp3"].asBool()) << "it was written";
}

TEST_F(Preferences, VirtualLibrariesNeedABuildAbove5515) {
    Users("{\"1031\": {\"audio_show_virtual_library\": false}}");
    using Case = std::pair<const char *, bool>;
    for (const auto &[build, supported] :
         {Case{"5515", false}, Case{"5516", true}, Case{"5515x9", false}, Case{"", false},
          Case{"abc", false}, Case{"-6000", false}, Case{"99999999999999999999", true}}) {
        SCOPED_TRACE(build);
        Build(build);
        EXPECT_EQ(IsSupportVirtualLib(), supported);
        EXPECT_EQ(GetUserShowVirtualLib(kAlice), supported);
        EXPECT_FALSE(GetUserShowVirtualLib(kBob));
    }
    fs::remove(At(varn::path::kVersion));
    EXPECT_FALSE(IsSupportVirtualLib());
    EXPECT_FALSE(GetUserShowVirtualLib(kAlice));
    EXPECT_TRUE(SetUserShowVirtualLib(kAlice, true)) << "it can be set beforehand";
}

}  // namespace
