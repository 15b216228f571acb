#include <algorithm>

#include "sharing/sharing_fixture.h"
#include "support/socket_elsewhere.h"
#include "varn/db.h"

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
    // Every call that needs the database, with its answer after a failure.
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

TEST_F(SharingFailures, EveryCallFailsWithoutADatabaseOrItsTables) {
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

// The list of a user's single shared songs.
class SharedSongsFailures : public SharingTest {
  protected:
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

// The row is added first, then the empty list.
TEST_F(SharedSongsFailures, ALinkThatIsNotFoundIsAdded) {
    SharingManager manager;
    EXPECT_FALSE(Get(manager)) << "the folder is not there";
    EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ Failed to create playlist " + At(kList).string()));
    EXPECT_EQ(Rows(), "1");
    Query("DELETE FROM playlist_sharing");

    Permit(false);
    WriteFile(kList, "/music/a.mp3\r\n");
    EXPECT_TRUE(Get(manager));
    EXPECT_EQ(Rows(), "1");
    EXPECT_EQ(ReadFile(At(kList)).find("a.mp3"), std::string::npos);

    // A link that is found leaves its list alone, and makes none.
    Permit(true);
    WriteFile(kList, "/music/a.mp3\r\n");
    EXPECT_TRUE(Get(manager));
    EXPECT_EQ(ReadFile(At(kList)), "/music/a.mp3\r\n");
    fs::remove(At(kList));
    EXPECT_TRUE(Get(manager));
    EXPECT_FALSE(fs::exists(At(kList)));
}

TEST_F(SharedSongsFailures, NothingIsMadeForAnUnknownUser) {
    SharingManager manager;
    for (const char *user : {"", "..", "alice/../bob", "nobody-here"}) {
        SharingData unknown;
        EXPECT_FALSE(manager.GetPredefinedSharingRecord(user, unknown)) << user;
        EXPECT_EQ(manager.GetPredefinedSharingPlsPath(user), "");
        EXPECT_TRUE(Logged("audiolib/sharing:[0-9]+ cannot get preference dir, user name="));
        ClearLog();
    }
    EXPECT_EQ(Rows(), "0");
}

// A text that was cut at its NUL would name another user, song or link.
TEST_F(SharedSongsFailures, TextsWithANulAreRefused) {
    using namespace std::string_literals;
    SharingManager manager;
    WriteFile(kList, "");
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
