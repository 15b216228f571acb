#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "sharing/sharing_fixture.h"
#include "support/socket_elsewhere.h"
#include "varn/db.h"
#include "varn/process.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

class SharingFailures : public SharingTest {
  protected:
    static SharingData Row(const std::string &id, const std::string &playlist = kList) {
        SharingData rec = Link(kAlice, playlist);
        rec.id = id;
        return rec;
    }
    // What needs the database, each with the answer of a failure.
    static bool EveryCallFails(SharingManager &manager) {
        SharingData add = Row("abcdefgh");
        SharingData update = Link(kAlice);
        SharingData drop = Link(kAlice);
        SharingData byId = Row("abcdefgh");
        SharingData byOwner = Link(kAlice);
        return manager.CheckSharingIdExist("abcdefgh") && !manager.AddSharingRecord(add) &&
               !manager.UpdateSharingRecord(update) && !manager.DeleteSharingRecord(drop) &&
               !manager.GetSharingRecord(byId, false) &&
               !manager.GetSharingRecord(byOwner, false) && !manager.PrepareSharingCache(kAlice) &&
               !manager.CheckAndUpdateRecord(kList, kFile) && !manager.UpdatePlsId(kList, kFile) &&
               !manager.HandleNormalPlaylistRename(kList, kFile, kFile) &&
               !manager.HandleSmartPlaylistRename("x", "y") && !manager.HandlePlaylistDelete("x") &&
               !manager.HandlePersonalLibChange() && !manager.HandleDeleteUserPrivilege(kAlice);
    }
};

TEST_F(SharingFailures, ADatabaseThatIsDownAndStatementsThatFail) {
    SharingManager manager;
    DBConnect_tag *conn = nullptr;
    {
        const SocketElsewhere down;
        EXPECT_FALSE(manager.GetDBConnection(conn));
        EXPECT_EQ(conn, nullptr);
        EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ Failed to connect to database$"));
        EXPECT_TRUE(EveryCallFails(manager));
    }
    ASSERT_TRUE(manager.GetDBConnection(conn)) << "asked again";
    DBConnect_tag *again = nullptr;
    ASSERT_TRUE(manager.GetDBConnection(again));
    EXPECT_EQ(again, conn);

    Query("ALTER TABLE playlist_sharing RENAME TO elsewhere");
    Query("ALTER TABLE playlist RENAME TO elsewhere_too");
    ClearLog();
    EXPECT_TRUE(EveryCallFails(manager));
    const std::vector<std::string> lines = Log();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string &line) {
                                return line.find(" Failed to exec [") != line.npos;
                            }),
              14)
        << "one line each";
}

// The user's list of single songs, when something is in the way.
class SharedSongsFailures : public SharingTest {
  protected:
    static constexpr char kFolder[] = "/usr/varn/etc/preference/alice";

    static constexpr char kList[] =
        "/usr/varn/etc/preference/alice/__VARN_AUDIO_SHARED_SONGS__.m3u";

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
    WriteFile(kList, "/music/a.mp3\r\n");

    Permit(false);
    EXPECT_FALSE(Get(manager));
    Permit(true);
    Query("ALTER TABLE playlist_sharing RENAME avail_date TO elsewhere");
    EXPECT_FALSE(Get(manager));
    Query("ALTER TABLE playlist_sharing RENAME elsewhere TO avail_date");

    EXPECT_TRUE(Get(manager));
    EXPECT_EQ(Rows(), "1");
    EXPECT_EQ(ReadFile(At(kList)), "/music/a.mp3\r\n");
}

TEST_F(SharedSongsFailures, WithoutThePermissionNothingIsMade) {
    SharingManager manager;
    Permit(false);
    EXPECT_FALSE(Get(manager));
    EXPECT_EQ(Rows(), "0");
    EXPECT_FALSE(std::filesystem::exists(At(kFolder)));
    for (const char *user : {"", "..", "alice/../bob", "nobody-here"}) {
        SharingData nobody;
        EXPECT_FALSE(manager.GetPredefinedSharingRecord(user, nobody)) << user;
        EXPECT_EQ(manager.GetPredefinedSharingPlsPath(user), "");
        EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ cannot get preference dir, user name="));
        ClearLog();
    }
}

TEST_F(SharedSongsFailures, FolderAndFileAreMadeWhenTheyAreMissing) {
    SharingManager manager;
    std::filesystem::remove_all(At(varn::path::kPreferences));
    EXPECT_FALSE(Get(manager));
    EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ Failed to make .*/preference/alice: "));
    EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ Failed to create playlist " + At(kList).string()));
    EXPECT_EQ(Rows(), "0") << "no row for a list that cannot be";

    std::filesystem::create_directories(At(varn::path::kPreferences));
    std::filesystem::permissions(At(varn::path::kPreferences), std::filesystem::perms(0777));
    ASSERT_TRUE(Get(manager));
    struct stat folder {};
    ASSERT_EQ(stat(At(kFolder).c_str(), &folder), 0);
    EXPECT_EQ(folder.st_uid, GetUserIdFromName(varn::kPackageAccount));
    EXPECT_EQ(folder.st_mode & 0777, 0755U);
    const std::string empty = ReadFile(At(kList));

    // The link is there and its list is not: as after a failure, or a restored database.
    std::filesystem::remove_all(At(kFolder));
    EXPECT_TRUE(Get(manager));
    EXPECT_EQ(ReadFile(At(kList)), empty);
    EXPECT_TRUE(std::filesystem::exists(At(kList)));
    EXPECT_EQ(Rows(), "1");

    // A link that leads to another file makes none there.
    const std::string other = (scratch() / "other.m3u").string();
    Query("UPDATE playlist_sharing SET path = '" + other + "'");
    EXPECT_TRUE(Get(manager));
    EXPECT_FALSE(std::filesystem::exists(other));
}

// What stands behind a NUL must not be lost: it is another user's name, song or link.
TEST_F(SharedSongsFailures, TextsWithANulAreRefused) {
    using namespace std::string_literals;
    SharingManager manager;
    ASSERT_TRUE(Get(manager));
    WriteFile(kList, "/music/a.mp3\r\n");
    SharingData rec;
    EXPECT_FALSE(manager.GetPredefinedSharingRecord("alice\0x"s, rec));
    for (const bool add : {true, false}) {
        EXPECT_FALSE(manager.ShareSingleSong(add, "alice\0x"s, "music_1", "/music/a.mp3"));
        EXPECT_FALSE(manager.ShareSingleSong(add, "alice", "music_1\0x"s, "/music/a.mp3"));
        EXPECT_FALSE(manager.ShareSingleSong(add, "alice", "music_1", "/music/a.mp3\0x"s));
    }
    BackToRoot();
    EXPECT_EQ(ReadFile(At(kList)), "/music/a.mp3\r\n");

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
