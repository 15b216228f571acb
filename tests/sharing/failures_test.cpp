#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <random>
#include <string>

#include "sharing/sharing_fixture.h"
#include "varn/process.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

// The user's list of single songs, when something is in the way.
class SharedSongsFailures : public SharingTest {
  protected:
    static constexpr char kFolder[] = "/usr/varn/etc/preference/alice";

    static std::string File() { return At(kFolder).string() + "/__VARN_AUDIO_SHARED_SONGS__.m3u"; }
    static std::string Rows() { return Value("SELECT COUNT(*) FROM playlist_sharing"); }
    static bool Get(SharingManager &manager) {
        SharingData rec;
        const bool got = manager.GetPredefinedSharingRecord("alice", rec);
        BackToRoot();
        return got;
    }
    static void Permit(bool allowed) {
        WriteFile(varn::path::kUsersFile,
                  std::string(R"({"1030": {"sharing": )") + (allowed ? "true" : "false") + "}}");
    }
};

// The list must not be made anew, and so emptied, when its link could merely not be read.
TEST_F(SharedSongsFailures, AListOnceMadeIsKept) {
    SharingManager manager;
    ASSERT_TRUE(Get(manager));
    WriteFile(std::string(kFolder) + "/__VARN_AUDIO_SHARED_SONGS__.m3u", "/music/a.mp3\r\n");

    Permit(false);
    EXPECT_FALSE(Get(manager));
    Permit(true);
    Query("ALTER TABLE playlist_sharing RENAME avail_date TO elsewhere");
    EXPECT_FALSE(Get(manager));
    EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ Failed to exec \\[SELECT id, user_name"));
    Query("ALTER TABLE playlist_sharing RENAME elsewhere TO avail_date");

    EXPECT_TRUE(Get(manager));
    EXPECT_EQ(Rows(), "1");
    EXPECT_EQ(ReadFile(File()), "/music/a.mp3\r\n");
}

TEST_F(SharedSongsFailures, WithoutThePermissionNothingIsMade) {
    SharingManager manager;
    Permit(false);
    EXPECT_FALSE(Get(manager));
    SharingData nobody;
    EXPECT_FALSE(manager.GetPredefinedSharingRecord("nobody-here", nobody));
    EXPECT_EQ(Rows(), "0");
    EXPECT_FALSE(std::filesystem::exists(At(kFolder)));
    for (const char *user : {"", ".", "..", "alice/../bob"}) {
        SharingData rec;
        ClearLog();
        EXPECT_FALSE(manager.GetPredefinedSharingRecord(user, rec)) << user;
        EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ cannot get preference dir, user name="));
    }
}

TEST_F(SharedSongsFailures, FolderAndFileAreMadeWhenTheyAreMissing) {
    SharingManager manager;
    ASSERT_FALSE(std::filesystem::exists(At(kFolder)));
    ASSERT_TRUE(Get(manager));
    struct stat folder {};
    ASSERT_EQ(stat(At(kFolder).c_str(), &folder), 0);
    EXPECT_EQ(folder.st_uid, GetUserIdFromName(varn::kPackageAccount));
    EXPECT_EQ(folder.st_mode & 0777, 0755U);
    const std::string empty = ReadFile(File());

    // The link is there and its list is not: as after a failure, or a restored database.
    std::filesystem::remove_all(At(kFolder));
    EXPECT_TRUE(Get(manager));
    EXPECT_EQ(ReadFile(File()), empty);
    EXPECT_TRUE(std::filesystem::exists(File()));
    EXPECT_EQ(Rows(), "1");

    // A link that leads to another file makes none there.
    const std::string other = (scratch() / "other.m3u").string();
    Query("UPDATE playlist_sharing SET path = '" + other + "'");
    EXPECT_TRUE(Get(manager));
    EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(SharedSongsFailures, NoRowIsAddedForAListThatCannotBe) {
    SharingManager manager;
    std::filesystem::remove_all(At(varn::path::kPreferences));
    EXPECT_FALSE(Get(manager));
    EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ Failed to make .*/preference/alice: "));
    EXPECT_EQ(Rows(), "0");
    std::filesystem::create_directories(At(kFolder));
    EXPECT_TRUE(Get(manager));
    EXPECT_TRUE(std::filesystem::exists(File()));
}

// A name that is long and that the server cannot make shorter.
TEST_F(SharedSongsFailures, PlaylistsWithEndlessNamesHaveLinks) {
    std::minstd_rand random(1);
    std::string name;
    while (name.size() < 10000) {
        name += static_cast<char>('!' + random() % 90);
    }
    SharingManager manager;
    SharingData rec = Link(kAlice, "playlist_personal_smart/" + name, "/v/" + name);
    rec.id = "abcdefgh";
    ASSERT_TRUE(manager.AddSharingRecord(rec));
    SharingData read = Link(kAlice, rec.playlist_id);
    ASSERT_TRUE(manager.GetSharingRecord(read, true));
    EXPECT_EQ(read.id, "abcdefgh");
    EXPECT_TRUE(manager.DeleteSharingRecord(read));
    EXPECT_EQ(Rows(), "0");
}

// What stands behind a NUL must not be lost: it is another user's name, song or link.
TEST_F(SharedSongsFailures, TextsWithANulAreRefused) {
    using namespace std::string_literals;
    SharingManager manager;
    ASSERT_TRUE(Get(manager));
    WriteFile(std::string(kFolder) + "/__VARN_AUDIO_SHARED_SONGS__.m3u", "/music/a.mp3\r\n");
    SharingData rec;
    EXPECT_FALSE(manager.GetPredefinedSharingRecord("alice\0x"s, rec));
    for (const auto &[user, id, path] : {std::array{"alice\0x"s, "music_1"s, "/music/a.mp3"s},
                                         std::array{"alice"s, "music_1\0x"s, "/music/a.mp3"s},
                                         std::array{"alice"s, "music_1"s, "/music/a.mp3\0x"s}}) {
        EXPECT_FALSE(manager.ShareSingleSong(true, user, id, path));
        EXPECT_FALSE(manager.ShareSingleSong(false, user, id, path));
    }
    BackToRoot();
    EXPECT_EQ(ReadFile(File()), "/music/a.mp3\r\n");

    ASSERT_TRUE(manager.GetPredefinedSharingRecord("alice", rec));
    EXPECT_TRUE(manager.CheckSongAllowSharing(rec, "/music/a.mp3"));
    EXPECT_FALSE(manager.CheckSongAllowSharing(rec, "/music/a.mp3\0x"s));
    const std::string id = rec.id;
    rec.id += "\0x"s;
    EXPECT_FALSE(manager.GetSharingRecord(rec, false));
    rec.playlist_id += "\0x"s;
    EXPECT_FALSE(manager.DeleteSharingRecord(rec));
    EXPECT_EQ(Value("SELECT id FROM playlist_sharing"), id);
}

}  // namespace
